#include "gvar/guarded.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace roq::tool::gvar {
namespace {

void prepare_child(uint32_t seconds, Output output, int said) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  dup2(said, STDERR_FILENO);
  if (output == Output::taken) dup2(said, STDOUT_FILENO);
  close(said);
  signal(SIGALRM, SIG_DFL);
  alarm(seconds);
}

void read_all(int fd, Text& into) {
  char piece[512];
  for (;;) {
    ssize_t length = read(fd, piece, sizeof piece);
    if (length > 0)
      into.append({piece, static_cast<size_t>(length)});
    else if (length == 0 || errno != EINTR)
      return;
  }
}

} // namespace

Child::Child(uint32_t seconds, Output output) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    error_ = errno;
    return;
  }
  fflush(nullptr);
  pid_ = fork();
  if (pid_ < 0) error_ = errno;
  if (pid_ == 0) {
    close(ends[0]);
    prepare_child(seconds, output, ends[1]);
    return;
  }
  close(ends[1]);
  said_ = ends[0];
}

Child::~Child() {
  if (said_ >= 0) close(said_);
}

void Child::end(int code) {
  bool written = fflush(nullptr) == 0 && ferror(stdout) == 0;
  // 3: the system refused.
  _exit(written ? code : 3);
}

Ending Child::wait() {
  Ending ending;
  ending.error = error_;
  if (pid_ < 0) return ending;
  read_all(said_, ending.said);
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR)
    continue;
  if (WIFSIGNALED(status))
    ending.signal = WTERMSIG(status);
  else
    ending.code = WEXITSTATUS(status);
  return ending;
}

} // namespace roq::tool::gvar
