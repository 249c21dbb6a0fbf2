// Stops in the middle of an access to a variable, with the module's lock held: the value lies across the border to a
// page that may not be touched, so that the library's own copying is interrupted. Then it waits to be killed.
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <roqutil/gvar.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr uint32_t kReachable = 8, kLength = 64;

const char* where;

void stay(int) {
  [[maybe_unused]] ssize_t written = write(STDOUT_FILENO, where, strlen(where));
  while (true)
    pause();
}

// The address of kLength bytes of which only the first kReachable may be touched.
char* make_trap() {
  auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  void* pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED || mprotect(static_cast<char*>(pages) + page, page, PROT_NONE) != 0) return nullptr;
  return static_cast<char*>(pages) + page - kReachable;
}

} // namespace

int main(int argc, char** argv) {
  bool writing = argc == 3 && strcmp(argv[1], "write") == 0;
  if (!writing && (argc != 3 || strcmp(argv[1], "read") != 0)) {
    fputs("usage: stall write|read ID\n", stderr);
    return 2;
  }
  auto id = static_cast<uint32_t>(strtoul(argv[2], nullptr, 0));
  char* trap = make_trap();
  if (trap == nullptr || ROQ_UTIL_GVarAttach(id >> 16) != 0) {
    fputs("stall: the module cannot be attached\n", stderr);
    return 1;
  }
  where = writing ? "stall: inside ROQ_UTIL_GVarSetValue, with all 10 units\n"
                  : "stall: inside ROQ_UTIL_GVarGetValueEx, with 1 unit\n";
  signal(SIGSEGV, stay);
  if (writing) {
    ROQ_UTIL_GVarSetValue(id, trap, kLength);
  } else {
    ROQ_UTIL_GVarGetValueEx(id, trap, kLength, nullptr);
  }
  fputs("stall: nothing stopped the access\n", stderr);
  return 1;
}
