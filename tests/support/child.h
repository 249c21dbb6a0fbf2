// Pieces of a test that run in a child process: what they print, how they end and what they wrote into shared memory
// can be looked at afterwards. Nothing is executed anew, so this also works under an emulator.
#ifndef ROQ_TESTS_SUPPORT_CHILD_H
#define ROQ_TESTS_SUPPORT_CHILD_H

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <new>
#include <ostream>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

// Coverage builds have it; a child that ends with _exit would lose its counts without it.
extern "C" void __gcov_dump(void) __attribute__((weak));

namespace roq::test {

inline constexpr unsigned kLongestChildSeconds = 120;
inline constexpr int kFailedExpectations = 99;

// How a child ended and what it printed.
struct Outcome {
  pid_t pid = -1;
  int status = -1; // as waitpid tells it
  std::string out, err;

  bool exited_with(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
  bool killed_by(int signal) const { return WIFSIGNALED(status) && WTERMSIG(status) == signal; }
  bool faulted() const { return killed_by(SIGSEGV) || killed_by(SIGBUS); }
};

inline std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
  if (WIFEXITED(outcome.status)) stream << "exited with " << WEXITSTATUS(outcome.status);
  if (WIFSIGNALED(outcome.status)) stream << "killed by signal " << WTERMSIG(outcome.status);
  return stream << "\n--- standard output:\n" << outcome.out << "--- standard error:\n" << outcome.err << "---";
}

// A file without a name that collects what a child prints.
class CapturedStream {
public:
  CapturedStream() : fd_(memfd_create("captured", MFD_CLOEXEC)) {
    if (fd_ < 0) abort();
  }
  ~CapturedStream() { close(fd_); }
  CapturedStream(const CapturedStream&) = delete;
  CapturedStream& operator=(const CapturedStream&) = delete;

  void take_the_place_of(int fd) const { dup2(fd_, fd); }

  std::string content() const {
    std::string text;
    char part[4096];
    ssize_t count;
    while ((count = pread(fd_, part, sizeof part, static_cast<off_t>(text.size()))) > 0)
      text.append(part, static_cast<size_t>(count));
    return text;
  }

private:
  int fd_;
};

// A piece of a test in a process of its own, side by side with the test; killed when the test forgets it.
class Child {
public:
  // A child exits with 0, or with kFailedExpectations when an expectation failed in it.
  template <typename Piece> explicit Child(Piece&& piece) {
    fflush(stdout);
    fflush(stderr);
    pid_ = fork();
    if (pid_ < 0) abort();
    if (pid_ == 0) run(std::forward<Piece>(piece));
  }
  ~Child() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }

  void send(int signal) const { kill(pid_, signal); }

  Outcome wait() {
    Outcome outcome;
    outcome.pid = std::exchange(pid_, -1);
    while (waitpid(outcome.pid, &outcome.status, 0) < 0 && errno == EINTR) {
    }
    outcome.out = out_.content();
    outcome.err = err_.content();
    return outcome;
  }

private:
  template <typename Piece> [[noreturn]] void run(Piece&& piece) {
    out_.take_the_place_of(STDOUT_FILENO);
    err_.take_the_place_of(STDERR_FILENO);
    rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    alarm(kLongestChildSeconds);
    piece();
    fflush(stdout);
    fflush(stderr);
    if (__gcov_dump != nullptr) __gcov_dump();
    _exit(testing::Test::HasFailure() ? kFailedExpectations : 0);
  }

  CapturedStream out_, err_;
  pid_t pid_;
};

template <typename Piece> Outcome run_in_child(Piece&& piece) { return Child(std::forward<Piece>(piece)).wait(); }

// The expectations of the piece hold, and it leaves nothing behind in this process.
template <typename Piece> void expect_in_child(Piece&& piece) {
  Outcome outcome = run_in_child(std::forward<Piece>(piece));
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
}

// An object that a process and its children see alike. Zero-filled before it is constructed.
template <typename T> class Shared {
public:
  template <typename... Arguments> explicit Shared(Arguments&&... arguments) {
    void* place = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED) abort();
    object_ = new (place) T{std::forward<Arguments>(arguments)...};
  }
  ~Shared() { munmap(object_, sizeof(T)); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;

  T* get() const { return object_; }
  T& operator*() const { return *object_; }
  T* operator->() const { return object_; }

private:
  T* object_;
};

// Whether the condition comes true before patience ends. Only a failing test waits that long.
template <typename Condition> bool eventually(Condition&& condition) {
  using clock = std::chrono::steady_clock;
  auto end = clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (clock::now() > end) return false;
    usleep(500);
  }
  return true;
}

} // namespace roq::test

#endif
