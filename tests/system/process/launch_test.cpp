#include "launched.h"

#include <atomic>
#include <csignal>
#include <sys/resource.h>
#include <thread>

namespace roq::test::process {
namespace {

TEST(ForkProcess, GivesTheChildsIdAndItsExitCode) {
  for (int32_t limit : {kUntilItEnds, 1, 100, INT32_MIN}) {
    EXPECT_EQ(exit_code_of("true", limit), 0U);
    EXPECT_EQ(exit_code_of("false", limit), 1U);
    EXPECT_EQ(exit_code_of("sh -c 'exit 200'", limit), 200U);
    EXPECT_TRUE(has_no_children());
  }
}

TEST(ForkProcess, GivesTheSignalThatKilledTheProgram) {
  Launched launched = launch("sh -c 'kill -TERM $$'");
  EXPECT_GT(launched.result, 0);
  EXPECT_EQ(launched.signal, static_cast<uint32_t>(SIGTERM));
  EXPECT_EQ(launched.code, 0U);
}

TEST(ForkProcess, TakesNullForEitherOutput) {
  EXPECT_GT(ROQ_UTIL_ForkProcess("false", -1, nullptr, nullptr), 0);
  char* vector[] = {const_cast<char*>("false"), nullptr};
  EXPECT_GT(ROQ_UTIL_ForkProcessEx(vector, -1, nullptr, nullptr), 0);
}

TEST(ForkProcess, WaitsUntilTheProgramEndsWhateverTheLimitIs) {
  for (int32_t limit : {kUntilItEnds, 1, 100}) {
    TemporaryFolder folder;
    std::string mark = folder.path("mark");
    EXPECT_EQ(exit_code_of("sh -c 'sleep 0.3; echo done > " + mark + "'", limit), 0U);
    EXPECT_EQ(content_of(mark), "done\n") << limit;
  }
}

TEST(ForkProcess, ShowsAProgramThatCannotBeExecutedAsExitCode255) {
  TemporaryFolder folder;
  std::string text = folder.path("text");
  write_file(text, "echo this is no program\n");
  EXPECT_EQ(exit_code_of("/there/is/no/such/program"), 255U);
  EXPECT_EQ(exit_code_of("/etc"), 255U);
  EXPECT_EQ(exit_code_of(text), 255U); // may not be executed
  std::filesystem::permissions(text, std::filesystem::perms::owner_all);
  EXPECT_EQ(exit_code_of(text), 255U); // and has no form that the kernel knows: there is no shell to the rescue
}

TEST(ForkProcess, GivesMinusOneForAProgramThatIsNotFound) {
  Launched launched = launch("there-is-no-such-program");
  EXPECT_EQ(launched.result, -1);
  EXPECT_EQ(launched.signal, 77U);
  EXPECT_EQ(launched.code, 78U);
}

TEST(ForkProcess, PrintsNothing) {
  Outcome outcome = run_in_child([] {
    launch("true");
    launch("there-is-no-such-program");
    launch("/there/is/no/such/program");
    launch("sh 'open");
    launch("true > /there/is/no/such/file");
    launch("true &");
  });
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "");
}

TEST(ForkProcess, GivesTheProgramItsArgumentsWithoutAShell) {
  TemporaryFolder folder;
  std::string out = folder.path("out");
  EXPECT_EQ(exit_code_of("printf '[%s]' 'a b' c\\ d $HOME * \"\" ; >" + out), 0U);
  EXPECT_EQ(content_of(out), "[a b][c d][$HOME][*][][;]");
}

TEST(ForkProcess, GivesTheProgramItsNameAsWritten) {
  TemporaryFolder folder;
  std::string out = folder.path("out");
  EXPECT_EQ(exit_code_of("./cat /proc/self/cmdline > " + out), 0U);
  EXPECT_EQ(content_of(out), std::string("cat\0/proc/self/cmdline\0", 23));
  EXPECT_EQ(exit_code_of("/bin/cat /proc/self/cmdline > " + out), 0U);
  EXPECT_EQ(content_of(out), std::string("/bin/cat\0/proc/self/cmdline\0", 28));
}

TEST(ForkProcess, SearchesVarFirst) {
  EXPECT_EQ(exit_code_of("true"), 0U);
  {
    Script mine("true", "#!/bin/sh\nexit 9\n");
    EXPECT_EQ(exit_code_of("true"), 9U);
  }
  EXPECT_EQ(exit_code_of("true"), 0U);
}

TEST(ForkProcess, SearchesTheTableThatTheProgramSeesAndChanges) {
  TemporaryFolder folder;
  std::string tool = folder.path("my-own-tool");
  write_file(tool, "#!/bin/sh\nexit 11\n");
  std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
  std::string path = folder.path();
  EXPECT_EQ(launch("my-own-tool").result, -1);
  g_apcBinSearchPath[4] = path.c_str();
  EXPECT_EQ(exit_code_of("my-own-tool"), 11U);
  g_apcBinSearchPath[4] = nullptr;
  EXPECT_EQ(launch("my-own-tool").result, -1);
}

TEST(GetExeFullPath, FindsLsInBinUnlessVarHasIt) {
  char full[64];
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("ls", full, sizeof full), 0);
  EXPECT_STREQ(full, "/bin/ls");
  Script mine("ls", "#!/bin/sh\n");
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("ls", full, sizeof full), 0);
  EXPECT_STREQ(full, "/var/ls");
}

