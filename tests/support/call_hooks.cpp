#include "support/call_hooks.h"

extern "C" {

pid_t __real_fork();
int __real_sigaction(int signal, const struct sigaction* action, struct sigaction* old);
pid_t __real_waitpid(pid_t pid, int* status, int options);
int __real_flock(int fd, int operation);
int __real_kill(pid_t pid, int signal);
int __real_usleep(useconds_t microseconds);
int __real_nanosleep(const timespec* time, timespec* rest);
int __real_socket(int family, int type, int protocol);
int __real_bind(int fd, const sockaddr* address, socklen_t size);
int __real_connect(int fd, const sockaddr* address, socklen_t size);
int __real_poll(pollfd* events, nfds_t count, int timeout);
ssize_t __real_send(int fd, const void* data, size_t size, int flags);
ssize_t __real_sendto(int fd, const void* data, size_t size, int flags, const sockaddr* address,
                      socklen_t address_size);
ssize_t __real_recv(int fd, void* data, size_t size, int flags);
int __real_accept(int fd, sockaddr* address, socklen_t* length);
int __real_ioctl(int fd, unsigned long request, void* argument);

pid_t __wrap_fork();
int __wrap_sigaction(int signal, const struct sigaction* action, struct sigaction* old);
pid_t __wrap_waitpid(pid_t pid, int* status, int options);
int __wrap_flock(int fd, int operation);
int __wrap_kill(pid_t pid, int signal);
int __wrap_usleep(useconds_t microseconds);
int __wrap_nanosleep(const timespec* time, timespec* rest);
int __wrap_socket(int family, int type, int protocol);
int __wrap_bind(int fd, const sockaddr* address, socklen_t size);
int __wrap_connect(int fd, const sockaddr* address, socklen_t size);
int __wrap_poll(pollfd* events, nfds_t count, int timeout);
ssize_t __wrap_send(int fd, const void* data, size_t size, int flags);
ssize_t __wrap_sendto(int fd, const void* data, size_t size, int flags, const sockaddr* address,
                      socklen_t address_size);
ssize_t __wrap_recv(int fd, void* data, size_t size, int flags);
int __wrap_accept(int fd, sockaddr* address, socklen_t* length);
int __wrap_ioctl(int fd, unsigned long request, void* argument);
}

namespace roq::test {

CallHooks call_hooks{};
const CallHooks real_calls{__real_fork,   __real_sigaction, __real_waitpid,   __real_flock,
                           __real_kill,   __real_usleep,    __real_nanosleep, __real_socket,
                           __real_bind,   __real_connect,   __real_poll,      __real_send,
                           __real_sendto, __real_recv,      __real_accept,    __real_ioctl};

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

int __wrap_nanosleep(const timespec* time, timespec* rest) {
  return (call_hooks.nanosleep != nullptr ? call_hooks.nanosleep : real_calls.nanosleep)(time, rest);
}

int __wrap_socket(int family, int type, int protocol) {
  return (call_hooks.socket != nullptr ? call_hooks.socket : real_calls.socket)(family, type, protocol);
}

int __wrap_bind(int fd, const sockaddr* address, socklen_t size) {
  return (call_hooks.bind != nullptr ? call_hooks.bind : real_calls.bind)(fd, address, size);
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
  return (call_hooks.connect != nullptr ? call_hooks.connect : real_calls.connect)(fd, address, size);
}

int __wrap_poll(pollfd* events, nfds_t count, int timeout) {
  return (call_hooks.poll != nullptr ? call_hooks.poll : real_calls.poll)(events, count, timeout);
}

ssize_t __wrap_send(int fd, const void* data, size_t size, int flags) {
  return (call_hooks.send != nullptr ? call_hooks.send : real_calls.send)(fd, data, size, flags);
}

ssize_t __wrap_sendto(int fd, const void* data, size_t size, int flags, const sockaddr* address,
                      socklen_t address_size) {
  return (call_hooks.sendto != nullptr ? call_hooks.sendto : real_calls.sendto)(fd, data, size, flags, address,
                                                                                address_size);
}

ssize_t __wrap_recv(int fd, void* data, size_t size, int flags) {
  return (call_hooks.recv != nullptr ? call_hooks.recv : real_calls.recv)(fd, data, size, flags);
}

int __wrap_accept(int fd, sockaddr* address, socklen_t* length) {
  return (call_hooks.accept != nullptr ? call_hooks.accept : real_calls.accept)(fd, address, length);
}

int __wrap_ioctl(int fd, unsigned long request, void* argument) {
  return (call_hooks.ioctl != nullptr ? call_hooks.ioctl : real_calls.ioctl)(fd, request, argument);
}
