// What a launched program sees of itself.
#include "launched.h"

#include <csignal>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <map>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace roq::test::process {
namespace {

class ChildView : public testing::Test {
protected:
  // The status file of a program that was launched with this time limit and end of line.
  std::string status(int32_t time_limit, const std::string& line_end = "") {
    std::filesystem::remove(out_);
    EXPECT_EQ(exit_code_of("cat /proc/self/status >" + out_ + line_end, time_limit), 0U);
    // The last line of the file; a detached program may still be at work.
    EXPECT_TRUE(eventually([&] { return content_of(out_).find("nonvoluntary_ctxt_switches") != std::string::npos; }));
    return content_of(out_);
  }

  // The fields of /proc/self/stat behind the program's name, so that the first one is the state.
  std::vector<std::string> stat_fields(int32_t time_limit, const std::string& line_end = "") {
    std::filesystem::remove(out_);
    EXPECT_EQ(exit_code_of("cat /proc/self/stat >" + out_ + line_end, time_limit), 0U);
    EXPECT_TRUE(eventually([&] { return content_of(out_).find('\n') != std::string::npos; }));
    std::string text = content_of(out_);
    std::istringstream rest(text.substr(text.rfind(')') + 2));
    std::vector<std::string> fields{std::istream_iterator<std::string>(rest), {}};
    fields.push_back(text.substr(0, text.find(' '))); // its own id goes last
    return fields;
  }

  // What the descriptors of a launched program lead to, but for the one with which it lists them.
  std::map<int, std::string> descriptors(const std::string& redirections) {
    EXPECT_EQ(exit_code_of("ls -l /proc/self/fd " + redirections), 0U);
    return listed_descriptors();
  }

  std::map<int, std::string> listed_descriptors() {
    std::istringstream lines(content_of(out_));
    std::map<int, std::string> found;
    for (std::string line; std::getline(lines, line);) {
      size_t arrow = line.find(" -> ");
      if (arrow == std::string::npos) continue;
      std::string target = line.substr(arrow + 4);
      if (target.rfind("/proc/", 0) == 0) continue;
      found[std::stoi(line.substr(line.rfind(' ', arrow - 1)))] = target;
    }
    return found;
  }

  // How many of them are below the limit up to which the launcher closes.
  static size_t count_low(const std::map<int, std::string>& descriptors) {
    return static_cast<size_t>(std::distance(descriptors.begin(), descriptors.lower_bound(50)));
  }

