// How the shell's time limit counts, with a child that exists on paper only.
#include "support/call_hooks.h"
#include "support/child.h"
#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <roqutil/process.h>

namespace roq::test::process {
namespace {

constexpr pid_t kShell = 4242;

class ExecCmdByTime : public testing::Test {
protected:
  ExecCmdByTime() {
    polls = 0;
    ends_after = -1;
    status_at_end = 0;
    signals.clear();
  }

  // The shell runs for this many looks; for ever when negative.
  static inline int64_t ends_after;
  static inline int status_at_end;
  static inline int64_t polls;
  static inline std::vector<int> signals;

  Hook<pid_t()> fork_{call_hooks.fork, [] { return kShell; }};
  Hook<pid_t(pid_t, int*, int)> waitpid_{call_hooks.waitpid, [](pid_t pid, int* status, int options) -> pid_t {
                                           // Asked millions of times, so the expectation must be cheap.
                                           if (pid != kShell || options != (WNOHANG | WUNTRACED)) abort();
                                           if (polls++ != ends_after) return 0;
                                           *status = status_at_end;
                                           return pid;
                                         }};
  Hook<int(useconds_t)> usleep_{call_hooks.usleep, [](useconds_t microseconds) {
                                  if (microseconds != 20) abort();
                                  return 0;
                                }};
  Hook<int(pid_t, int)> kill_{call_hooks.kill, [](pid_t pid, int signal) {
                                EXPECT_EQ(pid, kShell);
                                signals.push_back(signal);
                                return 0;
                              }};
};

TEST_F(ExecCmdByTime, CountsFiftyThousandPollsForASecond) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("sleep 100", 2), -1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\r\nNotice Command: sleep 100; Pid = 4242\r\n");
  EXPECT_EQ(polls, 100001);
  EXPECT_EQ(signals, std::vector<int>{SIGTERM});
}

TEST_F(ExecCmdByTime, LooksOnlyAtTheLowByteOfTheLimitAndTakesZeroForTwenty) {
  struct Case {
    uint32_t seconds;
    int64_t expected_polls;
  };
  for (Case it : {Case{0, 1000001}, Case{256, 1000001}, Case{0xFFFFFF00, 1000001}, Case{257, 50001}, Case{1, 50001},
                  Case{127, 6350001}}) {
    polls = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("sleep 100", it.seconds), -1);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(polls, it.expected_polls) << it.seconds;
  }
}

TEST_F(ExecCmdByTime, NeverExpiresWithANegativeLowByte) {
  for (uint32_t seconds : {128U, 255U}) {
    polls = 0;
    ends_after = 7000000; // beyond the longest positive limit
    status_at_end = 0x0500;
    EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("sleep 100", seconds), 0x0500) << seconds;
  }
  EXPECT_TRUE(signals.empty());
}

TEST_F(ExecCmdByTime, GivesTheRawStatusUpToTheLastPoll) {
  for (int64_t when : {0, 1, 50000}) {
    polls = 0;
    ends_after = when;
    status_at_end = 0x137f; // stopped
    EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("sleep 100", 1), 0x137f) << when;
  }
  EXPECT_TRUE(signals.empty());
}

TEST_F(ExecCmdByTime, GivesMinusOneWhenTheWaitFails) {
  Hook failing(call_hooks.waitpid, [](pid_t, int*, int) -> pid_t {
    errno = ECHILD;
    return -1;
  });
  EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("sleep 100", 1), -1);
  EXPECT_TRUE(signals.empty());
}

TEST_F(ExecCmdByTime, DoesNotWaitForTheShellThatItTerminated) {
  Hook looking(call_hooks.waitpid, [](pid_t, int*, int) -> pid_t {
    EXPECT_TRUE(signals.empty()) << "waited after the signal";
    return 0;
  });
  testing::internal::CaptureStdout();
  EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("sleep 100", 1), -1);
  testing::internal::GetCapturedStdout();
}

TEST(ExecCmd, WaitsAgainAfterASignalAndFailsOnAnythingElse) {
  static int errors[2];
  static int calls;
  Hook shell(call_hooks.fork, [] { return kShell; });
  Hook interrupted(call_hooks.waitpid, [](pid_t pid, int* status, int options) -> pid_t {
    EXPECT_EQ(pid, kShell);
    EXPECT_EQ(options, 0);
    if (calls < 2 && errors[calls] != 0) {
      errno = errors[calls++];
      return -1;
    }
    *status = 0x0300;
    return pid;
  });
  calls = 0;
  errors[0] = errors[1] = EINTR;
  EXPECT_EQ(ROQ_UTIL_ExecCmd("exit 3", nullptr), 0x300U);
  EXPECT_EQ(calls, 2);
  calls = 0;
  errors[1] = ECHILD;
  EXPECT_EQ(ROQ_UTIL_ExecCmd("exit 3", nullptr), 0xFFFFFFFFU);
}

} // namespace
} // namespace roq::test::process
