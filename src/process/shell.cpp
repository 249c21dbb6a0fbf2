#include "process/shell.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

namespace roq::process {
namespace {

constexpr int32_t kDefaultSeconds = 20;
constexpr int32_t kPollsPerSecond = 50000;
constexpr useconds_t kPollMicroseconds = 20;
constexpr int kNoShell = 127;

pid_t start_shell(const char* command) {
  pid_t child = fork();
  if (child != 0) return child;
  // The vector's type takes texts that may be changed; exec changes none.
  char* arguments[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), const_cast<char*>(command), nullptr};
  execv("/bin/sh", arguments);
  _exit(kNoShell);
}

} // namespace

int32_t execute_in_shell(const char* command, bool print) {
  pid_t child = start_shell(command);
  if (child < 0) return -1;
  if (print) printf("ROQ_UTIL_ExecCmd Command: %s", command);
  int status;
  pid_t reaped;
  do
    reaped = waitpid(child, &status, 0);
  while (reaped < 0 && errno == EINTR);
  return reaped < 0 ? -1 : status;
}

int32_t execute_in_shell_by_time(const char* command, int8_t seconds) {
  // Compared unsigned, so that a negative limit never expires in practice.
  auto budget = static_cast<uint32_t>((seconds != 0 ? seconds : kDefaultSeconds) * kPollsPerSecond);
  pid_t child = start_shell(command);
  if (child < 0) return -1;
  for (uint32_t polls = 0; polls <= budget;) {
    int status;
    pid_t reaped = waitpid(child, &status, WNOHANG | WUNTRACED);
    if (reaped < 0) return -1;
    if (reaped > 0) return status;
    ++polls;
    usleep(kPollMicroseconds);
  }
  kill(child, SIGTERM);
  printf("\r\nNotice Command: %s; Pid = %d\r\n", command, static_cast<int>(child));
  return -1;
}

} // namespace roq::process
