// roqutil module: loadable modules of the kernel.
#include "groups.h"

#include "json.h"
#include "one_word.h"
#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <roqutil/netinfo.h>
#include <unistd.h>

namespace roq::tool {
namespace {

constexpr char kTable[] = "/proc/modules";
constexpr char kSuffix[] = ".ko";

// The library prints on standard output when it cannot open the table; the tool says it its own way, and first.
bool table_is_readable() { return access(kTable, R_OK) == 0; }

int refuse_without_table(const Invocation& call) {
  return call.refused("%s: %s; use a kernel with loadable modules", kTable, strerror(errno));
}

// The kernel knows a module by its file's name with '_' for '-'.
bool is_loaded(const char* name) {
  Text kernel_name;
  for (const char* at = name; *at != '\0'; ++at)
    kernel_name.append(*at == '-' ? '_' : *at);
  return ROQ_UTIL_IsModuleInserted(kernel_name.c_str()) == 1;
}

struct Module {
  char name[64];
  unsigned size, users;
};

bool read_modules(Array<Module>& modules) {
  FILE* table = fopen(kTable, "re");
  if (table == nullptr) return false;
  char line[4096];
  while (fgets(line, sizeof line, table) != nullptr) {
    Module module{};
    if (sscanf(line, "%63s %u %u", module.name, &module.size, &module.users) == 3) modules.add(module);
  }
  fclose(table);
  return true;
}

int run_list(const Invocation& call) {
  Array<Module> modules;
  if (!read_modules(modules)) return refuse_without_table(call);
  if (!call.json()) {
    printf("%-32s%10s%8s\n", "module", "bytes", "users");
    for (const Module& module : modules)
      printf("%-32s%10u%8u\n", module.name, module.size, module.users);
    return kSuccess;
  }
  Json json;
  json.begin_array();
  for (const Module& module : modules) {
    json.begin_object();
    json.member("module", module.name);
    json.member("bytes", module.size);
    json.member("users", module.users);
    json.end_object();
  }
  json.end_array();
  json.print();
  return kSuccess;
}

void add_outcome(Json& json, const char* name, bool was_loaded, bool is_loaded_now) {
  json.begin_object();
  json.member("module", name);
  json.member("was_loaded", was_loaded);
  json.member("loaded", is_loaded_now);
  json.end_object();
}

int print_outcome(const Invocation& call, const char* name, bool was_loaded, bool is_loaded_now, const char* words) {
  if (call.json()) {
    Json json;
    add_outcome(json, name, was_loaded, is_loaded_now);
    json.print();
  } else {
    printf("%s: %s\n", name, words);
  }
  return kSuccess;
}

int run_insert(const Invocation& call) {
  if (auto code = refuse_other_words(call)) return *code;
  const char *name = call.argument(0), *directory = call.argument(1);
  if (!table_is_readable()) return refuse_without_table(call);
  bool was_loaded = is_loaded(name);
  ROQ_UTIL_InsertModule(name, directory);
  if (!is_loaded(name))
    return call.refused("%s is not loaded: insmod %s/%s.ko did not help; see what it said", name, directory, name);
  return print_outcome(call, name, was_loaded, true, was_loaded ? "was loaded already" : "loaded");
}

int run_remove(const Invocation& call) {
  if (auto code = refuse_other_words(call)) return *code;
  const char *name = call.argument(0), *directory = call.argument(1);
  if (!table_is_readable()) return refuse_without_table(call);
  bool was_loaded = is_loaded(name);
  ROQ_UTIL_RemoveModule(name, directory);
  if (is_loaded(name)) return call.refused("%s is still loaded: rmmod did not help; see what it said", name);
  return print_outcome(call, name, was_loaded, false, was_loaded ? "unloaded" : "was not loaded");
}

struct ModuleFile {
  char name[NAME_MAX + 1]; // without its suffix
  bool was_loaded;
};

bool read_directory(const char* path, Array<ModuleFile>& files) {
  DIR* directory = opendir(path);
  if (directory == nullptr) return false;
  // A 32-bit listing ends where a disk's file system numbers an entry with more bits.
  while (const dirent64* entry = readdir64(directory)) {
    const char* suffix = strstr(entry->d_name, kSuffix);
    if (suffix == nullptr) continue;
    ModuleFile file{};
    memcpy(file.name, entry->d_name, static_cast<size_t>(suffix - entry->d_name));
    file.was_loaded = is_loaded(file.name);
    files.add(file);
  }
  closedir(directory);
  return true;
}

int run_insert_dir(const Invocation& call) {
  if (auto code = refuse_other_words(call)) return *code;
  if (!table_is_readable()) return refuse_without_table(call);
  Array<ModuleFile> files;
  if (!read_directory(call.argument(0), files) || ROQ_UTIL_InsertModulesDir(call.argument(0)) != 1)
    return call.refused("'%s': %s; name a directory with module files", call.argument(0), strerror(errno));
  Json json;
  json.begin_array();
  int missing = 0;
  for (const ModuleFile& file : files) {
    bool loaded = is_loaded(file.name);
    if (!loaded) ++missing;
    if (call.json())
      add_outcome(json, file.name, file.was_loaded, loaded);
    else
      printf("%s: %s\n", file.name, file.was_loaded ? "was loaded already" : loaded ? "loaded" : "not loaded");
  }
  json.end_array();
  if (call.json()) json.print();
  if (missing > 0)
    return call.refused("%d of %zu modules are not loaded: insmod did not help; see what it said", missing,
                        files.size());
  return kSuccess;
}

constexpr char kLooseMatch[] =
    "A module counts as loaded when a blank follows the first occurrence of its name in a line of "
    "/proc/modules, so \"usb\" is also found at the end of \"foo_usb\".";

constexpr Example kListExamples[] = {{"roqutil module list", "what is loaded"},
                                     {"roqutil module list --json", "the same for a program"}};
constexpr Example kInsertExamples[] = {
    {"roqutil module insert option /lib/modules/usb", "insmod /lib/modules/usb/option.ko"}};
constexpr Example kRemoveExamples[] = {
    {"roqutil module remove option /lib/modules/usb", "rmmod /lib/modules/usb/option.ko"}};
constexpr Example kInsertDirExamples[] = {{"roqutil module insert-dir /lib/modules/usb", "everything in there"}};

constexpr Command kCommands[] = {
    {.name = "list",
     .summary = "print the loaded modules",
     .options = kJsonOnly,
     .examples = kListExamples,
     .run = run_list},
    {.name = "insert",
     .arguments = "NAME DIRECTORY",
     .minimum = 2,
     .maximum = 2,
     .summary = "load DIRECTORY/NAME.ko unless it is loaded",
     .details = kLooseMatch,
     .options = kJsonOnly,
     .examples = kInsertExamples,
     .run = run_insert},
    {.name = "remove",
     .arguments = "NAME DIRECTORY",
     .minimum = 2,
     .maximum = 2,
     .summary = "unload a module if it is loaded",
     .details = kLooseMatch,
     .options = kJsonOnly,
     .examples = kRemoveExamples,
     .run = run_remove},
    {.name = "insert-dir",
     .arguments = "DIRECTORY",
     .minimum = 1,
     .maximum = 1,
     .summary = "load every module file of a directory, in the order of its listing",
     .details = "Dependencies are not looked at. Files such as foo.ko.old stand for foo, too.",
     .options = kJsonOnly,
     .examples = kInsertDirExamples,
     .run = run_insert_dir},
};

} // namespace

const Group module_group{
    .name = "module", .summary = "loadable modules of the kernel", .commands = kCommands, .examples = kListExamples};

} // namespace roq::tool