  TemporaryFolder folder_;
  std::string out_ = folder_.path("out");
  std::string err_ = folder_.path("err");
};

enum Field { kState, kParent, kGroup, kSession };

// ---- descriptors

TEST_F(ChildView, HasDescriptorsThreeToFortyNineClosed) {
  std::string mark = folder_.path("mark");
  write_file(mark, "");
  expect_in_child([&] {
    int fd = open(mark.c_str(), O_RDONLY);
    for (int place = 3; place <= 60; ++place) {
      ASSERT_EQ(dup2(fd, place), place);
    }
    fcntl(55, F_SETFD, FD_CLOEXEC);
    std::map<int, std::string> seen = descriptors(">" + out_);
    for (int place = 3; place <= 60; ++place) {
      bool expected = place >= 50 && place != 55;
      EXPECT_EQ(seen.count(place), expected ? 1U : 0U) << place;
    }
    EXPECT_EQ(seen[60], mark);
  });
}

TEST_F(ChildView, HasTheRedirectionFilesAsItsOutputsOnly) {
  std::map<int, std::string> seen = descriptors(">" + out_ + " 2>" + err_);
  EXPECT_EQ(seen[STDOUT_FILENO], out_);
  EXPECT_EQ(seen[STDERR_FILENO], err_);
  EXPECT_EQ(count_low(seen), 3U);
}

TEST_F(ChildView, HasOneFileAsBothOutputs) {
  std::map<int, std::string> seen = descriptors("2>&1 >" + out_);
  EXPECT_EQ(seen[STDOUT_FILENO], out_);
  EXPECT_EQ(seen[STDERR_FILENO], out_);
  EXPECT_EQ(count_low(seen), 3U);
}

TEST_F(ChildView, HasTheRedirectionFilesAlsoWhenTheirDescriptorsLieBeyondFortyNine) {
  expect_in_child([&] {
    for (int fd; (fd = open("/dev/null", O_RDONLY)) < 70;)
      ASSERT_GE(fd, 0);
    std::map<int, std::string> seen = descriptors(">" + out_ + " 2>" + err_);
    EXPECT_EQ(seen[STDOUT_FILENO], out_);
    EXPECT_EQ(seen[STDERR_FILENO], err_);
    EXPECT_EQ(count_low(seen), 3U);
  });
}

TEST_F(ChildView, HasTheRedirectionFilesAlsoWhenTheCallerLacksStandardDescriptors) {
  // Then the files get the numbers of standard descriptors in the caller already.
  for (int closed = 0; closed < 8; ++closed) {
    for (bool same : {false, true}) {
      expect_in_child([&] {
        for (int fd : {0, 1, 2}) {
          if ((closed & (1 << fd)) != 0) close(fd);
        }
        std::map<int, std::string> seen = descriptors(same ? "2>&1 >" + out_ : ">" + out_ + " 2>" + err_);
        EXPECT_EQ(seen[STDOUT_FILENO], out_) << closed;
        EXPECT_EQ(seen[STDERR_FILENO], same ? out_ : err_) << closed;
        EXPECT_EQ(count_low(seen), (closed & 1) != 0 ? 2U : 3U) << closed;
      });
    }
  }
}

TEST_F(ChildView, HasASingleRedirectionAlsoWhenTheCallerLacksStandardDescriptors) {
  for (int closed = 0; closed < 8; ++closed) {
    expect_in_child([&] {
      for (int fd : {0, 1, 2}) {
        if ((closed & (1 << fd)) != 0) close(fd);
      }
      std::map<int, std::string> seen = descriptors(">" + out_);
      EXPECT_EQ(seen[STDOUT_FILENO], out_) << closed;
      // The others are as the caller had them.
      bool error_is_redirected = seen.count(STDERR_FILENO) != 0 && seen[STDERR_FILENO] == out_;
      EXPECT_FALSE(error_is_redirected) << closed;
      std::filesystem::remove(err_);
      launch("sh -c 'echo text >&2' 2>" + err_);
      EXPECT_EQ(content_of(err_), "text\n") << closed;
    });
  }
}

TEST_F(ChildView, LeavesNoRedirectionFileOpenInTheCaller) {
  std::set<int> before = open_descriptors();
  EXPECT_EQ(exit_code_of("true >" + out_ + " 2>" + err_), 0U);
  EXPECT_EQ(exit_code_of("true 2>&1 >" + out_), 0U);
  EXPECT_EQ(exit_code_of("true >" + out_ + " 2>" + err_ + " &"), 0U);
  EXPECT_EQ(open_descriptors(), before);
}

// ---- redirection files

TEST_F(ChildView, RedirectionTruncatesOrAppends) {
  write_file(out_, "before, and long");
  EXPECT_EQ(exit_code_of("echo text >" + out_), 0U);
  EXPECT_EQ(content_of(out_), "text\n");
  EXPECT_EQ(exit_code_of("echo more >>" + out_), 0U);
  EXPECT_EQ(content_of(out_), "text\nmore\n");
  EXPECT_EQ(exit_code_of("sh -c 'echo err >&2' 2>>" + out_), 0U);
  EXPECT_EQ(content_of(out_), "text\nmore\nerr\n");
  EXPECT_EQ(exit_code_of("sh -c 'echo err >&2' 2>" + out_), 0U);
  EXPECT_EQ(content_of(out_), "err\n");
}

TEST_F(ChildView, RedirectionOfBothOutputsToOneFileKeepsBothTexts) {
  EXPECT_EQ(exit_code_of("sh -c 'echo one; echo two >&2; echo three' 2>&1 >" + out_), 0U);
  EXPECT_EQ(content_of(out_), "one\ntwo\nthree\n");
  EXPECT_EQ(exit_code_of("sh -c 'echo one; echo two >&2; echo three' 2>" + out_ + " 1>" + out_), 0U);
  EXPECT_EQ(content_of(out_), "one\ntwo\nthree\n");
}

TEST_F(ChildView, RedirectionFilesAreOpenForReadingAndWritingWithMode0666) {
  mode_t mask = umask(0);
  EXPECT_EQ(exit_code_of("cat /proc/self/fdinfo/1 >" + out_), 0U);
  umask(mask);
  std::string info = content_of(out_);
  size_t flags = info.find("flags:\t");
  ASSERT_NE(flags, std::string::npos);
  EXPECT_EQ(strtoul(info.c_str() + flags + 7, nullptr, 8) & O_ACCMODE, static_cast<unsigned long>(O_RDWR));
  struct stat status;
  ASSERT_EQ(stat(out_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0666U);
}

TEST_F(ChildView, RedirectionToAFileThatCannotBeOpenedLeavesTheCallersOutput) {
  Outcome outcome = run_in_child([&] {
    EXPECT_EQ(exit_code_of("sh -c 'echo one; echo two >&2' >" + folder_.path("no/such/file")), 0U);
    EXPECT_EQ(exit_code_of("sh -c 'echo three; echo four >&2' 2>" + folder_.path()), 0U);
    EXPECT_EQ(exit_code_of("sh -c 'echo five; echo six >&2' >" + out_ + " 2>/no/such/file"), 0U);
    EXPECT_EQ(exit_code_of("echo seven > \b"), 0U); // an empty name
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "one\nthree\nseven\n");
  EXPECT_EQ(outcome.err, "two\nfour\nsix\n");
  EXPECT_EQ(content_of(out_), "five\n");
}

TEST_F(ChildView, RedirectionFileNamesAreTakenAsWritten) {
  expect_in_child([&] {
    ASSERT_EQ(chdir(folder_.path().c_str()), 0);
    EXPECT_EQ(exit_code_of("echo text > \"my file\""), 0U);
  });
  EXPECT_EQ(content_of(folder_.path("\"my file\"")), "text\n");
}

// ---- sessions

TEST_F(ChildView, IsInTheCallersSessionAndGroupWhenItIsWaitedFor) {
  for (int32_t limit : {kUntilItEnds, 5}) {
    std::vector<std::string> fields = stat_fields(limit);
    EXPECT_EQ(fields[kParent], std::to_string(getpid()));
    EXPECT_EQ(fields[kGroup], std::to_string(getpgid(0)));
    EXPECT_EQ(fields[kSession], std::to_string(getsid(0)));
  }
}

TEST_F(ChildView, LeadsASessionWhenItIsDetached) {
  for (const char* line_end : {"", " &"}) {
    std::vector<std::string> fields = stat_fields(kDetached, line_end);
    EXPECT_NE(fields[kParent], std::to_string(getpid()));
    EXPECT_EQ(fields[kGroup], fields.back());
    EXPECT_EQ(fields[kSession], fields.back());
    EXPECT_TRUE(has_no_children());
  }
}

TEST_F(ChildView, IsDetachedByItsBackgroundMarkerWhateverTheLimitIs) {
  for (int32_t limit : {kUntilItEnds, 1}) {
    std::vector<std::string> fields = stat_fields(limit, " &");
    EXPECT_EQ(fields[kSession], fields.back()) << limit;
  }
}

// A program that runs until the test ends it.
class EndlessProgram : public ChildView {
protected:
  // The id of the endless program, which it has written to a file.
  pid_t started_as(const Launched& launched) {
    EXPECT_GT(launched.result, 0);
    EXPECT_EQ(launched.signal, 0U);
    EXPECT_EQ(launched.code, 0U);
    EXPECT_TRUE(eventually([&] { return content_of(id_).find('\n') != std::string::npos; }));
    return std::stoi(content_of(id_));
  }

  static void end(pid_t pid) {
    EXPECT_EQ(kill(pid, SIGKILL), 0);
    EXPECT_TRUE(eventually([&] { return kill(pid, 0) != 0; }));
  }

  std::string id_ = folder_.path("id");
  std::string line_ = "sh -c 'echo $$ >" + id_ + "; exec sleep 1000'";
};

TEST_F(EndlessProgram, KeepsRunningWhenItIsDetached) {
  for (const char* line_end : {" &", "&", ""}) {
    std::filesystem::remove(id_);
    Launched launched = launch(line_ + line_end, kDetached);
    pid_t program = started_as(launched);
    EXPECT_NE(program, launched.result);
    EXPECT_TRUE(has_no_children());
    EXPECT_EQ(kill(program, 0), 0);
    end(program);
  }
}

TEST_F(EndlessProgram, IsDetachedByExecCmdNoHangWithTheResultZero) {
  EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang((line_ + " &").c_str()), 0);
  EXPECT_TRUE(eventually([&] { return content_of(id_).find('\n') != std::string::npos; }));
  end(std::stoi(content_of(id_)));
}

TEST_F(EndlessProgram, IsDetachedByAFullLaunchWithoutAPlan) {
  char* vector[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), nullptr, nullptr};
  std::string script = "echo $$ >" + id_ + "; exec sleep 1000";
  vector[2] = script.data();
  Launched launched{};
  launched.result = ROQ_UTIL_ForkProcessFull(vector, kDetached, &launched.signal, &launched.code, nullptr);
  end(started_as(launched));
  std::filesystem::remove(id_);
  launched.result = ROQ_UTIL_ForkProcessEx(vector, kDetached, &launched.signal, &launched.code);
  end(started_as(launched));
}

// ---- standard input

TEST_F(ChildView, ReadsFromTheNullDeviceOnlyWhenItWasStartedInTheBackground) {
  std::string in = folder_.path("in");
  write_file(in, "");
  auto input_of = [&](const std::string& line_end, int32_t limit) {
    std::filesystem::remove(out_);
    EXPECT_EQ(exit_code_of("readlink /proc/self/fd/0 >" + out_ + line_end, limit), 0U);
    EXPECT_TRUE(eventually([&] { return content_of(out_).find('\n') != std::string::npos; }));
    return content_of(out_);
  };
  expect_in_child([&] {
    dup2(open(in.c_str(), O_RDONLY), STDIN_FILENO);
    EXPECT_EQ(input_of("", kUntilItEnds), in + "\n");
    EXPECT_EQ(input_of("", kDetached), in + "\n");
    EXPECT_EQ(input_of(" &", kUntilItEnds), "/dev/null\n");
    EXPECT_EQ(input_of(" &", kDetached), "/dev/null\n");
    close(STDIN_FILENO);
    EXPECT_EQ(input_of(" &", kUntilItEnds), "/dev/null\n");
  });
}

TEST_F(ChildView, HasNoDescriptorLeftOfTheNullDevice) {
  expect_in_child([&] {
    EXPECT_EQ(exit_code_of("ls -l /proc/self/fd 2>" + err_ + " >" + out_ + " &"), 0U);
    EXPECT_TRUE(eventually([&] { return listed_descriptors().count(STDERR_FILENO) != 0; }));
    std::map<int, std::string> seen = listed_descriptors();
    EXPECT_EQ(seen[STDIN_FILENO], "/dev/null");
    EXPECT_EQ(count_low(seen), 3U);
  });
}

// ---- signals

constexpr uint64_t bit_of(int signal) { return uint64_t{1} << (signal - 1); }

// The signals of the target, by the numbers that the programs have. They are those of the machine that runs the
// tests, where the target is emulated: the masks are looked at as the kernel shows them.
constexpr uint64_t kStandardSignals = 0x7fffffff;
constexpr uint64_t kKeyboardSignals = bit_of(2) | bit_of(3);

#ifdef SIGSTKFLT
constexpr uint64_t kUnknownToTheTarget = bit_of(SIGSTKFLT);
#else
constexpr uint64_t kUnknownToTheTarget = 0;
#endif

void ignore_all_signals() {
  for (int signal = 1; signal < 32; ++signal) {
    if (signal != SIGKILL && signal != SIGSTOP) ::signal(signal, SIG_IGN);
  }
}

TEST_F(ChildView, HasEverySignalAtItsDefaultWhenItIsWaitedFor) {
  expect_in_child([&] {
    ignore_all_signals();
    for (int32_t limit : {kUntilItEnds, 5})
      EXPECT_EQ(status_mask(status(limit), "SigIgn") & kStandardSignals, kUnknownToTheTarget);
  });
}

TEST_F(ChildView, IgnoresTheKeyboardOnlyWhenItWasStartedInTheBackground) {
  expect_in_child([&] {
    EXPECT_EQ(status_mask(status(kUntilItEnds, " &"), "SigIgn") & kStandardSignals, kKeyboardSignals);
    EXPECT_EQ(status_mask(status(kDetached), "SigIgn") & kStandardSignals, 0U);
    ignore_all_signals();
    EXPECT_EQ(status_mask(status(kUntilItEnds, " &"), "SigIgn") & kStandardSignals,
              kKeyboardSignals | kUnknownToTheTarget);
    EXPECT_EQ(status_mask(status(kDetached), "SigIgn") & kStandardSignals, kUnknownToTheTarget);
  });
}

TEST_F(ChildView, HasNoCaughtSignals) {
  expect_in_child([&] {
    for (int signal : {SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGHUP, SIGALRM, SIGPIPE})
      ::signal(signal, [](int) {});
    std::string seen = status(kUntilItEnds);
    EXPECT_EQ(status_mask(seen, "SigCgt") & kStandardSignals, 0U);
    EXPECT_EQ(status_mask(seen, "SigIgn") & kStandardSignals, 0U);
  });
}

TEST_F(ChildView, KeepsIgnoredRealTimeSignals) {
  expect_in_child([&] {
    signal(SIGRTMIN + 3, SIG_IGN);
    uint64_t before = status_mask(content_of("/proc/self/status"), "SigIgn") & ~kStandardSignals;
    ASSERT_NE(before, 0U);
    EXPECT_EQ(status_mask(status(kUntilItEnds), "SigIgn") & ~kStandardSignals, before);
  });
}

TEST_F(ChildView, KeepsTheCallersSignalMask) {
  expect_in_child([&] {
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGHUP);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    EXPECT_EQ(status_mask(status(kUntilItEnds), "SigBlk"), bit_of(1) | bit_of(15));
    EXPECT_EQ(status_mask(status(kDetached), "SigBlk"), bit_of(1) | bit_of(15));
  });
}

