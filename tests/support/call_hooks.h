// Puts a test's own functions in the place of system calls that the code under test makes.
//
//   Hook no_child(call_hooks.fork, [] { errno = EAGAIN; return pid_t{-1}; });
//
// Works on calls from what is linked into the test program, which the linker is told to wrap.
#ifndef ROQ_TESTS_SUPPORT_CALL_HOOKS_H
#define ROQ_TESTS_SUPPORT_CALL_HOOKS_H

#include <csignal>
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
