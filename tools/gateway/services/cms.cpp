// The configuration manager: makes the store's modules, fills them from a settings file and from the kernel's tables,
// and answers on the message bus which type an interface has.
#include "ids.h"
#include "service.h"
#include "variables.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <roqmsg.h>
#include <roqutil/gvar.h>

namespace {

using namespace gateway;

constexpr uint32_t kAskInterfaceType = 0x60007;
constexpr uint32_t kFixedHeaderSize = 52;
constexpr uint32_t kInterfaces = 6;

struct Totals {
  unsigned settings = 0, setting_bytes = 0, tables = 0, table_bytes = 0, empty_tables = 0;
};

// One line of the settings file: ID NAME [= VALUE | < FILE].
struct Line {
  uint32_t id;
  char kind; // '=', '<', or 0 for a variable without a value
  char* value;
};

enum class Parsed { line, nothing, wrong };

char* skip_blanks(char* at) { return at + strspn(at, " \t"); }

Parsed parse_line(char* text, Line& line) {
  text[strcspn(text, "\r\n")] = '\0';
  char* at = skip_blanks(text);
  if (*at == '\0' || *at == '#') return Parsed::nothing;
  char* behind_id;
  line.id = static_cast<uint32_t>(strtoul(at, &behind_id, 16));
  char* name = skip_blanks(behind_id);
  if (behind_id == at || name == behind_id || *name == '\0') return Parsed::wrong;
  char* kind = skip_blanks(name + strcspn(name, " \t"));
  line.kind = *kind;
  line.value = *kind == '\0' ? kind : skip_blanks(kind + 1);
  if (line.kind != '\0' && strchr("=<", line.kind) == nullptr) return Parsed::wrong;
  return line.kind != '\0' && *line.value == '\0' ? Parsed::wrong : Parsed::line;
}

// Sets a variable to the content of a file, as far as it fits; an empty or missing one is a text that says so.
bool store_table(uint32_t id, const char* path, Totals& totals) {
  char content[8192];
  size_t length = 0;
  if (FILE* file = fopen(path, "re"); file != nullptr) {
    length = fread(content, 1, sizeof content, file);
    fclose(file);
  }
  ++totals.tables;
  if (length == 0) {
    ++totals.empty_tables;
    return write_value(id, "(empty)");
  }
  totals.table_bytes += static_cast<unsigned>(length);
  return ROQ_UTIL_GVarSetValue(id, content, static_cast<uint32_t>(length)) == 0;
}

bool store_line(const Line& line, Totals& totals) {
  if (line.kind == '\0') return true;
  if (line.kind == '<') return store_table(line.id, line.value, totals);
  ++totals.settings;
  totals.setting_bytes += static_cast<unsigned>(strlen(line.value));
  return write_value(line.id, line.value);
}

bool load(const char* path, Totals& totals) {
  FILE* file = fopen(path, "re");
  if (file == nullptr) {
    fprintf(stderr, "cms: %s: %s\n", path, strerror(errno));
    return false;
  }
  char text[512];
  Line line;
  bool good = true;
  for (unsigned number = 1; good && fgets(text, sizeof text, file) != nullptr; ++number) {
    Parsed parsed = parse_line(text, line);
    good = parsed == Parsed::nothing || (parsed == Parsed::line && store_line(line, totals));
    if (good) continue;
    const char* why = parsed == Parsed::wrong ? "expected ID NAME [= VALUE | < FILE]" : "the variable cannot be set";
    fprintf(stderr, "cms: %s:%u: %s\n", path, number, why);
  }
  fclose(file);
  return good;
}

bool make_modules() {
  struct {
    uint32_t module, size;
  } const modules[] = {{kConfiguration, 0x10000}, {kStatus, 0x10000}};
  for (auto [module, size] : modules) {
    uint32_t created;
    if (ROQ_UTIL_GVarInit(module, size, kFixedHeaderSize, &created) != 0) {
      fprintf(stderr, "cms: module %u cannot be made\n", module);
      return false;
    }
    printf("cms: module %u %s: %u bytes\n", module, created != 0 ? "created" : "was there", size);
  }
  return true;
}

// 0 for an interface that no setting names.
uint32_t interface_type(const char* name) {
  for (uint32_t index = 0; index < kInterfaces; ++index) {
    if (!read_value(id::interface_1_name + 2 * index).is(name)) continue;
    return static_cast<uint32_t>(strtoul(read_value(id::interface_1_type + 2 * index).text, nullptr, 10));
  }
  return 0;
}
static_assert(id::interface_6_type == id::interface_1_type + 2 * (kInterfaces - 1));

void answer(RoqMsgEndpoint* endpoint, const RoqMsgReceived& message) {
  if (message.type != kAskInterfaceType || message.expects_reply == 0) {
    printf("a message of type 0x%x from process %u that nobody here knows\n", message.type, message.sender);
    return;
  }
  uint32_t type = interface_type(message.payload);
  printf("process %u asks for the type of %s: %u\n", message.sender, message.payload, type);
  ROQ_MSG_Reply(endpoint, &message, type, nullptr, 0);
  count_one_more(id::cms_requests);
}

void serve(RoqMsgEndpoint* endpoint) {
  RoqMsgReceived message;
  while (Service::is_wanted()) {
    // The limit, because waiting goes on after the signal that asks to end.
    if (ROQ_MSG_Receive(endpoint, &message, 200) == 0) answer(endpoint, message);
  }
}

void say_what_was_loaded(const Totals& totals) {
  char count[16];
  snprintf(count, sizeof count, "%u", totals.settings);
  write_value(id::cms_settings, count);
  write_value(id::cms_requests, "0");
  write_value(id::cms_state, "ready");
  printf("cms: %u settings (%u bytes) in module %u\n", totals.settings, totals.setting_bytes, kConfiguration);
  printf("cms: %u kernel tables (%u bytes, %u of them empty) in module %u\n", totals.tables, totals.table_bytes,
         totals.empty_tables, kStatus);
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fputs("usage: cms SETTINGS\n", stderr);
    return 2;
  }
  Service service("cms");
  Totals totals;
  if (!make_modules() || !load(argv[1], totals)) return 1;
  RoqMsgEndpoint* endpoint = ROQ_MSG_Register("cms");
  if (endpoint == nullptr) {
    fprintf(stderr, "cms: no place on the message bus: %s\n", strerror(errno));
    return 1;
  }
  say_what_was_loaded(totals);
  service.is_ready();
  serve(endpoint);
  ROQ_MSG_Unregister(endpoint);
  return 0;
}
