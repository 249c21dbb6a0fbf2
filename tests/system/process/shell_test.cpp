#include "launched.h"

#include <csignal>

namespace roq::test::process {
namespace {

// What a piece prints in a process of its own, where its expectations are expected to hold.
template <typename Piece> std::string printed_by(Piece&& piece) {
  Outcome outcome = run_in_child(std::forward<Piece>(piece));
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.err, "");
  return outcome.out;
}

TEST(ExecCmd, GivesTheRawStatusAndPrintsNothingUnlessToldTo) {
  EXPECT_EQ(printed_by([] {
              EXPECT_EQ(ROQ_UTIL_ExecCmd("exit 3", nullptr), 0x300U);
              EXPECT_EQ(ROQ_UTIL_ExecCmd("true", nullptr), 0U);
              EXPECT_EQ(ROQ_UTIL_ExecCmd("exit 255", nullptr), 0xff00U);
            }),
            "");
}

TEST(ExecCmd, PrintsTheCommandWithoutALineEndWhenToldTo) {
  EXPECT_EQ(printed_by([] { EXPECT_EQ(ROQ_UTIL_ExecCmd("exit 3", ""), 0x300U); }), "ROQ_UTIL_ExecCmd Command: exit 3");
}

TEST(ExecCmd, GivesTheSignalThatKilledTheShell) {
  uint32_t status = ROQ_UTIL_ExecCmd("kill -9 $$", nullptr);
  EXPECT_TRUE(WIFSIGNALED(static_cast<int>(status)));
  EXPECT_EQ(status, 9U);
}

TEST(ExecCmd, HandsTheCommandToTheShell) {
  EXPECT_EQ(printed_by([] { ROQ_UTIL_ExecCmd("echo a | tr a b; echo 'c  d' \"$0\"; exit 0", nullptr); }),
            "b\nc  d sh\n");
  EXPECT_EQ(printed_by([] { ROQ_UTIL_ExecCmd("cat /proc/$$/cmdline; true", nullptr); }),
            std::string("sh\0-c\0cat /proc/$$/cmdline; true\0", 33));
}

TEST(ExecCmd, GivesTheShellsCodesForCommandsThatItCannotRun) {
  EXPECT_EQ(ROQ_UTIL_ExecCmd("there-is-no-such-program 2>/dev/null", nullptr), 0x7f00U);
  EXPECT_EQ(ROQ_UTIL_ExecCmd("/etc 2>/dev/null", nullptr), 0x7e00U);
}

TEST(ExecCmd, EndsAChildThatFindsNoShellAtOnceWith127) {
  TemporaryFolder empty;
  EXPECT_EQ(printed_by([&] {
              ASSERT_EQ(chroot(empty.path().c_str()), 0);
              atexit([] { EXPECT_EQ(write(STDOUT_FILENO, "handler", 7), 7); });
              printf("buffered ");
              EXPECT_EQ(ROQ_UTIL_ExecCmd("true", nullptr), 0x7f00U);
              EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("true", 5), 0x7f00);
            }),
            "buffered ");
}

TEST(ExecCmd, LeavesDescriptorsAndSignalsAsTheCallerHasThem) {
  EXPECT_EQ(printed_by([] {
              ASSERT_EQ(dup2(open("/dev/null", O_RDONLY), 7), 7);
              signal(SIGTERM, SIG_IGN);
              ROQ_UTIL_ExecCmd("readlink /proc/self/fd/7; kill -TERM $$; echo alive", nullptr);
            }),
            "/dev/null\nalive\n");
}

TEST(ExecCmdByTime, GivesTheRawStatus) {
  EXPECT_EQ(printed_by([] {
              EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("exit 3", 2), 0x300);
              EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("sleep 0.2; exit 4", 0), 0x400);
              EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("kill -9 $$", 200), 9);
            }),
            "");
}

TEST(ExecCmdByTime, ReturnsWhenTheShellIsStopped) {
  TemporaryFolder folder;
  std::string id = folder.path("id");
  int status = ROQ_UTIL_ExecCmd_ByTime(("echo $$ >" + id + "; kill -STOP $$").c_str(), 20);
  EXPECT_TRUE(WIFSTOPPED(status));
  EXPECT_EQ(WSTOPSIG(status), SIGSTOP);
  pid_t shell = std::stoi(content_of(id));
  kill(shell, SIGKILL);
  EXPECT_EQ(waitpid(shell, nullptr, 0), shell);
}

TEST(ExecCmdByTime, TerminatesTheShellWhenTheLimitIsOverAndDoesNotWaitForIt) {
  Shared<pid_t> shell;
  Shared<int> status;
  auto begin = std::chrono::steady_clock::now();
  std::string text = printed_by([&] {
    EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("exec sleep 100", 1), -1);
    *shell = waitpid(-1, status.get(), 0);
    EXPECT_TRUE(has_no_children());
  });
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
  EXPECT_TRUE(WIFSIGNALED(*status));
  EXPECT_EQ(WTERMSIG(*status), SIGTERM);
  EXPECT_EQ(text, "\r\nNotice Command: exec sleep 100; Pid = " + std::to_string(*shell) + "\r\n");
}

TEST(ExecCmdNoHang, GivesTheExitCode) {
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("true"), 0);
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("false"), 1);
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("sh -c 'exit 200'"), 200);
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("/there/is/no/such/program"), 255);
}

TEST(ExecCmdNoHang, GivesZeroForAProgramThatASignalKilled) {
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("sh -c 'kill -9 $$'"), 0);
}

TEST(ExecCmdNoHang, GivesMinusOneForAProgramThatIsNotFound) {
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("there-is-no-such-program"), -1);
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("sh 'open"), -1);
}

TEST(ExecCmdNoHang, AppliesRedirectionsWithoutAShell) {
  TemporaryFolder folder;
  std::string out = folder.path("out");
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang(("echo $HOME | > " + out).c_str()), 0);
  EXPECT_EQ(content_of(out), "$HOME |\n");
}

TEST(ExecCmd, PrintsTheCommandBeforeItWaits) {
  EXPECT_EQ(printed_by([] {
              setvbuf(stdout, nullptr, _IONBF, 0);
              EXPECT_EQ(ROQ_UTIL_ExecCmd("sleep 0.3; echo done", ""), 0U);
            }),
            "ROQ_UTIL_ExecCmd Command: sleep 0.3; echo donedone\n");
}

} // namespace
} // namespace roq::test::process
