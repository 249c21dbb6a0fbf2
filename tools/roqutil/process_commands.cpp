// roqutil parse, exec, sh, which, pid, stop, lock: process control.
#include "process_commands.h"

#include "answer.h"
#include "bytes.h"
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <roqutil/process.h>
#include <sys/wait.h>
#include <unistd.h>

namespace roq::tool {
namespace {

constexpr size_t kLongestCommand = 4096;
constexpr size_t kLongestStopName = 11;
constexpr int kSignalCode = 128;
constexpr int32_t kUntilItEnds = -1;
constexpr int32_t kDetached = 0;
constexpr uint32_t kNobody = 0xFFFFFFFF;

// A command line, taken apart.
class Parsed {
public:
  Parsed(const char* line, bool with_plan) {
    succeeded_ = ROQ_UTIL_ParseArgs(line, &vector_, &count_, with_plan ? &plan_ : nullptr) == 0;
  }
  ~Parsed() {
    ROQ_UTIL_FreeArgs(vector_);
    free(plan_.pcStdoutFile);
    free(plan_.pcStderrFile);
  }
  Parsed(const Parsed&) = delete;
  Parsed& operator=(const Parsed&) = delete;

  bool succeeded() const { return succeeded_; }
  std::span<char* const> arguments() const { return {vector_, static_cast<size_t>(count_)}; }
  const RedirectPlan& plan() const { return plan_; }

private:
  char** vector_ = nullptr;
  int32_t count_ = 0;
  RedirectPlan plan_{};
  bool succeeded_;
};

// Why the library does not take a line.
Text parse_failure(const char* line) {
  Text why;
  size_t length = strlen(line);
  if (length > kLongestCommand)
    why.format("a line of %zu characters: expected %zu at most", length, kLongestCommand);
  else
    why.append("an open quote: expected every quoted run to be closed, and no escaped quote inside one");
  return why;
}

void print_file(const char* output, const char* file, bool append) {
  if (file == nullptr) return;
  printf("%-10s  %s %s\n", output, append ? ">>" : ">", readable(file).c_str());
}

void print_table(const Parsed& parsed) {
  for (size_t i = 0; i < parsed.arguments().size(); ++i)
    printf("%-10zu  %s\n", i, readable(parsed.arguments()[i]).c_str());
  const RedirectPlan& plan = parsed.plan();
  print_file("output", plan.pcStdoutFile, plan.bStdoutAppend != 0);
  print_file("error", plan.pcStderrFile, plan.bStderrAppend != 0);
  if (plan.bBackground != 0) puts("background");
}

void add_file(Json& json, const char* name, const char* file, bool append) {
  json.key(name);
  if (file == nullptr) {
    json.null();
    return;
  }
  json.begin_object();
  json.member("file", file);
  json.member("append", append);
  json.end_object();
}

void print_json(const Parsed& parsed) {
  Json json;
  json.begin_object();
  json.key("arguments");
  json.begin_array();
  for (const char* argument : parsed.arguments())
    json.text(argument);
  json.end_array();
  const RedirectPlan& plan = parsed.plan();
  add_file(json, "output", plan.pcStdoutFile, plan.bStdoutAppend != 0);
  add_file(json, "error", plan.pcStderrFile, plan.bStderrAppend != 0);
  json.member("background", plan.bBackground != 0);
  json.end_object();
  json.print();
}

// Tells how a program ended and gives the exit code that passes it on.
int pass_on(const Invocation& call, uint32_t signal, uint32_t exit_code) {
  if (call.json()) {
    print_object([&](Json& json) {
      json.member("signal", signal);
      json.member("exit_code", exit_code);
    });
  } else if (signal != 0) {
    fprintf(stderr, "roqutil: %s: killed by signal %u (%s)\n", call.path(), signal,
            strsignal(static_cast<int>(signal)));
  } else {
    fprintf(stderr, "roqutil: %s: exit code %u\n", call.path(), exit_code);
  }
  return signal != 0 ? kSignalCode + static_cast<int>(signal) : static_cast<int>(exit_code);
}

bool is_found(const char* program) {
  char path[PATH_MAX];
  return ROQ_UTIL_GetExeFullPath(program, path, sizeof path) == 0;
}

Text missing(const char* program) {
  Text text, folders;
  for (const char* const* folder = g_apcBinSearchPath; *folder != nullptr; ++folder)
    folders.format("%s%s", folders.empty() ? "" : ", ", *folder);
  text.format("'%s': no such program in %s; give its path", program, folders.c_str());
  return text;
}

} // namespace

int run_parse(const Invocation& call) {
  const char* line = call.argument(0);
  Parsed parsed(line, !call.has("no-plan"));
  if (!parsed.succeeded()) return call.no("%s; see 'roqutil parse --help'", parse_failure(line).c_str());
  if (call.json())
    print_json(parsed);
  else
    print_table(parsed);
  return kSuccess;
}

int run_exec(const Invocation& call) {
  const char* line = call.argument(0);
  auto interval = call.option_time("interval", 0, 1, INT32_MAX);
  if (!interval) return kUsage;
  Parsed parsed(line, true);
  if (!parsed.succeeded()) return call.wrong("%s", parse_failure(line).c_str());
  if (parsed.arguments().empty()) return call.wrong("no program: expected a command line");
  const char* program = parsed.arguments()[0];
  if (!is_found(program)) return call.refused("%s", missing(program).c_str());

  bool detached = call.has("detach") || parsed.plan().bBackground != 0;
  // What the library calls a time limit ends no wait: it sets how often the program is looked at.
  int32_t time_limit = *interval != 0 ? static_cast<int32_t>(*interval) : kUntilItEnds;
  uint32_t signal = 0, exit_code = 0;
  fflush(stdout); // which the launched program might write a second time
  int32_t launched = ROQ_UTIL_ForkProcess(line, detached ? kDetached : time_limit, &signal, &exit_code);
  if (launched < 0) return call.refused("'%s': it could not be started: %s; try again", program, strerror(errno));
  if (detached) return kSuccess;
  return pass_on(call, signal, exit_code);
}

int run_sh(const Invocation& call) {
  const char* line = call.argument(0);
  auto limit = call.option_number("limit", 0, 1, INT8_MAX);
  if (!limit) return kUsage;
  fflush(stdout);
  auto status = static_cast<int>(*limit != 0 ? ROQ_UTIL_ExecCmd_ByTime(line, *limit)
                                             : static_cast<int32_t>(ROQ_UTIL_ExecCmd(line, nullptr)));
  if (status == -1) {
    return *limit != 0
               ? call.refused("the limit of %u s is over: the shell was terminated; see whether its programs still run",
                              *limit)
               : call.refused("the shell could not be started: %s; try again", strerror(errno));
  }
  if (WIFSTOPPED(status))
    return call.refused("the shell was stopped by signal %d: it still exists; continue or kill it", WSTOPSIG(status));
  uint32_t signal = WIFSIGNALED(status) ? static_cast<uint32_t>(WTERMSIG(status)) : 0;
  return pass_on(call, signal, static_cast<uint32_t>(WEXITSTATUS(status)));
}

int run_which(const Invocation& call) {
  const char* name = call.argument(0);
  char path[PATH_MAX];
  if (ROQ_UTIL_GetExeFullPath(name, path, sizeof path) != 0) return call.no("%s", missing(name).c_str());
  return print_answer(call, path, [&](Json& json) {
    json.member("name", name);
    json.member("path", path);
  });
}

namespace {

Text without_blanks(const char* name) {
  Text text;
  for (; *name != '\0'; ++name) {
    if (*name != ' ') text.append(*name);
  }
  return text;
}

// The processes of a list of the library, but for this one.
Array<uint32_t> others_in(const uint32_t* list, const char* name) {
  Array<uint32_t> ids;
  // Only one entry, and no end behind it, is there when nothing was found. For "init" that cannot be told from a list
  // that begins with process 1.
  bool is_alone = list[0] == kNobody || (list[0] == 1 && strcmp(name, "init") == 0);
  if (list[0] == kNobody) return ids;
  ids.add(list[0]);
  for (size_t i = 1; !is_alone && list[i] != 0; ++i)
    ids.add(list[i]);

  Array<uint32_t> others;
  for (uint32_t id : ids) {
    if (id != static_cast<uint32_t>(getpid())) others.add(id);
  }
  return others;
}

} // namespace

int run_pid(const Invocation& call) {
  Text name = without_blanks(call.argument(0));
  uint32_t* list = ROQ_UTIL_FindPidByName(name.c_str());
  if (list == nullptr) return call.refused("the processes cannot be listed: %s; mount /proc", strerror(errno));
  Array<uint32_t> ids = others_in(list, name.c_str());
  free(list);
  if (ids.size() > 1 && !call.has("all")) {
    uint32_t first = ids[0];
    ids.clear();
    ids.add(first);
  }
  if (call.json()) {
    print_object([&](Json& json) {
      json.member("name", name.view());
      json.key("processes");
      json.begin_array();
      for (uint32_t id : ids)
        json.number(id);
      json.end_array();
    });
  } else {
    for (uint32_t id : ids)
      printf("%u\n", id);
  }
  return ids.empty() ? call.no("'%s': no such process; 'ps' shows all", call.argument(0)) : static_cast<int>(kSuccess);
}

int run_stop(const Invocation& call) {
  const char* name = call.argument(0);
  if (strlen(name) > kLongestStopName)
    warn("%s: '%s': the supervisor will see '%.*s'; make sure that it knows the process by this", call.path(), name,
         static_cast<int>(kLongestStopName), name);
  ROQ_UTIL_StopProcess(name);
  return kSuccess;
}

namespace {

// The library would end this process with a message of its own.
bool can_be_opened(const char* path) {
  int fd = open(path, O_RDONLY | O_CREAT | O_CLOEXEC, 0777);
  if (fd < 0) return false;
  close(fd);
  return true;
}

int refuse_lock(const Invocation& call) {
  return call.refused("'%s': %s; name a file that can be created or read", call.argument(0), strerror(errno));
}

// The vector behind the file; exec changes none of its texts.
char** command_of(const Invocation& call) {
  size_t first = strcmp(call.argument(1), "--") == 0 ? 2 : 1;
  return const_cast<char**>(call.vector_from(first));
}

} // namespace

int run_lock(const Invocation& call) {
  const char* path = call.argument(0);
  char** command = command_of(call);
  if (*command == nullptr) return call.wrong("no command: expected one behind '--'");
  if (!is_found(*command)) return call.refused("%s", missing(*command).c_str());
  if (!can_be_opened(path)) return refuse_lock(call);
  int32_t lock = ROQ_UTIL_LockFile(path, nullptr);
  if (lock < 0) return refuse_lock(call);
  uint32_t signal = 0, exit_code = 0;
  fflush(stdout);
  int32_t launched = ROQ_UTIL_ForkProcessEx(command, kUntilItEnds, &signal, &exit_code);
  int reason = errno;
  ROQ_UTIL_UnlockFile(lock);
  if (launched < 0) return call.refused("'%s': it could not be started: %s; try again", *command, strerror(reason));
  return signal != 0 ? kSignalCode + static_cast<int>(signal) : static_cast<int>(exit_code);
}

} // namespace roq::tool
