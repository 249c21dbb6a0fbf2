#include "service.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace gateway {
namespace {

volatile sig_atomic_t asked_to_end = 0;

void end(int) { asked_to_end = 1; }

[[noreturn]] void fail(const char* what) {
  perror(what);
  exit(1);
}

// The parent's part: its exit code tells whether the service runs.
[[noreturn]] void wait_until_ready(int ready) {
  char byte;
  _exit(read(ready, &byte, 1) == 1 ? 0 : 1);
}

void write_pid_file(const char* name) {
  char path[64];
  snprintf(path, sizeof path, "/var/run/%s.pid", name);
  FILE* file = fopen(path, "we");
  if (file == nullptr) fail(path);
  fprintf(file, "%d\n", getpid());
  if (fclose(file) != 0) fail(path);
}

} // namespace

Service::Service(const char* name) : name_(name) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
  pid_t child = fork();
  if (child < 0) fail("fork");
  if (child > 0) {
    close(ends[1]);
    wait_until_ready(ends[0]);
  }
  close(ends[0]);
  ready_ = ends[1];
  setsid();
  // Without SA_RESTART: the request to end also ends a wait.
  struct sigaction action {};
  action.sa_handler = end;
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  write_pid_file(name);
}

void Service::is_ready() {
  char path[64];
  snprintf(path, sizeof path, "/var/log/%s.log", name_);
  fflush(stdout);
  if (freopen("/dev/null", "r", stdin) == nullptr) fail("/dev/null");
  if (freopen(path, "a", stdout) == nullptr) fail(path);
  if (freopen(path, "a", stderr) == nullptr) fail(path);
  setvbuf(stdout, nullptr, _IOLBF, 0);
  char byte = 1;
  if (write(ready_, &byte, 1) != 1) fail("pipe");
  close(ready_);
}

bool Service::is_wanted() { return asked_to_end == 0; }

} // namespace gateway
