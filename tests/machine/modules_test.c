/*
 * Runs as the only program of a small machine with a real kernel: loads and unloads its modules through the library.
 * The folder /modules holds dummy.ko, ifb.ko and nlmon.ko, none of them loaded.
 */
#define _GNU_SOURCE
#include <roqutil/netinfo.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

static int passed, failed;

static void check(int holds, const char* what) {
  printf("%-6s %s\n", holds ? "ok" : "FAILED", what);
  if (holds)
    ++passed;
  else
    ++failed;
}

/* Whether the kernel's own list has a line for exactly this module. */
static int kernel_lists(const char* name) {
  FILE* table = fopen("/proc/modules", "r");
  char line[512], first[512];
  int found = 0;
  while (table != NULL && !found && fgets(line, sizeof line, table) != NULL) {
    found = sscanf(line, "%511s", first) == 1 && strcmp(first, name) == 0;
  }
  if (table != NULL) fclose(table);
  return found;
}

static int is_loaded(const char* name) {
  int listed = kernel_lists(name);
  printf("       %s is%s listed by the kernel\n", name, listed ? "" : " not");
  check(ROQ_UTIL_IsModuleInserted(name) == (uint32_t)listed, "and the library says the same");
  return listed;
}

static void load_and_unload_one(void) {
  check(access("/proc/modules", R_OK) == 0, "the kernel has loadable modules");
  check(!is_loaded("dummy"), "dummy is not loaded at first");
  check(ROQ_UTIL_InsertModule("dummy", "/modules") == 1, "loading dummy is issued");
  check(is_loaded("dummy"), "dummy is loaded");
  check(ROQ_UTIL_InsertModule("dummy", "/nowhere") == 1, "loading it again is a success without a command");
  check(ROQ_UTIL_RemoveModule("dummy", "/modules") == 1, "unloading dummy is issued");
  check(!is_loaded("dummy"), "dummy is no longer loaded");
  check(ROQ_UTIL_RemoveModule("dummy", "/modules") == 1, "unloading it again is a success without a command");
}

static void report_what_fails_as_issued(void) {
  check(ROQ_UTIL_InsertModule("missing", "/modules") == 1, "loading a module without a file is issued");
  check(!is_loaded("missing"), "and it is not loaded");
}

static void load_a_directory(void) {
  check(rename("/modules/nlmon.ko", "/modules/nlmon.kox") == 0, "a module file can be renamed");
  check(ROQ_UTIL_InsertModulesDir("/modules") == 1, "the directory is walked");
  check(is_loaded("dummy") && is_loaded("ifb"), "its modules are loaded");
  check(!is_loaded("nlmon"), "a module whose file has another name is looked for under its own, and not found");
  check(rename("/modules/nlmon.kox", "/modules/nlmon.ko") == 0, "the module file gets its name back");
  check(ROQ_UTIL_InsertModulesDir("/modules") == 1, "the directory is walked again");
  check(is_loaded("nlmon"), "the missing module is loaded");
  check(ROQ_UTIL_InsertModulesDir("/nowhere") == 0, "a missing directory is refused");
}

static void unload_all(void) {
  static const char* const names[] = {"nlmon", "ifb", "dummy"};
  for (size_t i = 0; i < sizeof names / sizeof *names; ++i) {
    check(ROQ_UTIL_RemoveModule(names[i], "/modules") == 1, "unloading is issued");
    check(!is_loaded(names[i]), "and it is unloaded");
  }
}

int main(void) {
  load_and_unload_one();
  report_what_fails_as_issued();
  load_a_directory();
  unload_all();
  if (failed > 0) printf("[  FAILED  ] %d tests, listed below:\n", failed);
  printf("[  PASSED  ] %d tests.\n", passed);
  return failed == 0 ? 0 : 1;
}