TEST_F(EndlessProgram, DiesOfTheKeyboardsSignalsOnlyOutsideTheBackground) {
  pid_t program = started_as(launch(line_, kDetached));
  EXPECT_EQ(kill(program, SIGINT), 0);
  EXPECT_TRUE(eventually([&] { return kill(program, 0) != 0; }));

  std::filesystem::remove(id_);
  program = started_as(launch(line_ + " &"));
  EXPECT_EQ(kill(program, SIGINT), 0);
  EXPECT_EQ(kill(program, SIGQUIT), 0);
  usleep(20000);
  EXPECT_EQ(kill(program, 0), 0);
  end(program);
}

TEST_F(ChildView, IsWaitedForInTheCallersSessionWhateverThePlanSaysOfTheBackground) {
  std::string in = folder_.path("in");
  write_file(in, "");
  expect_in_child([&] {
    dup2(open(in.c_str(), O_RDONLY), STDIN_FILENO);
    char* vector[] = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                      const_cast<char*>("readlink /proc/self/fd/0; exit 5"), nullptr};
    for (int32_t limit : {kUntilItEnds, 5}) {
      RedirectPlan plan{out_.data(), nullptr, 0, 0, 1};
      uint32_t signal = 77, code = 78;
      EXPECT_GT(ROQ_UTIL_ForkProcessFull(vector, limit, &signal, &code, &plan), 0);
      EXPECT_EQ(signal, 0U);
      EXPECT_EQ(code, 5U) << limit;
      EXPECT_EQ(content_of(out_), in + "\n") << limit;
    }
  });
}

