#include "process/search_path.h"

#include "support/text.h"
#include <roqutil/process.h>
#include <sys/stat.h>

const char* g_apcBinSearchPath[ROQ_BIN_SEARCH_PATH_ROOM] = {"/var", "/bin", "/sbin", "/usr/bin"};

namespace roq::process {
namespace {

constexpr mode_t kExecutableFile = S_IFREG | S_IXUSR;

void write_candidate(char* full, size_t size, const char* directory, const char* name) {
  copy_cut(full, size, directory);
  append_cut(full, size, "/");
  append_cut(full, size, name);
}

// The bits are looked at one by one, as ever: sockets have the one of a regular file set, too.
bool is_executable_file(const char* path) {
  struct stat64 status;
  return stat64(path, &status) == 0 && (status.st_mode & kExecutableFile) == kExecutableFile;
}

} // namespace

bool find_program(const char* name, char* full, size_t size) {
  if (name[0] == '\0') return false;
  if (name[0] == '/') {
    if (size > 0) copy_cut(full, size, name);
    return true;
  }
  if (size == 0) return false;
  for (const char* const* directory = g_apcBinSearchPath; *directory != nullptr; ++directory) {
    write_candidate(full, size, *directory, name);
    if (is_executable_file(full)) return true;
  }
  return false;
}

} // namespace roq::process
