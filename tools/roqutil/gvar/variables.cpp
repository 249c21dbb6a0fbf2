// Single variables: set, get, list, watch, delete.
#include "gvar/commands.h"

#include "bytes.h"
#include "clock.h"
#include "gvar/guarded.h"
#include "gvar/id.h"
#include "gvar/inspect.h"
#include "gvar/module.h"
#include "json.h"
#include "values.h"
#include <cerrno>
#include <csignal>
#include <cstring>
#include <roqutil/gvar.h>
#include <sys/time.h>
#include <time.h>

namespace roq::tool::gvar {
namespace {

constexpr size_t kPreview = 40; // characters

// A heap copy of a variable's value.
class Value {
public:
  explicit Value(uint32_t id) { result_ = ROQ_UTIL_GVarGetValueWithCopy(id, &bytes_, &length_); }
  ~Value() { free(bytes_); }
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;

  bool ok() const { return result_ == 0; }
  bool is_set() const { return bytes_ != nullptr; }
  std::string_view view() const { return {static_cast<const char*>(bytes_), length_}; }

private:
  void* bytes_ = nullptr;
  uint32_t length_ = 0;
  uint32_t result_;
};

uint32_t module_of(uint32_t id) { return id >> 16; }

// What a child that worked with the library came to: its exit code, or a message about its death.
int conclude(const Invocation& call, uint32_t id, const Ending& ending, uint32_t seconds) {
  fputs(ending.said.c_str(), stderr);
  if (ending.error != 0) return call.refused("no process could be started: %s; try again", strerror(ending.error));
  if (ending.signal == 0) return ending.code;
  // Nobody reads the output any more: no fault of the store's, and no news to whoever closed the pipe.
  if (ending.signal == SIGPIPE) signal(SIGPIPE, SIG_DFL), raise(SIGPIPE);
  uint32_t module = module_of(id);
  if (ending.signal == SIGALRM)
    return call.refused(
        "0x%08x: not done after %u seconds: a process holds the lock of module %u, or its variable list "
        "never ends; see 'roqutil gvar show %u' and 'roqutil gvar check %u'",
        id, seconds, module, module, module);
  return call.refused("0x%08x: the access ended in a signal (%s), so module %u is damaged; see 'roqutil gvar check %u'",
                      id, strsignal(ending.signal), module, module);
}

std::optional<uint32_t> seconds_to_wait(const Invocation& call) {
  return call.option_number("wait", kDefaultWait, 1, kLongestWait);
}

int not_set(const Invocation& call, uint32_t id) {
  return call.no("0x%08x: not set; see 'roqutil gvar list %u'", id, module_of(id));
}

Text shown_as(const Invocation& call, std::string_view value) {
  Text shown;
  if (call.has("hex"))
    append_hex(shown, value);
  else
    append_readable(shown, value);
  return shown;
}

void print_value(const Invocation& call, uint32_t id, std::string_view value) {
  if (call.json())
    print_object([&](Json& json) {
      json.member_hex("id", id);
      json.member("length", value.size());
      json.key("value");
      json.bytes(value);
    });
  else if (call.has("raw"))
    fwrite(value.data(), 1, value.size(), stdout);
  else
    puts(shown_as(call, value).c_str());
}

// Reads a file, or standard input for "-", as far as a segment could hold it.
std::optional<int> read_file(const Invocation& call, const char* path, Text& value) {
  FILE* stream = open_input(call, path);
  if (stream == nullptr) return kRefused;
  char piece[4096];
  size_t length;
  while (value.size() <= kLargestSegment && (length = fread(piece, 1, sizeof piece, stream)) > 0)
    value.append({piece, length});
  std::optional<int> code;
  if (ferror(stream) != 0) code = stream_failed(call, path);
  if (stream != stdin) fclose(stream);
  if (!code && value.size() > kLargestSegment)
    code = call.refused("'%s': more than %u bytes: no segment holds that; give less", path, kLargestSegment);
  return code;
}

std::optional<int> value_to_set(const Invocation& call, Text& value) {
  const char* path = call.value("file");
  const char* typed = call.argument(1);
  if ((path != nullptr) == (typed != nullptr))
    return call.wrong("a value is needed once: expected VALUE or --file FILE");
  if (path != nullptr && call.has("hex"))
    return call.wrong("--hex goes with a typed VALUE: expected VALUE or --file FILE");
  if (path != nullptr) {
    if (std::optional<int> code = read_file(call, path, value)) return code;
  } else if (call.has("hex")) {
    std::optional<Text> bytes = parse_hex(typed);
    if (!bytes) return call.wrong("value '%s': expected pairs of hex digits, such as 00ff", typed);
    value = std::move(*bytes);
  } else {
    value.append(typed);
    if (call.has("terminated")) value.append('\0');
  }
  if (value.empty()) return call.wrong("the value is empty: expected a byte at least, for setting no bytes deletes");
  return std::nullopt;
}

void put_variable(Json& json, const Variable& variable, std::string_view value) {
  json.begin_object();
  json.member_hex("id", variable.id);
  json.member("length", variable.length);
  json.member_hex("address", variable.value);
  json.member("sound", variable.proved);
  json.key("value");
  if (variable.proved)
    json.bytes(value);
  else
    json.null();
  json.end_object();
}

void print_list(const Snapshot& snapshot, const Report& report, bool as_json) {
  Json json;
  if (as_json) {
    json.begin_object();
    json.member("module", snapshot.module.number);
    json.key("variables");
    json.begin_array();
  } else {
    printf("%-10s  %7s  %-10s  %s\n", "ID", "LENGTH", "ADDRESS", "PREVIEW");
  }
  for (const Variable& variable : report.variables) {
    const uint8_t* at = snapshot.bytes.data() + (variable.proved ? variable.value - snapshot.memory().base : 0);
    std::string_view value(reinterpret_cast<const char*>(at), variable.proved ? variable.length : 0);
    if (as_json) {
      put_variable(json, variable, value);
      continue;
    }
    Text preview;
    append_readable(preview, value, kPreview);
    printf("0x%08x  %7u  0x%08x  %s\n", variable.id, variable.length, variable.value,
           variable.proved ? preview.c_str() : "(damaged)");
  }
  if (!as_json) return;
  json.end_array();
  json.member("complete", report.list_is_intact);
  json.end_object();
  json.print();
}

// ---- watch

struct WatchPlan {
  uint32_t id;
  uint32_t interval; // milliseconds
  uint32_t changes;  // 0: no limit
};

void print_change(const Invocation& call, uint32_t id, bool is_set, std::string_view value) {
  timeval time{};
  gettimeofday(&time, nullptr);
  time_t seconds = time.tv_sec;
  tm local{};
  localtime_r(&seconds, &local);
  Text stamp;
  stamp.format("%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(time.tv_usec / 1000));
  if (call.json())
    print_object([&](Json& json) {
      json.member("time", stamp.view());
      json.member_hex("id", id);
      json.member("set", is_set);
      json.member("length", value.size());
      json.key("value");
      if (is_set)
        json.bytes(value);
      else
        json.null();
    });
  else if (is_set)
    printf("%s 0x%08x %zu bytes %s\n", stamp.c_str(), id, value.size(), shown_as(call, value).c_str());
  else
    printf("%s 0x%08x not set\n", stamp.c_str(), id);
}

int watch(const Invocation& call, const WatchPlan& plan) {
  if (std::optional<int> code = attach_module(call, module_of(plan.id))) return *code;
  Text last;
  bool was_set = false;
  for (uint32_t seen = 0;;) {
    Value value(plan.id);
    if (!value.ok()) return call.refused("0x%08x: no memory for its value; free some and try again", plan.id);
    bool is_first = seen == 0;
    if (is_first || value.is_set() != was_set || value.view() != last.view()) {
      print_change(call, plan.id, value.is_set(), value.view());
      if (fflush(stdout) != 0) return call.refused("standard output: %s; the output is not complete", strerror(errno));
      was_set = value.is_set();
      last.clear();
      last.append(value.view());
      // The first line tells the state that changes are counted from.
      if (plan.changes != 0 && seen == plan.changes) return kSuccess;
      ++seen;
    }
    pause_for(plan.interval);
  }
}

// ---- delete

std::optional<size_t> place_in_list(const Report& report, uint32_t id) {
  for (size_t place = 0; place < report.variables.size(); ++place)
    if (report.variables[place].id == id) return place;
  return std::nullopt;
}

void append_ids(Text& out, const Report& report, size_t first, size_t last) {
  constexpr size_t kShown = 8;
  for (size_t at = first; at < last; ++at) {
    if (at - first == kShown) {
      out.format(" and %zu more", last - at);
      return;
    }
    out.format("%s0x%08x", at == first ? "" : " ", report.variables[at].id);
  }
}

// What a deletion does to the list, which is not what its name says.
void append_prediction(Text& out, const Report& report, size_t place) {
  size_t count = report.variables.size();
  if (place == 0) {
    out.append(
        "it is the newest variable: the process that deletes it is ended by a fault (SIGSEGV), and the list stays "
        "as it is\n");
    return;
  }
  out.format("the list will begin behind it: %zu of %zu variables stay", count - place - 1, count);
  if (place + 1 < count) {
    out.append(": ");
    append_ids(out, report, place + 1, count);
  }
  out.format("\nthe %zu newer variables are dropped, and their memory stays allocated: ", place);
  append_ids(out, report, 0, place);
  out.append("\nvalue and node are then released through the segment's base instead of its pool handle, which changes "
             "fields of the header and mostly ends the process (SIGABRT or SIGSEGV)\n");
}

struct Outcome {
  Text said; // by the store
  int signal;
  bool is_listed;
  size_t variables;
  size_t broken_invariants;
};

void put_ids(Json& json, const char* name, const Report& report, size_t from, size_t end) {
  json.key(name);
  json.begin_array();
  for (size_t at = from; at < end; ++at)
    json.hex_number(report.variables[at].id);
  json.end_array();
}

void put_outcome(Json& json, const Outcome& outcome) {
  json.begin_object();
  json.member("listed", outcome.is_listed);
  json.key("signal");
  if (outcome.signal != 0)
    json.number(outcome.signal);
  else
    json.null();
  json.member("said", outcome.said.view());
  json.member("variables", outcome.variables);
  json.member("broken_invariants", outcome.broken_invariants);
  json.end_object();
}

// A null outcome: nothing was deleted.
void print_deletion_as_json(uint32_t id, const Report& before, size_t place, const Outcome* outcome) {
  bool faults = place == 0;
  print_object([&](Json& json) {
    json.member_hex("id", id);
    json.member("faults", faults);
    put_ids(json, "stay", before, faults ? 0 : place + 1, before.variables.size());
    put_ids(json, "dropped", before, 0, place);
    json.key("outcome");
    if (outcome != nullptr)
      put_outcome(json, *outcome);
    else
      json.null();
  });
}

void print_outcome(uint32_t id, size_t variables_before, const Outcome& outcome) {
  if (!outcome.said.empty()) printf("the store said: %s", outcome.said.c_str());
  if (outcome.signal != 0)
    printf("the deleting process was ended by a signal (%s), as documented\n", strsignal(outcome.signal));
  else
    printf("the deleting process went on\n");
  printf("0x%08x is %s; %zu of %zu variables are left; %zu broken invariants%s\n", id,
         outcome.is_listed ? "still there" : "no longer listed", outcome.variables, variables_before,
         outcome.broken_invariants,
         outcome.broken_invariants == 0 ? "" : ", see 'roqutil gvar check' and 'roqutil gvar repair'");
}

// Deletes in a process of its own. Nothing when that is done, however it ended, else the exit code.
std::optional<int> delete_variable(const Invocation& call, uint32_t id, uint32_t seconds, Outcome& outcome) {
  Ending ending = run_guarded(seconds, Output::taken, [&]() -> int {
    if (std::optional<int> code = attach_module(call, module_of(id))) return *code;
    return ROQ_UTIL_GVarSetValue(id, "", 0) == 0 ? kSuccess : kRefused;
  });
  bool was_stopped_by_the_store = ending.signal != 0 && ending.signal != SIGALRM;
  if (ending.error != 0 || ending.code != kSuccess || (ending.signal != 0 && !was_stopped_by_the_store))
    return conclude(call, id, ending, seconds);
  Report after;
  if (std::optional<int> code = inspect_module(call, module_of(id), after)) return code;
  outcome.said = std::move(ending.said);
  outcome.signal = ending.signal;
  outcome.is_listed = place_in_list(after, id).has_value();
  outcome.variables = after.variables.size();
  outcome.broken_invariants = after.findings.size();
  return std::nullopt;
}

} // namespace

std::optional<uint32_t> variable_argument(const Invocation& call) {
  std::optional<uint32_t> id = parse_id(call.argument(0));
  if (!id)
    call.wrong(
        "variable '%s': expected MODULE:NUMBER such as 2:1, or one number such as 0x00020001, with a module from 0 "
        "to 6",
        call.argument(0));
  return id;
}

int run_set(const Invocation& call) {
  auto id = variable_argument(call);
  auto seconds = id ? seconds_to_wait(call) : std::nullopt;
  if (!seconds) return kUsage;
  Text value;
  if (std::optional<int> code = value_to_set(call, value)) return *code;
  Module module;
  if (std::optional<int> code = find_module(call, module_of(*id), module)) return *code == kNo ? kRefused : *code;

  Ending ending = run_guarded(*seconds, Output::taken, [&]() -> int {
    if (std::optional<int> code = attach_module(call, module.number)) return *code;
    if (ROQ_UTIL_GVarSetValue(*id, value.c_str(), static_cast<uint32_t>(value.size())) == 0) return kSuccess;
    return call.refused("0x%08x: the pool of module %u has no room for %zu bytes; see 'roqutil gvar map %u'", *id,
                        module.number, value.size(), module.number);
  });
  return conclude(call, *id, ending, *seconds);
}

int run_get(const Invocation& call) {
  auto id = variable_argument(call);
  auto seconds = id ? seconds_to_wait(call) : std::nullopt;
  if (!seconds) return kUsage;
  if (call.has("hex") + call.has("raw") + call.json() > 1) return call.wrong("expected one of --hex, --raw and --json");
  Module module;
  if (std::optional<int> code = find_module(call, module_of(*id), module)) return *code;

  Ending ending = run_guarded(*seconds, Output::of_the_tool, [&]() -> int {
    if (std::optional<int> code = attach_module(call, module.number)) return *code;
    Value value(*id);
    if (!value.ok()) return call.refused("0x%08x: no memory for its value; free some and try again", *id);
    if (!value.is_set()) return not_set(call, *id);
    print_value(call, *id, value.view());
    return kSuccess;
  });
  return conclude(call, *id, ending, *seconds);
}

int run_list(const Invocation& call) {
  auto module = module_argument(call);
  if (!module) return kUsage;
  Snapshot snapshot;
  if (std::optional<int> code = take_snapshot(call, *module, Locking::needed, snapshot)) return *code;
  Report report = inspect(snapshot.memory(), snapshot.surroundings());
  print_list(snapshot, report, call.json());
  if (report.clean()) return kSuccess;
  return call.no("module %u: it is damaged, and the list may be wrong; see 'roqutil gvar check %u'", *module, *module);
}

int run_watch(const Invocation& call) {
  constexpr uint32_t kDefaultInterval = 200, kLongestInterval = 3600000; // milliseconds
  auto id = variable_argument(call);
  auto interval = id ? call.option_time("interval", kDefaultInterval, 1, kLongestInterval) : std::nullopt;
  auto changes = interval ? call.option_number("count", 0) : std::nullopt;
  if (!changes) return kUsage;
  Module module;
  if (std::optional<int> code = find_module(call, module_of(*id), module)) return *code;
  WatchPlan plan{*id, *interval, *changes};
  Ending ending = run_guarded(0, Output::of_the_tool, [&] { return watch(call, plan); });
  return conclude(call, *id, ending, 0);
}

int run_delete(const Invocation& call) {
  auto id = variable_argument(call);
  auto seconds = id ? seconds_to_wait(call) : std::nullopt;
  if (!seconds) return kUsage;
  Report before;
  if (std::optional<int> code = inspect_module(call, module_of(*id), before)) return *code;
  std::optional<size_t> place = place_in_list(before, *id);
  if (!place) return not_set(call, *id);

  if (!call.json()) {
    Text prediction;
    append_prediction(prediction, before, *place);
    fputs(prediction.c_str(), stdout);
  }
  if (!call.has("force")) {
    if (call.json()) print_deletion_as_json(*id, before, *place, nullptr);
    return call.no(
        "0x%08x: nothing was deleted, for this is what a deletion does; repeat with --force, or set the variable "
        "to a value that means 'none'",
        *id);
  }
  Outcome outcome{};
  if (std::optional<int> code = delete_variable(call, *id, *seconds, outcome)) return *code;
  if (call.json())
    print_deletion_as_json(*id, before, *place, &outcome);
  else
    print_outcome(*id, before.variables.size(), outcome);
  return outcome.is_listed ? kNo : kSuccess;
}

} // namespace roq::tool::gvar
