#include "process/launch.h"

#include "process/child.h"
#include "process/parse.h"
#include "process/search_path.h"
#include "process/wait.h"
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace roq::process {
namespace {

constexpr size_t kPathRoom = 256;
constexpr mode_t kFilePermissions = 0666;
constexpr int32_t kBlock = -1;

// A file that cannot be opened leaves its output where the caller's goes.
int open_file(const char* file, bool append) {
  if (file == nullptr) return -1;
  return open(file, O_RDWR | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC), kFilePermissions);
}

Redirections open_redirections(const RedirectPlan* plan) {
  if (plan == nullptr) return {};
  int output = open_file(plan->pcStdoutFile, plan->bStdoutAppend != 0);
  bool same_file = plan->pcStdoutFile != nullptr && plan->pcStderrFile != nullptr &&
                   strcmp(plan->pcStdoutFile, plan->pcStderrFile) == 0;
  return {output, same_file ? output : open_file(plan->pcStderrFile, plan->bStderrAppend != 0)};
}

void close_redirections(const Redirections& files) {
  if (files.output >= 0) close(files.output);
  if (files.error >= 0 && files.error != files.output) close(files.error);
}

// The default SIGCHLD action for as long as it lives, so that the exit code can be had whatever the caller does with
// its children.
class DefaultChildAction {
public:
  DefaultChildAction() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    action.sa_flags = SA_RESTART;
    is_set_ = sigaction(SIGCHLD, &action, &saved_) == 0;
    if (!is_set_) perror("sigaction error\r\n");
  }
  ~DefaultChildAction() {
    ErrnoKeeper keep;
    if (is_set_) sigaction(SIGCHLD, &saved_, nullptr);
  }
  DefaultChildAction(const DefaultChildAction&) = delete;
  DefaultChildAction& operator=(const DefaultChildAction&) = delete;

private:
  struct sigaction saved_;
  bool is_set_;
};

Session session_of(int32_t time_limit, const RedirectPlan* plan) {
  if (time_limit != 0) return Session::of_the_caller;
  return plan != nullptr && plan->bBackground != 0 ? Session::own_in_background : Session::own;
}

} // namespace

int32_t launch(char** arguments, int32_t time_limit, uint32_t* signal, uint32_t* exit_code, const RedirectPlan* plan) {
  char path[kPathRoom];
  if (!find_program(arguments[0], path, sizeof path)) return -1;

  Redirections files = open_redirections(plan);
  DefaultChildAction action;
  pid_t child = fork();
  // The files stay open then, and that is meant.
  if (child < 0) return child;
  if (child == 0) become_program(path, arguments, files, session_of(time_limit, plan));
  close_redirections(files);
  // A detached program's parent ends at once.
  return wait_for_child(child, time_limit != 0 ? time_limit : kBlock, signal, exit_code);
}

int32_t launch_command(const char* command, int32_t time_limit, uint32_t* signal, uint32_t* exit_code) {
  char** vector = nullptr;
  int32_t count;
  RedirectPlan plan;
  bool parsed = parse_command(command, &vector, &count, &plan);
  ArgumentVector arguments(vector);
  MallocPtr<char> output(plan.pcStdoutFile);
  MallocPtr<char> error(plan.pcStderrFile);
  if (!parsed || count == 0) return -1;
  return launch(vector, plan.bBackground != 0 ? 0 : time_limit, signal, exit_code, &plan);
}

} // namespace roq::process
