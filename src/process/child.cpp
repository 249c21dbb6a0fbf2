#include "process/child.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

// Between fork and exec the child of a program with threads may call only what is safe in a signal handler.

namespace roq::process {
namespace {

constexpr int kFirstClosedDescriptor = 3;
constexpr int kLastClosedDescriptor = 49;

// The signals that are reset in every program, one bit each: all but SIGINT and SIGQUIT, which depend on the session,
// those that cannot be changed, and those that the target lacks. A number and no table, because the child would have to
// fetch the table's page first.
template <typename... Signals> constexpr uint32_t bits_of(Signals... signals) { return ((1U << signals) | ...); }

constexpr uint32_t kResetSignals = bits_of(SIGHUP, SIGILL, SIGTRAP, SIGABRT, SIGFPE, SIGBUS, SIGSEGV, SIGSYS, SIGPIPE,
                                           SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGCHLD, SIGPWR, SIGWINCH, SIGURG, SIGIO,
                                           SIGTSTP, SIGCONT, SIGTTIN, SIGTTOU, SIGVTALRM, SIGPROF, SIGXCPU, SIGXFSZ)
#ifdef SIGEMT
                                   | bits_of(SIGEMT)
#endif
    ;

using Handler = void (*)(int);

void set_action(int signal, Handler handler) {
  struct sigaction action {};
  action.sa_handler = handler;
  sigaction(signal, &action, nullptr);
}

void reset_signals() {
  for (int signal = 1; signal < 32; ++signal) {
    if ((kResetSignals >> signal & 1) != 0) set_action(signal, SIG_DFL);
  }
}

void set_keyboard_signals(Handler handler) {
  set_action(SIGINT, handler);
  set_action(SIGQUIT, handler);
}

// One system call where the kernel has it.
void close_from_to(int first, int last) {
  if (first > last) return;
#ifdef SYS_close_range
  if (syscall(SYS_close_range, first, last, 0) == 0) return;
#endif
  for (int fd = first; fd <= last; ++fd)
    close(fd);
}

void close_inherited(const Redirections& files) {
  int first = kFirstClosedDescriptor;
  for (int kept : {std::min(files.output, files.error), std::max(files.output, files.error)}) {
    if (kept < kFirstClosedDescriptor || kept > kLastClosedDescriptor) continue;
    close_from_to(first, kept - 1);
    first = kept + 1;
  }
  close_from_to(first, kLastClosedDescriptor);
}

// A caller without a standard descriptor of its own may have got its number for the file: then it stays there.
[[gnu::noinline]] void put_at(int fd, int place) {
  if (fd == place)
    fcntl(place, F_SETFD, 0);
  else
    dup2(fd, place);
}

void install(Redirections files) {
  bool has_output = files.output >= 0;
  bool has_error = files.error >= 0;
  bool same = files.output == files.error;
  // The one place where installing the first file would overwrite the second.
  if (has_output && !same && files.error == STDOUT_FILENO)
    files.error = fcntl(files.error, F_DUPFD, kFirstClosedDescriptor);
  if (has_output) put_at(files.output, STDOUT_FILENO);
  if (has_error) put_at(files.error, STDERR_FILENO);

  bool output_is_in_place = files.output == STDOUT_FILENO || (files.output == STDERR_FILENO && has_error);
  if (has_output && !output_is_in_place) close(files.output);
  if (has_error && !same && files.error != STDERR_FILENO) close(files.error);
}

void read_from_null_device() {
  int fd = open("/dev/null", O_RDWR);
  if (fd <= STDIN_FILENO) return;
  dup2(fd, STDIN_FILENO);
  close(fd);
}

// Goes on in a grandchild of the caller that leads a session of its own.
void detach(Session session) {
  bool in_background = session == Session::own_in_background;
  if (in_background) read_from_null_device();
  pid_t child = fork();
  if (child < 0) exit(-1);
  if (child > 0) exit(0);
  setsid();
  set_keyboard_signals(in_background ? SIG_IGN : SIG_DFL);
}

} // namespace

void become_program(const char* path, char** arguments, Redirections files, Session session) {
  close_inherited(files);
  install(files);
  if (session == Session::of_the_caller)
    set_keyboard_signals(SIG_DFL);
  else
    detach(session);
  reset_signals();
  execv(path, arguments);
  exit(-1);
}

} // namespace roq::process
