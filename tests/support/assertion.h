// The report of a failed check inside the pool allocator.
#ifndef ROQ_TESTS_SUPPORT_ASSERTION_H
#define ROQ_TESTS_SUPPORT_ASSERTION_H

#include "support/child.h"

// Not there with musl.
extern "C" [[gnu::weak]] const char* gnu_get_libc_version();

namespace roq::test {

// The C library's own report.
inline std::string pool_assertion(int line, const char* function, const char* text) {
  const std::string number = std::to_string(line);
  if (gnu_get_libc_version != nullptr)
    return "bget.c:" + number + ": " + function + ": Assertion `" + text + "' failed.\n";
  return std::string("Assertion failed: ") + text + " (bget.c: " + function + ": " + number + ")\n";
}

// The process was stopped by this assertion: SIGABRT, the report on standard error, nothing on standard output.
inline testing::AssertionResult stopped_by(const Outcome& outcome, int line, const char* function, const char* text) {
  bool reported = outcome.err.find(pool_assertion(line, function, text)) != std::string::npos;
  if (outcome.killed_by(SIGABRT) && reported && outcome.out.empty()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "expected " << pool_assertion(line, function, text) << outcome;
}

} // namespace roq::test

#endif
