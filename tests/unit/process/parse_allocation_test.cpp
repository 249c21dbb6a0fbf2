#include "support/allocation_probe.h"
#include <cstdlib>
#include <gtest/gtest.h>
#include <roqutil/process.h>

namespace roq::test::process {
namespace {

// Enough arguments for the vector to grow, both files, quotes.
constexpr const char* kLine = "prog a b c d e f 'g h' i\\ j k l m n o p q r s t 2>>err >out &";

struct Attempt {
  uint32_t result;
  size_t asked, held_before_release, held_after_release;
  bool outputs_untouched;
};

Attempt parse_with(size_t failing_allocation, Fails fails) {
  char* untouched[1];
  char** vector = untouched;
  int32_t count = -7;
  RedirectPlan plan;
  AllocationProbe probe(failing_allocation, fails);
  Attempt attempt{};
  attempt.result = ROQ_UTIL_ParseArgs(kLine, &vector, &count, &plan);
  attempt.asked = probe.asked();
  attempt.held_before_release = probe.held();
  attempt.outputs_untouched =
      vector == untouched && count == 0 && plan.pcStdoutFile == nullptr && plan.pcStderrFile == nullptr;
  if (attempt.result == 0) {
    ROQ_UTIL_FreeArgs(vector);
    free(plan.pcStdoutFile);
    free(plan.pcStderrFile);
  }
  attempt.held_after_release = probe.held();
  return attempt;
}

TEST(ParseArgsAllocations, AreAllReleasedByTheCaller) {
  Attempt attempt = parse_with(0, Fails::never);
  EXPECT_EQ(attempt.result, 0U);
  // The vector, 19 arguments and two files.
  EXPECT_EQ(attempt.held_before_release, 22U);
  EXPECT_EQ(attempt.held_after_release, 0U);
}

TEST(ParseArgsAllocations, FailTheParseAndLeaveNothingWhicheverOneFails) {
  size_t allocations = parse_with(0, Fails::never).asked;
  ASSERT_GT(allocations, 24U); // also the working copy and the growing
  for (Fails fails : {Fails::once, Fails::from_there_on}) {
    for (size_t number = 1; number <= allocations; ++number) {
      Attempt attempt = parse_with(number, fails);
      EXPECT_EQ(attempt.result, 1U) << number;
      EXPECT_EQ(attempt.held_after_release, 0U) << number;
      EXPECT_TRUE(attempt.outputs_untouched) << number;
    }
  }
}

TEST(ParseArgsAllocations, AreReleasedWhenTheLineIsWrong) {
  for (const char* line : {"prog 'a", "prog a b \"c\\\"d\" >out 2>err", "prog \"\\\"\"", "prog a\\ \"b\\"}) {
    char** vector;
    RedirectPlan plan;
    AllocationProbe probe;
    uint32_t result = ROQ_UTIL_ParseArgs(line, &vector, nullptr, &plan);
    size_t held = probe.held();
    EXPECT_EQ(result, 1U) << line;
    EXPECT_EQ(held, 0U) << line;
  }
}

} // namespace
} // namespace roq::test::process
