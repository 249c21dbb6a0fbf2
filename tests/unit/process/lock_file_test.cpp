#include "support/call_hooks.h"
#include "support/child.h"
#include "support/temporary_folder.h"
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <roqutil/process.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace roq::test::process {
namespace {

class LockFile : public testing::Test {
protected:
  bool somebody_holds_the_lock() const {
    int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    bool held = flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(fd);
    return held;
  }

  TemporaryFolder folder_;
  std::string path_ = folder_.path("lock");
};

TEST_F(LockFile, CreatesTheFileAndLocksIt) {
  mode_t mask = umask(0);
  int32_t fd = ROQ_UTIL_LockFile(path_.c_str(), nullptr);
  umask(mask);
  ASSERT_GE(fd, 0);
  struct stat status;
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0777U);
  EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDONLY);
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  EXPECT_TRUE(somebody_holds_the_lock());
  EXPECT_EQ(ROQ_UTIL_UnlockFile(fd), 0);
  EXPECT_FALSE(somebody_holds_the_lock());
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST_F(LockFile, KeepsTheContentOfAnExistingFile) {
  write_file(path_, "content");
  int32_t fd = ROQ_UTIL_LockFile(path_.c_str(), nullptr);
  EXPECT_EQ(ROQ_UTIL_UnlockFile(fd), 0);
  EXPECT_EQ(content_of(path_), "content");
}

TEST_F(LockFile, GivesAStreamForReading) {
  write_file(path_, "content");
  FILE* stream = nullptr;
  int32_t fd = ROQ_UTIL_LockFile(path_.c_str(), &stream);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(fileno(stream), fd);
  char text[16] = "";
  EXPECT_STREQ(fgets(text, sizeof text, stream), "content");
  fclose(stream);
  EXPECT_FALSE(somebody_holds_the_lock());
}

TEST_F(LockFile, UnlockLeavesTheStreamOpen) {
  FILE* stream = nullptr;
  int32_t fd = ROQ_UTIL_LockFile(path_.c_str(), &stream);
  EXPECT_EQ(ROQ_UTIL_UnlockFile(fd), 0);
  // Its descriptor is gone, the stream itself is the caller's to close.
  EXPECT_EQ(fclose(stream), EOF);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(LockFile, UnlockGivesBackAlsoALockThatAnInheritedDescriptorHolds) {
  int32_t fd = ROQ_UTIL_LockFile(path_.c_str(), nullptr);
  int copy = dup(fd); // the same open file
  EXPECT_EQ(ROQ_UTIL_UnlockFile(fd), 0);
  EXPECT_FALSE(somebody_holds_the_lock());
  close(copy);
}

TEST_F(LockFile, WaitsUntilAnotherProcessGivesTheLockBack) {
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  Shared<bool> released;
  Child holder([&] {
    int32_t fd = ROQ_UTIL_LockFile(path_.c_str(), nullptr);
    EXPECT_EQ(write(pipe_ends[1], "x", 1), 1);
    usleep(100000);
    *released = true;
    ROQ_UTIL_UnlockFile(fd);
  });
  char byte;
  ASSERT_EQ(read(pipe_ends[0], &byte, 1), 1);
  int32_t fd = ROQ_UTIL_LockFile(path_.c_str(), nullptr);
  EXPECT_TRUE(*released);
  EXPECT_EQ(ROQ_UTIL_UnlockFile(fd), 0);
  EXPECT_TRUE(holder.wait().exited_with(0));
  close(pipe_ends[0]);
  close(pipe_ends[1]);
}

TEST_F(LockFile, ExcludesEverybodyElse) {
  constexpr int kProcesses = 4, kTurns = 50;
  struct Counters {
    volatile int inside, most, turns;
  };
  Shared<Counters> counters;
  auto take_turns = [&] {
    for (int i = 0; i < kTurns; ++i) {
      int32_t fd = ROQ_UTIL_LockFile(path_.c_str(), nullptr);
      int inside = counters->inside + 1;
      counters->inside = inside;
      if (inside > counters->most) counters->most = inside;
      usleep(100);
      counters->turns = counters->turns + 1;
      counters->inside = counters->inside - 1;
      EXPECT_EQ(ROQ_UTIL_UnlockFile(fd), 0);
    }
  };
  {
    Child one(take_turns), two(take_turns), three(take_turns), four(take_turns);
    for (Child* child : {&one, &two, &three, &four})
      EXPECT_TRUE(child->wait().exited_with(0));
  }
  EXPECT_EQ(counters->turns, kProcesses * kTurns);
  EXPECT_EQ(counters->most, 1);
}

TEST_F(LockFile, TriesAgainAfterASignal) {
  static int interruptions;
  interruptions = 3;
  Hook interrupted(call_hooks.flock, [](int fd, int operation) -> int {
    EXPECT_EQ(operation, LOCK_EX);
    if (interruptions-- == 0) return real_calls.flock(fd, operation);
    errno = EINTR;
    return -1;
  });
  int32_t fd = ROQ_UTIL_LockFile(path_.c_str(), nullptr);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(interruptions, -1);
  close(fd);
}

TEST_F(LockFile, GivesMinusOneWithItsTextWhenTheLockIsRefused) {
  Outcome outcome = run_in_child([&] {
    static int seen;
    seen = -1;
    Hook refused(call_hooks.flock, [](int fd, int) -> int {
      seen = fd;
      errno = ENOLCK;
      return -1;
    });
    FILE* untouched = stdin;
    EXPECT_EQ(ROQ_UTIL_LockFile(path_.c_str(), &untouched), -1);
    EXPECT_EQ(untouched, stdin);
    EXPECT_EQ(fcntl(seen, F_GETFD), -1); // closed
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "ERROR:Fail to flock " + path_ + ".\n");
  EXPECT_EQ(outcome.err, "");
}

TEST_F(LockFile, EndsTheProcessWhenTheFileCannotBeOpened) {
  std::string path = folder_.path("no/such/folder");
  Shared<bool> went_on;
  Outcome outcome = run_in_child([&] {
    atexit([] { printf("exit handler"); });
    ROQ_UTIL_LockFile(path.c_str(), nullptr);
    *went_on = true;
  });
  EXPECT_FALSE(*went_on);
  EXPECT_TRUE(outcome.exited_with(1)) << outcome;
  EXPECT_EQ(outcome.out, "ROQ_LockFile,Fail to open " + path + ".\n");
  EXPECT_EQ(outcome.err, "");
}

TEST_F(LockFile, OfANullPathGivesMinusOne) {
  FILE* untouched = stdin;
  EXPECT_EQ(ROQ_UTIL_LockFile(nullptr, &untouched), -1);
  EXPECT_EQ(untouched, stdin);
}

TEST_F(LockFile, MayGiveTheDescriptorZeroWhichUnlockTakes) {
  expect_in_child([&] {
    close(STDIN_FILENO);
    EXPECT_EQ(ROQ_UTIL_LockFile(path_.c_str(), nullptr), 0);
    EXPECT_TRUE(somebody_holds_the_lock());
    EXPECT_EQ(ROQ_UTIL_UnlockFile(0), 0);
    EXPECT_FALSE(somebody_holds_the_lock());
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
  });
}

TEST(UnlockFile, OfANegativeDescriptorPrintsIt) {
  Outcome outcome = run_in_child([] {
    EXPECT_EQ(ROQ_UTIL_UnlockFile(-1), 24);
    EXPECT_EQ(ROQ_UTIL_UnlockFile(-12), 25);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "ROQ_UnlockFile -1 fail.\nROQ_UnlockFile -12 fail.\n");
}

TEST(UnlockFile, OfAClosedDescriptorGivesTheResultOfTheClose) {
  int fd = open("/", O_RDONLY);
  close(fd);
  EXPECT_EQ(ROQ_UTIL_UnlockFile(fd), -1);
}

} // namespace
} // namespace roq::test::process