TEST_F(ChildView, HasTheNullDeviceOpenForReadingAndWriting) {
  EXPECT_EQ(exit_code_of("cat /proc/self/fdinfo/0 >" + out_ + " &"), 0U);
  EXPECT_TRUE(eventually([&] { return content_of(out_).find("mnt_id:") != std::string::npos; }));
  std::string info = content_of(out_);
  size_t flags = info.find("flags:\t");
  ASSERT_NE(flags, std::string::npos);
  EXPECT_EQ(strtoul(info.c_str() + flags + 7, nullptr, 8) & O_ACCMODE, static_cast<unsigned long>(O_RDWR));
}

TEST_F(ChildView, KeepsTheCallersInputWhenThereIsNoNullDevice) {
  std::string in = folder_.path("in");
  write_file(in, "");
  expect_in_child([&] {
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(mount("none", "/dev", "tmpfs", 0, nullptr), 0);
    dup2(open(in.c_str(), O_RDONLY), STDIN_FILENO);
    EXPECT_EQ(exit_code_of("readlink /proc/self/fd/0 >" + out_ + " &"), 0U);
    EXPECT_TRUE(eventually([&] { return content_of(out_).find('\n') != std::string::npos; }));
    EXPECT_EQ(content_of(out_), in + "\n");
  });
}

// As on kernels before 5.9. False where the system cannot pretend it, as under an emulator.
bool take_close_range_away() {
  sock_filter program[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_close_range, 0, 1),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  sock_fprog filter{4, program};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST_F(ChildView, HasDescriptorsClosedOnAllSidesOfTheRedirectionFiles) {
  for (bool has_close_range : {true, false}) {
    expect_in_child([&] {
      if (!has_close_range && !take_close_range_away()) return;
      int fd = open("/dev/null", O_RDONLY);
      for (int place = 3; place <= 60; ++place) {
        ASSERT_EQ(dup2(fd, place), place);
      }
      close(20); // the files get these
      close(30);
      std::map<int, std::string> seen = descriptors(">" + out_ + " 2>" + err_);
      EXPECT_EQ(seen[STDOUT_FILENO], out_);
      EXPECT_EQ(seen[STDERR_FILENO], err_);
      EXPECT_EQ(count_low(seen), 3U);
      EXPECT_EQ(seen.count(50), 1U);
    });
  }
}

} // namespace
} // namespace roq::test::process
