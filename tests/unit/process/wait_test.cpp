#include "support/call_hooks.h"
#include "support/child.h"
#include <cerrno>
#include <gtest/gtest.h>
#include <roqutil/process.h>
#include <vector>

namespace roq::test::process {
namespace {

template <typename Piece> pid_t start(Piece&& piece) {
  pid_t child = fork();
  if (child == 0) {
    piece();
    _exit(0);
  }
  return child;
}

pid_t start_exiting(int code) {
  return start([=] { _exit(code); });
}

pid_t start_sleeping() {
  return start([] {
    for (;;)
      pause();
  });
}

void end(pid_t child) {
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

struct Waited {
  int32_t result;
  uint32_t signal = 77, code = 78;
};

Waited wait_for(pid_t child, int32_t time_limit) {
  Waited waited{};
  waited.result = ROQ_UTIL_WaitForPid(child, time_limit, &waited.signal, &waited.code);
  return waited;
}

TEST(WaitForPid, GivesTheExitCode) {
  for (int32_t limit : {-1, 1, 100}) {
    for (int code : {0, 1, 127, 255}) {
      pid_t child = start_exiting(code);
      Waited waited = wait_for(child, limit);
      EXPECT_EQ(waited.result, child);
      EXPECT_EQ(waited.signal, 0U);
      EXPECT_EQ(waited.code, static_cast<uint32_t>(code));
    }
  }
}

TEST(WaitForPid, GivesTheSignalThatKilledTheChild) {
  for (int signal : {SIGTERM, SIGKILL, SIGUSR1, SIGALRM}) {
    pid_t child = start([=] {
      ::signal(signal, SIG_DFL);
      raise(signal);
    });
    Waited waited = wait_for(child, -1);
    EXPECT_EQ(waited.result, child);
    EXPECT_EQ(waited.signal, static_cast<uint32_t>(signal));
    EXPECT_EQ(waited.code, 0U);
  }
}

TEST(WaitForPid, TakesNullForEitherOutput) {
  pid_t child = start_exiting(3);
  EXPECT_EQ(ROQ_UTIL_WaitForPid(child, -1, nullptr, nullptr), child);
  child = start_exiting(3);
  uint32_t code = 0;
  EXPECT_EQ(ROQ_UTIL_WaitForPid(child, -1, nullptr, &code), child);
  EXPECT_EQ(code, 3U);
  child = start_exiting(3);
  uint32_t signal = 9;
  EXPECT_EQ(ROQ_UTIL_WaitForPid(child, -1, &signal, nullptr), child);
  EXPECT_EQ(signal, 0U);
}

TEST(WaitForPid, LooksOnceWithALimitOfZero) {
  pid_t child = start_sleeping();
  Waited waited = wait_for(child, 0);
  EXPECT_EQ(waited.result, child);
  EXPECT_EQ(waited.signal, 77U);
  EXPECT_EQ(waited.code, 78U);
  end(child);

  child = start_exiting(5);
  siginfo_t info;
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
  waited = wait_for(child, 0);
  EXPECT_EQ(waited.result, child);
  EXPECT_EQ(waited.code, 5U);
  EXPECT_EQ(waitpid(child, nullptr, 0), -1); // it was reaped
}

TEST(WaitForPid, GivesTheIdBackWhenTheChildWasReapedElsewhere) {
  pid_t child = start_exiting(5);
  waitpid(child, nullptr, 0);
  for (int32_t limit : {-1, 0, 1}) {
    Waited waited = wait_for(child, limit);
    EXPECT_EQ(waited.result, child);
    EXPECT_EQ(waited.signal, 77U);
    EXPECT_EQ(waited.code, 78U);
  }
}

TEST(WaitForPid, GivesMinusOneWhenTheWaitFailsOtherwise) {
  Hook failing(call_hooks.waitpid, [](pid_t, int*, int) -> pid_t {
    errno = EINVAL;
    return -1;
  });
  Waited waited = wait_for(12345, -1);
  EXPECT_EQ(waited.result, -1);
  EXPECT_EQ(waited.signal, 77U);
  EXPECT_EQ(waited.code, 78U);
}

TEST(WaitForPid, BlocksOnlyWithANegativeLimit) {
  static int seen_options;
  Hook looking(call_hooks.waitpid, [](pid_t pid, int*, int options) -> pid_t {
    seen_options = options;
    return pid;
  });
  for (int32_t limit : {-1, -1000, INT32_MIN}) {
    seen_options = -1;
    wait_for(12345, limit);
    EXPECT_EQ(seen_options, 0) << limit;
  }
  for (int32_t limit : {0, 1, 40, INT32_MAX}) {
    seen_options = -1;
    wait_for(12345, limit);
    EXPECT_EQ(seen_options, WNOHANG) << limit;
  }
}

TEST(WaitForPid, WaitsAgainAfterASignal) {
  static int interruptions;
  interruptions = 5;
  Hook interrupted(call_hooks.waitpid, [](pid_t pid, int* status, int) -> pid_t {
    if (interruptions-- > 0) {
      errno = EINTR;
      return -1;
    }
    *status = 7 << 8;
    return pid;
  });
  Waited waited = wait_for(12345, -1);
  EXPECT_EQ(waited.result, 12345);
  EXPECT_EQ(waited.code, 7U);
}

// The child is found running `looks` times, and nobody really sleeps.
struct Sleeps {
  static inline int looks;
  static inline std::vector<useconds_t> taken;

  explicit Sleeps(int count) {
    looks = count;
    taken.clear();
  }
  Hook<pid_t(pid_t, int*, int)> running{call_hooks.waitpid, [](pid_t pid, int* status, int) -> pid_t {
                                          *status = 0;
                                          return looks-- > 0 ? 0 : pid;
                                        }};
  Hook<int(useconds_t)> sleeping{call_hooks.usleep, [](useconds_t microseconds) {
                                   taken.push_back(microseconds);
                                   return 0;
                                 }};
};

TEST(WaitForPid, NeverGivesUpWithAPositiveLimit) {
  Sleeps sleeps(100000);
  EXPECT_EQ(wait_for(12345, 1).result, 12345);
  EXPECT_EQ(Sleeps::taken, std::vector<useconds_t>(100000, 1000));
}

TEST(WaitForPid, LooksEveryMillisecondsOfTheLimitButAtLeastEveryForty) {
  struct Case {
    int32_t limit;
    useconds_t microseconds;
  };
  for (Case it : {Case{1, 1000}, Case{5, 5000}, Case{39, 39000}, Case{40, 40000}, Case{41, 40000}, Case{100, 40000},
                  Case{INT32_MAX, 40000}}) {
    Sleeps sleeps(5);
    wait_for(12345, it.limit);
    EXPECT_EQ(Sleeps::taken, std::vector<useconds_t>(5, it.microseconds)) << it.limit;
  }
}

TEST(WaitForPid, WaitsForAnyChildWhenTheIdIsMinusOne) {
  pid_t child = start_exiting(4);
  Waited waited = wait_for(-1, -1);
  EXPECT_EQ(waited.result, child);
  EXPECT_EQ(waited.code, 4U);
}

TEST(WaitForPid, DoesNotReportAStoppedChild) {
  pid_t child = start([] {
    raise(SIGSTOP);
    _exit(6);
  });
  int status;
  ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
  ASSERT_TRUE(WIFSTOPPED(status));
  Waited waited = wait_for(child, 0);
  EXPECT_EQ(waited.result, child);
  EXPECT_EQ(waited.code, 78U);
  kill(child, SIGCONT);
  EXPECT_EQ(wait_for(child, -1).code, 6U);
}

} // namespace
} // namespace roq::test::process
