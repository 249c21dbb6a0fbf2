#include "netinfo/module.h"

#include "process/exec_no_hang.h"
#include "support/owners.h"
#include <cstdio>
#include <cstring>

namespace roq::netinfo {
namespace {

constexpr size_t kLineSize = 512;
constexpr size_t kCommandSize = 512;
constexpr char kSuffix[] = ".ko";

// A command that does not fit is run as it was cut.
void run_tool(const char* tool, const char* directory, const char* name) {
  char command[kCommandSize];
  snprintf(command, sizeof command, "%s %s/%s%s", tool, directory, name, kSuffix);
  process::execute_no_hang(command);
}

} // namespace

bool lists_module(LineReader& table, const char* name) {
  char line[kLineSize];
  size_t length = strlen(name);
  while (table.next(line)) {
    const char* found = strstr(line, name);
    if (found != nullptr && found[length] == ' ') return true;
  }
  return false;
}

bool is_module_loaded(const char* name) {
  LineReader table(kModuleTable);
  if (table.is_open()) return lists_module(table, name);
  puts("Can't Open File:/proc/modules");
  return false;
}

void load_module(const char* name, const char* directory) {
  if (!is_module_loaded(name)) run_tool("insmod", directory, name);
}

void unload_module(const char* name, const char* directory) {
  if (is_module_loaded(name)) run_tool("rmmod", directory, name);
}

bool load_modules_of(const char* directory) {
  UniqueDir files(opendir(directory));
  if (!files) return false;
  // A 32-bit listing ends where a disk's file system numbers an entry with more bits.
  while (dirent64* file = readdir64(files.get())) {
    char* suffix = strstr(file->d_name, kSuffix);
    if (suffix == nullptr) continue;
    *suffix = '\0';
    load_module(file->d_name, directory);
  }
  return true;
}

} // namespace roq::netinfo