TEST(ForkProcess, CutsThePathOfTheProgramAt255Characters) {
  // The cut name of a long one is a program that exits with 13.
  TemporaryFolder folder;
  std::string cut = folder.path() + "/";
  while (cut.size() < 255) {
    size_t room = 255 - cut.size();
    cut += room > 100 ? std::string(99, 'd') + "/" : std::string(room, 'p');
    if (room > 100) std::filesystem::create_directory(cut);
  }
  write_file(cut, "#!/bin/sh\nexit 13\n");
  std::filesystem::permissions(cut, std::filesystem::perms::owner_all);
  EXPECT_EQ(exit_code_of(cut), 13U);
  EXPECT_EQ(exit_code_of(cut + "xyz"), 13U);
}

TEST(ForkProcess, HandsEnvironmentAndWorkingFolderOn) {
  TemporaryFolder folder;
  std::string out = folder.path("out");
  expect_in_child([&] {
    setenv("ROQ_MARK", "seen", 1);
    ASSERT_EQ(chdir(folder.path().c_str()), 0);
    EXPECT_EQ(exit_code_of("sh -c 'echo $ROQ_MARK; pwd' >out"), 0U);
  });
  EXPECT_EQ(content_of(out), "seen\n" + folder.path() + "\n");
}

TEST(ForkProcessFull, TakesAVectorAndAPlan) {
  TemporaryFolder folder;
  std::string out = folder.path("out");
  char* vector[] = {const_cast<char*>("echo"), const_cast<char*>("a  b"), const_cast<char*>(">x"), nullptr};
  RedirectPlan plan{out.data(), nullptr, 0, 0, 0};
  uint32_t signal = 77, code = 78;
  EXPECT_GT(ROQ_UTIL_ForkProcessFull(vector, kUntilItEnds, &signal, &code, &plan), 0);
  EXPECT_EQ(signal, 0U);
  EXPECT_EQ(code, 0U);
  EXPECT_EQ(content_of(out), "a  b >x\n");
  EXPECT_EQ(plan.pcStdoutFile, out.data()); // the plan stays the caller's
}

TEST(ForkProcessEx, RedirectsNothing) {
  Outcome outcome = run_in_child([] {
    char* vector[] = {const_cast<char*>("echo"), const_cast<char*>("text"), nullptr};
    uint32_t code = 78;
    EXPECT_GT(ROQ_UTIL_ForkProcessEx(vector, kUntilItEnds, nullptr, &code), 0);
    EXPECT_EQ(code, 0U);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "text\n");
}

TEST(ForkProcess, ReportsAForkThatTheSystemRefuses) {
  expect_in_child([] {
    // Root may have any number of processes, but another user none at all. The caller still has to be able to find
    // the program.
    if (geteuid() == 0 && setuid(65534) != 0) errno = 0;
    rlimit none{0, 0};
    ASSERT_EQ(setrlimit(RLIMIT_NPROC, &none), 0);
    std::set<int> before = open_descriptors();
    Launched launched = launch("true 2>/dev/null");
    EXPECT_EQ(launched.result, -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(launched.signal, 77U);
    EXPECT_EQ(launched.code, 78U);
    EXPECT_EQ(open_descriptors().size(), before.size() + 1); // the redirection file stays open
    EXPECT_EQ(ROQ_UTIL_ExecCmd("true", nullptr), 0xFFFFFFFFU);
    EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("true", 1), -1);
    EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("true"), -1);
  });
}

// ---- SIGCHLD

volatile sig_atomic_t child_signals;

