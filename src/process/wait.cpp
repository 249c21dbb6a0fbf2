#include "process/wait.h"

#include <algorithm>
#include <cerrno>
#include <sys/wait.h>
#include <unistd.h>

namespace roq::process {
namespace {

constexpr int32_t kLongestPollMilliseconds = 40;

void report_status(int status, uint32_t* signal, uint32_t* exit_code) {
  if (signal != nullptr) *signal = WIFSIGNALED(status) ? static_cast<uint32_t>(WTERMSIG(status)) : 0;
  if (exit_code != nullptr) *exit_code = static_cast<uint32_t>(WEXITSTATUS(status));
}

} // namespace

int32_t wait_for_child(int32_t pid, int32_t time_limit, uint32_t* signal, uint32_t* exit_code) {
  int32_t interval = std::min(time_limit, kLongestPollMilliseconds);
  // No deadline, and that is meant: a positive limit only sets how often the child is looked at.
  for (;;) {
    int status = 0;
    pid_t reaped = waitpid(pid, &status, time_limit >= 0 ? WNOHANG : 0);
    if (reaped > 0) {
      report_status(status, signal, exit_code);
      return reaped;
    }
    if (reaped == 0) {
      if (time_limit == 0) return pid;
      usleep(static_cast<useconds_t>(interval) * 1000);
    } else if (errno != EINTR) {
      return errno == ECHILD ? pid : -1;
    }
  }
}

} // namespace roq::process
