#include "cli.h"
#include "dns/commands.h"
#include "groups.h"
#include "json.h"
#include "process_commands.h"
#include "strutil_commands.h"
#include "validate_commands.h"
#include <cerrno>
#include <cstring>
#include <roqutil/msg.h>

using namespace roq::tool;

namespace {

int run_version(const Invocation& call) {
  if (call.json()) {
    Json json;
    json.begin_object();
    json.member("tool", ROQ_TOOL_VERSION);
    json.member("library", ROQ_UTIL_GetVersion());
    json.end_object();
    json.print();
    return kSuccess;
  }
  printf("roqutil %s\n%s\n", ROQ_TOOL_VERSION, ROQ_UTIL_GetVersion());
  return kSuccess;
}

constexpr Option kVersionOptions[] = {kJsonOption};
constexpr Example kVersionExamples[] = {{"roqutil version", "the version of this tool and of its library"},
                                        {"roqutil version --json", "the same for a program"}};
constexpr Command kCommands[] = {kResolveCommand,
                                 kSrvCommand,
                                 {.name = "version",
                                  .summary = "print the version of the tool and of the library",
                                  .options = kVersionOptions,
                                  .examples = kVersionExamples,
                                  .run = run_version},
                                 kParseCommand,
                                 kExecCommand,
                                 kShCommand,
                                 kWhichCommand,
                                 kPidCommand,
                                 kStopCommand,
                                 kLockCommand,
                                 kCidrCommand,
                                 kMinutesCommand,
                                 kSplitCommand,
                                 kTrimCommand,
                                 kShellQuoteCommand,
                                 kFieldCommand};

const Group* const kGroups[] = {
    &dns_group, &gvar_group, &net_group, &module_group, &firewall_group, &check_group, &base64_group,
};

constexpr Example kExamples[] = {{"roqutil gvar init 2", "create module 2 of the variable store"},
                                 {"roqutil gvar set 2:1 ppp0", "set its variable 1"},
                                 {"roqutil gvar check 2", "look for damage in it"}};

const Program kProgram{.name = "roqutil",
                       .summary = "the toolbox of the home gateway, on the command line",
                       .groups = kGroups,
                       .commands = kCommands,
                       .examples = kExamples};

// Output that did not arrive is a failure, whatever the command thinks of it.
int close_output(int code) {
  if (fflush(stdout) == 0 && ferror(stdout) == 0) return code;
  return fail(kRefused, "standard output: %s; the output is not complete", strerror(errno));
}

} // namespace

int main(int argc, char** argv) {
  size_t typed = argc > 0 ? static_cast<size_t>(argc - 1) : 0;
  return close_output(run_program(kProgram, {argv + (argc > 0 ? 1 : 0), typed}));
}
