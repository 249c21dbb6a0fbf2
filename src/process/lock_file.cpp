#include "process/lock_file.h"

#include "support/owners.h"
#include <fcntl.h>
#include <sys/file.h>

namespace roq::process {
namespace {

constexpr mode_t kPermissions = 0777;

// A process that cannot open its lock file does not go on, and that is meant.
UniqueFd open_or_end_process(const char* path) {
  UniqueFd file(open(path, O_RDONLY | O_CREAT | O_CLOEXEC, kPermissions));
  if (file.is_open()) return file;
  printf("ROQ_LockFile,Fail to open %s.\n", path);
  fflush(stdout);
  _exit(1);
}

bool take_lock(int fd) {
  int result;
  do
    result = flock(fd, LOCK_EX);
  while (result < 0 && errno == EINTR);
  return result == 0;
}

} // namespace

int32_t lock_file(const char* path, FILE** stream) {
  UniqueFd file = open_or_end_process(path);
  if (!take_lock(file.get())) {
    file.reset();
    printf("ERROR:Fail to flock %s.\n", path);
    return -1;
  }
  if (stream != nullptr) *stream = fdopen(file.get(), "rw");
  return file.release();
}

int32_t unlock_file(int32_t fd) {
  if (fd < 0) return printf("ROQ_UnlockFile %d fail.\n", fd);
  flock(fd, LOCK_UN);
  return close(fd);
}

} // namespace roq::process
