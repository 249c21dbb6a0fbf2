#include "support/call_hooks.h"

extern "C" {

pid_t __real_fork();
int __real_sigaction(int signal, const struct sigaction* action, struct sigaction* old);
pid_t __real_waitpid(pid_t pid, int* status, int options);
int __real_flock(int fd, int operation);
int __real_kill(pid_t pid, int signal);
int __real_usleep(useconds_t microseconds);

pid_t __wrap_fork();
int __wrap_sigaction(int signal, const struct sigaction* action, struct sigaction* old);
pid_t __wrap_waitpid(pid_t pid, int* status, int options);
int __wrap_flock(int fd, int operation);
int __wrap_kill(pid_t pid, int signal);
int __wrap_usleep(useconds_t microseconds);
}

namespace roq::test {

CallHooks call_hooks{};
const CallHooks real_calls{__real_fork, __real_sigaction, __real_waitpid, __real_flock, __real_kill, __real_usleep};

} // namespace roq::test

using roq::test::call_hooks;
using roq::test::real_calls;

pid_t __wrap_fork() { return (call_hooks.fork != nullptr ? call_hooks.fork : real_calls.fork)(); }

int __wrap_sigaction(int signal, const struct sigaction* action, struct sigaction* old) {
  return (call_hooks.sigaction != nullptr ? call_hooks.sigaction : real_calls.sigaction)(signal, action, old);
}

pid_t __wrap_waitpid(pid_t pid, int* status, int options) {
  return (call_hooks.waitpid != nullptr ? call_hooks.waitpid : real_calls.waitpid)(pid, status, options);
}

int __wrap_flock(int fd, int operation) {
  return (call_hooks.flock != nullptr ? call_hooks.flock : real_calls.flock)(fd, operation);
}

int __wrap_kill(pid_t pid, int signal) {
  return (call_hooks.kill != nullptr ? call_hooks.kill : real_calls.kill)(pid, signal);
}

int __wrap_usleep(useconds_t microseconds) {
  return (call_hooks.usleep != nullptr ? call_hooks.usleep : real_calls.usleep)(microseconds);
}
