#include "complete.h"
#include "dns/commands.h"
#include "doctor.h"
#include "groups.h"
#include "gvar/places.h"
#include "json.h"
#include "net/interfaces.h"
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
    print_object([](Json& json) {
      json.member("tool", ROQ_TOOL_VERSION);
      json.member("library", ROQ_UTIL_GetVersion());
    });
    return kSuccess;
  }
  printf("roqutil %s\n%s\n", ROQ_TOOL_VERSION, ROQ_UTIL_GetVersion());
  return kSuccess;
}

int run_complete(const Invocation& call);

constexpr Example kVersionExamples[] = {{"roqutil version", "the version of this tool and of its library"},
                                        {"roqutil version --json", "the same for a program"}};
constexpr Example kCompleteExamples[] = {{"roqutil complete -- gvar get --", "the options of 'gvar get'"},
                                         {"roqutil complete -- gvar get 2:", "the ids of module 2"}};
constexpr Command kCommands[] = {
    kResolveCommand,
    kSrvCommand,
    kDoctorCommand,
    {.name = "version",
     .summary = "print the version of the tool and of the library",
     .options = kJsonOnly,
     .examples = kVersionExamples,
     .run = run_version},
    {.name = "complete",
     .arguments = "[WORD...]",
     .maximum = kAnyNumber,
     .summary = "print what the last word may become, for the shell's completion",
     .details = "The words are those behind 'roqutil'; put -- in front of them. FILE, DIRECTORY and COMMAND stand for "
                "what the shell knows better.",
     .options = kJsonOnly,
     .examples = kCompleteExamples,
     .options_come_first = true,
     .run = run_complete},
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

constexpr Place kPlaces[] = {{"MODULE", gvar::add_modules},
                             {"ID", gvar::add_variables},
                             {"INTERFACE", net::add_interfaces},
                             {"AREA", add_areas}};

constexpr Example kExamples[] = {{"roqutil doctor", "see whether this machine has what the library needs"},
                                 {"roqutil gvar init 2", "create module 2 of the variable store"},
                                 {"roqutil gvar set 2:1 ppp0", "set its variable 1"},
                                 {"roqutil gvar check 2", "look for damage in it"}};

const Program kProgram{.name = "roqutil",
                       .summary = "the toolbox of the home gateway, on the command line",
                       .groups = kGroups,
                       .commands = kCommands,
                       .examples = kExamples,
                       .places = kPlaces};

int run_complete(const Invocation& call) {
  const char* nothing = "";
  std::span<const char* const> words = call.arguments();
  if (words.empty()) words = {&nothing, 1};
  Candidates candidates(words.back());
  complete(candidates, kProgram, words);
  if (!call.json()) {
    fputs(candidates.lines().c_str(), stdout);
    return kSuccess;
  }
  Json json;
  json.begin_array();
  for (std::string_view rest = candidates.lines().view(); !rest.empty();)
    json.text(take_word(rest, '\n'));
  json.end_array();
  json.print();
  return kSuccess;
}

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
