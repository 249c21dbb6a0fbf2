// Puts a test's own functions in the place of system calls that the code under test makes.
//
//   Hook no_child(call_hooks.fork, [] { errno = EAGAIN; return pid_t{-1}; });
//
// Works on calls from what is linked into the test program, which the linker is told to wrap.
#ifndef ROQ_TESTS_SUPPORT_CALL_HOOKS_H
#define ROQ_TESTS_SUPPORT_CALL_HOOKS_H

#include <csignal>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <utility>

namespace roq::test {

// Null: the system call itself.
struct CallHooks {
  pid_t (*fork)();
  int (*sigaction)(int, const struct sigaction*, struct sigaction*);
  pid_t (*waitpid)(pid_t, int*, int);
  int (*flock)(int, int);
  int (*kill)(pid_t, int);
  int (*usleep)(useconds_t);
  int (*nanosleep)(const timespec*, timespec*);
  int (*socket)(int, int, int);
  int (*bind)(int, const sockaddr*, socklen_t);
  int (*connect)(int, const sockaddr*, socklen_t);
  int (*poll)(pollfd*, nfds_t, int);
  ssize_t (*send)(int, const void*, size_t, int);
  ssize_t (*sendto)(int, const void*, size_t, int, const sockaddr*, socklen_t);
  ssize_t (*recv)(int, void*, size_t, int);
  int (*accept)(int, sockaddr*, socklen_t*);
  int (*ioctl)(int, unsigned long, void*);
};

extern CallHooks call_hooks;

// The system calls themselves.
extern const CallHooks real_calls;

template <typename Function> class Hook {
public:
  Hook(Function*& place, Function* function) : place_(place), saved_(std::exchange(place, function)) {}
  ~Hook() { place_ = saved_; }
  Hook(const Hook&) = delete;
  Hook& operator=(const Hook&) = delete;

private:
  Function*& place_;
  Function* saved_;
};

template <typename Function, typename Replacement> Hook(Function*&, Replacement) -> Hook<Function>;

} // namespace roq::test

#endif
