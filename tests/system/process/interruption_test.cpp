// Every wait goes on after a signal that interrupts it.
#include "launched.h"

#include <atomic>
#include <csignal>
#include <sys/file.h>
#include <sys/time.h>

namespace roq::test::process {
namespace {

volatile sig_atomic_t ticks;

// Interrupts this process again and again, with a handler that does not restart system calls.
class Ticking {
public:
  Ticking() {
    ticks = 0;
    struct sigaction action {};
    action.sa_handler = [](int) { ticks = ticks + 1; };
    sigaction(SIGALRM, &action, nullptr);
    itimerval often{{0, 10000}, {0, 10000}};
    setitimer(ITIMER_REAL, &often, nullptr);
  }
  ~Ticking() {
    itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    signal(SIGALRM, SIG_DFL);
    // Else nothing was shown.
    EXPECT_GT(ticks, 3);
  }
};

TEST(Interruption, DoesNotEndABlockingWaitForAProgram) {
  expect_in_child([] {
    Ticking ticking;
    EXPECT_EQ(exit_code_of("sh -c 'sleep 0.3; exit 5'"), 5U);
    EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("sh -c 'sleep 0.3; exit 6'"), 6);
  });
}

TEST(Interruption, DoesNotEndAPollingWaitForAProgram) {
  expect_in_child([] {
    Ticking ticking;
    EXPECT_EQ(exit_code_of("sh -c 'sleep 0.3; exit 5'", 1), 5U);
    EXPECT_EQ(exit_code_of("sh -c 'sleep 0.3; exit 5'", 1000), 5U);
  });
}

TEST(Interruption, DoesNotEndTheStartOfADetachedProgram) {
  expect_in_child([] {
    Ticking ticking;
    for (int i = 0; i < 40; ++i)
      EXPECT_EQ(exit_code_of("true &"), 0U);
    while (ticks <= 3)
      pause();
  });
}

TEST(Interruption, DoesNotEndAWaitForAnyChild) {
  expect_in_child([] {
    pid_t child = fork();
    if (child == 0) {
      usleep(300000);
      _exit(7);
    }
    Ticking ticking;
    uint32_t code = 78;
    EXPECT_EQ(ROQ_UTIL_WaitForPid(child, -1, nullptr, &code), child);
    EXPECT_EQ(code, 7U);
  });
}

TEST(Interruption, DoesNotEndAWaitForTheShell) {
  expect_in_child([] {
    Ticking ticking;
    EXPECT_EQ(ROQ_UTIL_ExecCmd("sleep 0.3; exit 5", nullptr), 0x500U);
    EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("sleep 0.3; exit 5", 20), 0x500);
  });
}

TEST(Interruption, DoesNotEndAWaitForALock) {
  TemporaryFolder folder;
  std::string path = folder.path("lock");
  Shared<std::atomic<int>> stage;
  Child holder([&] {
    int32_t fd = ROQ_UTIL_LockFile(path.c_str(), nullptr);
    *stage = 1;
    usleep(300000);
    *stage = 2;
    ROQ_UTIL_UnlockFile(fd);
  });
  ASSERT_TRUE(eventually([&] { return *stage >= 1; }));
  expect_in_child([&] {
    Ticking ticking;
    int32_t fd = ROQ_UTIL_LockFile(path.c_str(), nullptr);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(*stage, 2);
    EXPECT_EQ(ROQ_UTIL_UnlockFile(fd), 0);
  });
  EXPECT_TRUE(holder.wait().exited_with(0));
}

TEST(Interruption, DoesNotDisturbASearchForProcesses) {
  expect_in_child([] {
    Ticking ticking;
    while (ticks <= 3) {
      uint32_t* found = ROQ_UTIL_FindPidByName("");
      ASSERT_NE(found, nullptr);
      EXPECT_EQ(found[0], 1U);
      free(found);
    }
  });
}

} // namespace
} // namespace roq::test::process
