// What becomes of the launcher and the shell when the system refuses something. They are not given a program here.
#include "process/exec_no_hang.h"
#include "support/allocation_probe.h"
#include "support/call_hooks.h"
#include "support/child.h"
#include "support/temporary_folder.h"
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <roqutil/process.h>
#include <set>

namespace roq::test::process {
namespace {

constexpr const char* kAnyProgram = "/there/is/no/such/program";

pid_t refused_fork() {
  errno = EAGAIN;
  return -1;
}

int refused_sigaction(int, const struct sigaction*, struct sigaction*) {
  errno = EINVAL;
  return -1;
}

std::set<int> open_descriptors() {
  std::set<int> open;
  for (int fd = 0; fd < 256; ++fd) {
    if (fcntl(fd, F_GETFD) >= 0) open.insert(fd);
  }
  return open;
}

bool same_action(const struct sigaction& one, const struct sigaction& other) {
  return one.sa_handler == other.sa_handler && one.sa_flags == other.sa_flags;
}

TEST(ForkProcessFull, GivesMinusOneWhenThereIsNoVectorOrNoProgram) {
  char* empty[] = {nullptr};
  EXPECT_EQ(ROQ_UTIL_ForkProcessFull(nullptr, -1, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(ROQ_UTIL_ForkProcessFull(empty, -1, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(ROQ_UTIL_ForkProcessEx(nullptr, -1, nullptr, nullptr), -1);
  EXPECT_EQ(ROQ_UTIL_ForkProcessEx(empty, -1, nullptr, nullptr), -1);
}

TEST(ForkProcessFull, DoesNothingForAProgramThatIsNotFound) {
  TemporaryFolder folder;
  std::string file = folder.path("out");
  Hook no_fork(call_hooks.fork, []() -> pid_t {
    ADD_FAILURE() << "forked";
    return -1;
  });
  Hook no_sigaction(call_hooks.sigaction, [](int, const struct sigaction*, struct sigaction*) -> int {
    ADD_FAILURE() << "changed a signal action";
    return -1;
  });
  char* missing[] = {const_cast<char*>("no such program"), nullptr};
  char* empty[] = {const_cast<char*>(""), nullptr};
  uint32_t signal = 77, code = 78;
  RedirectPlan plan{file.data(), nullptr, 0, 0, 0};
  EXPECT_EQ(ROQ_UTIL_ForkProcessFull(missing, -1, &signal, &code, &plan), -1);
  EXPECT_EQ(ROQ_UTIL_ForkProcessFull(empty, -1, &signal, &code, &plan), -1);
  EXPECT_EQ(signal, 77U);
  EXPECT_EQ(code, 78U);
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST(ForkProcessFull, ReportsAFailedForkAndPutsTheSignalActionBack) {
  struct sigaction mine {
  }, now;
  mine.sa_handler = [](int) {};
  mine.sa_flags = SA_NOCLDSTOP;
  struct sigaction before;
  ASSERT_EQ(sigaction(SIGCHLD, &mine, &before), 0);
  sigaction(SIGCHLD, nullptr, &mine);
  uint32_t signal = 77, code = 78;
  errno = 0;
  {
    Hook failing(call_hooks.fork, refused_fork);
    EXPECT_EQ(ROQ_UTIL_ForkProcess(kAnyProgram, -1, &signal, &code), -1);
  }
  EXPECT_EQ(errno, EAGAIN);
  sigaction(SIGCHLD, &before, &now);
  EXPECT_TRUE(same_action(now, mine));
  EXPECT_EQ(signal, 77U);
  EXPECT_EQ(code, 78U);
}

TEST(ForkProcessFull, LeavesTheRedirectionFilesOpenAfterAFailedFork) {
  TemporaryFolder folder;
  std::string out = folder.path("out"), err = folder.path("err");
  std::set<int> before = open_descriptors();
  char* vector[] = {const_cast<char*>(kAnyProgram), nullptr};
  RedirectPlan plan{out.data(), err.data(), 0, 0, 0};
  {
    Hook failing(call_hooks.fork, refused_fork);
    EXPECT_EQ(ROQ_UTIL_ForkProcessFull(vector, -1, nullptr, nullptr, &plan), -1);
  }
  std::set<int> after = open_descriptors();
  EXPECT_EQ(after.size(), before.size() + 2);
  for (int fd : after) {
    if (before.count(fd) == 0) close(fd);
  }
}

TEST(ForkProcessFull, SetsTheDefaultChildActionWithRestartWhileItForks) {
  Hook failing(call_hooks.fork, []() -> pid_t {
    struct sigaction now;
    real_calls.sigaction(SIGCHLD, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_DFL);
    EXPECT_NE(now.sa_flags & SA_RESTART, 0);
    return -1;
  });
  EXPECT_EQ(ROQ_UTIL_ForkProcess(kAnyProgram, -1, nullptr, nullptr), -1);
}

TEST(ForkProcessFull, OpensOneFileForBothOutputsOnce) {
  TemporaryFolder folder;
  std::string out = folder.path("out"), same = out;
  std::set<int> before = open_descriptors();
  char* vector[] = {const_cast<char*>(kAnyProgram), nullptr};
  RedirectPlan plan{out.data(), same.data(), 0, 1, 0};
  {
    Hook failing(call_hooks.fork, refused_fork);
    EXPECT_EQ(ROQ_UTIL_ForkProcessFull(vector, -1, nullptr, nullptr, &plan), -1);
  }
  std::set<int> after = open_descriptors();
  EXPECT_EQ(after.size(), before.size() + 1);
  for (int fd : after) {
    if (before.count(fd) != 0) continue;
    EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_APPEND), O_RDWR);
    close(fd);
  }
}

TEST(ForkProcessFull, ReportsARefusedSignalActionOnStandardErrorAndGoesOn) {
  Outcome outcome = run_in_child([] {
    Hook refused(call_hooks.sigaction, refused_sigaction);
    Hook failing(call_hooks.fork, []() -> pid_t {
      EXPECT_EQ(write(STDOUT_FILENO, "forked", 6), 6);
      return -1;
    });
    EXPECT_EQ(ROQ_UTIL_ForkProcess(kAnyProgram, -1, nullptr, nullptr), -1);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "forked");
  EXPECT_EQ(outcome.err, std::string("sigaction error\r\n: ") + strerror(EINVAL) + "\n");
}

TEST(ForkProcessFull, PutsNoSignalActionBackThatItCouldNotChange) {
  static int changes;
  changes = 0;
  Outcome outcome = run_in_child([] {
    Hook refused(call_hooks.sigaction, [](int signal, const struct sigaction* action, struct sigaction*) -> int {
      EXPECT_EQ(signal, SIGCHLD);
      changes += action != nullptr;
      errno = EINVAL;
      return -1;
    });
    Hook failing(call_hooks.fork, refused_fork);
    EXPECT_EQ(ROQ_UTIL_ForkProcess(kAnyProgram, -1, nullptr, nullptr), -1);
    EXPECT_EQ(changes, 1);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
}

TEST(ForkProcessFull, ShowsADetachedProgramWhoseSecondForkFailsAsExitCode255) {
  static pid_t caller;
  Outcome outcome = run_in_child([] {
    caller = getpid();
    Hook failing(call_hooks.fork, [] { return getpid() == caller ? real_calls.fork() : refused_fork(); });
    atexit([] { EXPECT_EQ(write(STDERR_FILENO, "mark", 4), 4); });
    uint32_t signal = 77, code = 78;
    EXPECT_GT(ROQ_UTIL_ForkProcess("/bin/true &", -1, &signal, &code), 0);
    EXPECT_EQ(signal, 0U);
    EXPECT_EQ(code, 255U);
    EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("/bin/true &"), 255);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.err, "markmark"); // both ended with exit
}

TEST(ForkProcess, GivesMinusOneForLinesWithoutAProgram) {
  for (const char* line : {"", "  ", "&", "> out", "cmd 'a", "cmd> out", "cmd \"\\\"\" >out 2>err"})
    EXPECT_EQ(ROQ_UTIL_ForkProcess(line, -1, nullptr, nullptr), -1) << line;
  EXPECT_EQ(ROQ_UTIL_ForkProcess(nullptr, -1, nullptr, nullptr), -1);
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang(nullptr), -1);
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang(""), -1);
}

TEST(ForkProcess, LeavesNothingAllocatedWhicheverAllocationFails) {
  Hook failing(call_hooks.fork, refused_fork);
  auto launch_with = [](size_t failing_allocation) {
    AllocationProbe probe(failing_allocation);
    int32_t result =
        ROQ_UTIL_ForkProcess("/there/is/no/such/program a 'b c' 2>/dev/null >/dev/null", -1, nullptr, nullptr);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(probe.held(), 0U);
    return probe.asked();
  };
  std::set<int> before = open_descriptors();
  size_t allocations = launch_with(0);
  EXPECT_EQ(allocations, 7U); // the vector, the line, three arguments, two files
  for (size_t number = 1; number <= allocations; ++number)
    launch_with(number);
  // The launch that came as far as the fork left its file open.
  std::set<int> after = open_descriptors();
  EXPECT_EQ(after.size(), before.size() + 1);
  for (int fd : after) {
    if (before.count(fd) == 0) close(fd);
  }
}

TEST(ExecCmdNoHang, GivesZeroWhenTheChildWasReapedElsewhere) {
  Hook reaped(call_hooks.waitpid, [](pid_t pid, int* status, int options) -> pid_t {
    EXPECT_EQ(real_calls.waitpid(pid, status, 0), pid);
    return real_calls.waitpid(pid, status, options);
  });
  // The program cannot be executed: 255 if this process had seen it.
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang(kAnyProgram), 0);
  EXPECT_EQ(roq::process::execute_no_hang(kAnyProgram), 0);
}

TEST(ExecCmdNoHang, GivesMinusOneWhenTheForkFails) {
  Hook failing(call_hooks.fork, refused_fork);
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang(kAnyProgram), -1);
}

TEST(ExecCmd, GivesMinusOneWhenTheForkFailsAndPrintsNothing) {
  Outcome outcome = run_in_child([] {
    Hook failing(call_hooks.fork, refused_fork);
    EXPECT_EQ(ROQ_UTIL_ExecCmd("exit 3", "print"), 0xFFFFFFFFU);
    EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("exit 3", 1), -1);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "");
}

TEST(ExecCmd, OfANullCommandForksNothing) {
  Hook no_fork(call_hooks.fork, []() -> pid_t {
    ADD_FAILURE() << "forked";
    return -1;
  });
  EXPECT_EQ(ROQ_UTIL_ExecCmd(nullptr, nullptr), 0xFFFFFFFFU);
  EXPECT_EQ(ROQ_UTIL_ExecCmd(nullptr, "print"), 0xFFFFFFFFU);
  EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime(nullptr, 1), -1);
}

TEST(ForkProcessFull, ClosesTheRedirectionFilesAndKeepsTheDefaultChildActionWhileItWaits) {
  static std::set<int> before;
  static pid_t waited_for;
  TemporaryFolder folder;
  std::string out = folder.path("out"), err = folder.path("err");
  before = open_descriptors();
  waited_for = 0;
  char* vector[] = {const_cast<char*>(kAnyProgram), nullptr};
  RedirectPlan plan{out.data(), err.data(), 0, 0, 0};
  Hook child_on_paper(call_hooks.fork, []() -> pid_t { return 4242; });
  Hook looking(call_hooks.waitpid, [](pid_t pid, int* status, int) -> pid_t {
    EXPECT_EQ(open_descriptors(), before);
    *status = 0;
    return waited_for = pid;
  });
  EXPECT_EQ(ROQ_UTIL_ForkProcessFull(vector, -1, nullptr, nullptr, &plan), 4242);
  EXPECT_EQ(waited_for, 4242);
}

} // namespace
} // namespace roq::test::process