TEST(ForkProcess, SuspendsTheCallersChildHandlerAndPutsItBack) {
  expect_in_child([] {
    struct sigaction mine {
    }, now;
    mine.sa_handler = [](int) { child_signals = child_signals + 1; };
    mine.sa_flags = SA_NOCLDSTOP;
    sigaddset(&mine.sa_mask, SIGUSR1);
    child_signals = 0;
    ASSERT_EQ(sigaction(SIGCHLD, &mine, nullptr), 0);
    EXPECT_EQ(exit_code_of("sh -c 'exit 5'"), 5U);
    EXPECT_EQ(exit_code_of("sh -c 'exit 5'", 1), 5U);
    EXPECT_EQ(exit_code_of("true &"), 0U);
    EXPECT_EQ(launch("there-is-no-such-program").result, -1);
    EXPECT_EQ(child_signals, 0);

    ASSERT_EQ(sigaction(SIGCHLD, nullptr, &now), 0);
    EXPECT_EQ(now.sa_handler, mine.sa_handler);
    EXPECT_EQ(now.sa_flags & SA_NOCLDSTOP, SA_NOCLDSTOP);
    EXPECT_EQ(now.sa_flags & SA_RESTART, 0);
    EXPECT_EQ(sigismember(&now.sa_mask, SIGUSR1), 1);
    pid_t child = fork();
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(child_signals, 1);
  });
}

TEST(ForkProcess, GetsTheExitCodeFromACallerThatIgnoresItsChildren) {
  expect_in_child([] {
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(exit_code_of("sh -c 'exit 5'"), 5U);
    EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("sh -c 'exit 6'"), 6);
    // The executors that go through the shell have nobody to wait for.
    EXPECT_EQ(ROQ_UTIL_ExecCmd("exit 5", nullptr), 0xFFFFFFFFU);
    EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("exit 5", 1), -1);
    struct sigaction now;
    sigaction(SIGCHLD, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_IGN);
  });
}

TEST(ForkProcess, SurvivesAnotherThreadThatReapsEveryChild) {
  expect_in_child([] {
    std::thread reaper([] {
      int status = 0;
      // Until the launched one is gone; there may be no child yet.
      while (waitpid(-1, &status, 0) < 0)
        usleep(100);
      EXPECT_EQ(WEXITSTATUS(status), 5);
    });
    // The reaper sleeps in its wait; this one looks every 40 milliseconds and comes too late.
    Launched launched = launch("sh -c 'sleep 0.2; exit 5'", 1000);
    reaper.join();
    EXPECT_GT(launched.result, 0);
    EXPECT_EQ(launched.signal, 77U);
    EXPECT_EQ(launched.code, 78U);
  });
}

// ---- exit in the child

void write_mark() { EXPECT_EQ(write(STDERR_FILENO, "mark", 4), 4); }

TEST(ForkProcess, EndsAChildThatCannotExecuteItsProgramWithExit) {
  Outcome outcome = run_in_child([] {
    atexit(write_mark);
    printf("buffered ");
    EXPECT_EQ(exit_code_of("/there/is/no/such/program"), 255U);
  });
  // The child wrote out what the caller had buffered, and ran its handler; so did the caller, but for the handler.
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "buffered buffered ");
  EXPECT_EQ(outcome.err, "mark");
}

TEST(ForkProcess, EndsTheParentOfADetachedProgramWithExit) {
  Outcome outcome = run_in_child([] {
    atexit(write_mark);
    printf("buffered ");
    EXPECT_EQ(exit_code_of("true &"), 0U);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "buffered buffered ");
  EXPECT_EQ(outcome.err, "mark");
}

TEST(ForkProcess, EndsAChildThatExecutesItsProgramWithoutExit) {
  Outcome outcome = run_in_child([] {
    atexit(write_mark);
    printf("buffered ");
    EXPECT_EQ(exit_code_of("true"), 0U);
  });
  EXPECT_EQ(outcome.out, "buffered ");
  EXPECT_EQ(outcome.err, "");
}

std::atomic<int>* ended_children;

TEST(ForkProcess, EndsADetachedProgramThatCannotBeExecutedWithExitUnseen) {
  Shared<std::atomic<int>> count;
  ended_children = count.get();
  expect_in_child([] {
    atexit([] { ++*ended_children; });
    Launched launched = launch("/there/is/no/such/program &");
    EXPECT_GT(launched.result, 0);
    EXPECT_EQ(launched.signal, 0U);
    EXPECT_EQ(launched.code, 0U); // of the parent; the caller does not see the 255
  });
  EXPECT_TRUE(eventually([&] { return *count == 2; })); // the program's parent and the program
}

} // namespace
} // namespace roq::test::process
