// Runs what may end its process, or never return, in a child: on a damaged segment the library does either.
#ifndef ROQ_TOOL_GVAR_GUARDED_H
#define ROQ_TOOL_GVAR_GUARDED_H

#include "buffers.h"
#include <cstdint>
#include <cstdio>
#include <sys/types.h>
#include <unistd.h>

namespace roq::tool::gvar {

struct Ending {
  int error = 0;  // why there was no child; 0 when there was one
  int code = 0;   // its exit code
  int signal = 0; // that ended it; SIGALRM when its time was over
  Text said;      // what it wrote on standard error, and on standard output when that was taken, too
};

enum class Output { of_the_tool, taken };

class Child {
public:
  // Forks. `seconds` is the time the child has; 0 means no limit.
  Child(uint32_t seconds, Output output);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  bool is_inside() const { return pid_ == 0; }
  [[noreturn]] static void end(int code);
  Ending wait();

private:
  pid_t pid_ = -1;
  int said_ = -1;
  int error_ = 0;
};

// `work` returns the child's exit code.
template <typename Work> Ending run_guarded(uint32_t seconds, Output output, Work work) {
  Child child(seconds, output);
  if (child.is_inside()) Child::end(work());
  return child.wait();
}

} // namespace roq::tool::gvar

#endif
