// roqutil firewall: rules that name an interface.
#include "groups.h"

#include "json.h"
#include "one_word.h"
#include <cerrno>
#include <cstring>
#include <roqutil/netinfo.h>
#include <roqutil/process.h>
#include <unistd.h>

namespace roq::tool {
namespace {

constexpr char kTool[] = "/bin/iptables";
constexpr char kListing[] = "/var/iptable";
constexpr size_t kLineSize = 1024;

// Interfaces stand in the columns 7 and 8 of the listing, and a missing target shifts them: the tool shows the rule
// that the library took, by the library's own columns.
struct Rule {
  char chain[64];
  uint32_t number;
  char input[32], output[32];
  char line[kLineSize];

  bool names(const char* interface) const { return strcmp(input, interface) == 0 || strcmp(output, interface) == 0; }
};

bool read_rule(const char* line, Rule& rule) {
  char number[32];
  rule.input[0] = rule.output[0] = '\0';
  int columns = sscanf(line, "%31s %*s %*s %*s %*s %*s %31s %31s", number, rule.input, rule.output);
  // Headings do not begin with a number.
  std::optional<uint32_t> parsed = columns >= 2 ? parse_number(number) : std::nullopt;
  if (!parsed) return false;
  rule.number = *parsed;
  size_t length = strcspn(line, "\n");
  memcpy(rule.line, line, length);
  rule.line[length] = '\0';
  return true;
}

// The rules of the listing that lies in its file. False, with errno, when it cannot be read.
template <typename Use> bool for_each_rule(Use use) {
  FILE* stream = fopen(kListing, "re");
  if (stream == nullptr) return false;
  char line[kLineSize];
  Rule rule{};
  while (fgets(line, sizeof line, stream) != nullptr) {
    sscanf(line, "Chain %63s", rule.chain);
    if (read_rule(line, rule)) use(rule);
  }
  fclose(stream);
  return true;
}

void add_rule(Json& json, const Rule& rule) {
  json.begin_object();
  json.member("chain", static_cast<const char*>(rule.chain));
  json.member("number", rule.number);
  json.member("input", static_cast<const char*>(rule.input));
  json.member("output", static_cast<const char*>(rule.output));
  json.member("line", static_cast<const char*>(rule.line));
  json.end_object();
}

int refuse_without_tool(const Invocation& call) {
  return call.refused("%s: it does not exist; install iptables", kTool);
}

// Runs iptables for a listing, which goes into a file, or to standard output when that is null. Nothing when it went
// well, else the exit code after a message.
std::optional<int> list_rules(const Invocation& call, const char* table, const char* chain, const char* file) {
  const char* words[] = {"iptables", "-t", table, "-v", "--line-numbers", "-L", chain, nullptr};
  RedirectPlan plan{};
  plan.pcStdoutFile = const_cast<char*>(file);
  fflush(stdout);
  uint32_t signal = 0, code = 0;
  int32_t child = ROQ_UTIL_ForkProcessFull(const_cast<char**>(words), -1, &signal, &code, &plan);
  if (child <= 0) return call.refused("iptables: 'roqutil which iptables' does not find it; install it");
  if (signal != 0 || code != 0) return call.refused("iptables: it did not list the rules; see what it said");
  return std::nullopt;
}

int run_list(const Invocation& call) {
  const char* table = call.count() > 0 ? call.argument(0) : "filter";
  const char* chain = call.argument(1);
  if (access(kTool, F_OK) != 0) return refuse_without_tool(call);
  if (auto code = list_rules(call, table, chain, call.json() ? kListing : nullptr)) return *code;
  if (!call.json()) return kSuccess;
  Json json;
  json.begin_array();
  bool was_read = for_each_rule([&](const Rule& rule) { add_rule(json, rule); });
  json.end_array();
  if (!was_read) return call.refused("%s: %s; see 'roqutil doctor firewall'", kListing, strerror(errno));
  json.print();
  return kSuccess;
}

// Removes one rule, or all that name the interface, and calls `use` for each.
template <typename Use> int remove_rules(const Invocation& call, Use use) {
  const char *interface = call.argument(0), *table = call.argument(1), *chain = call.argument(2);
  do {
    unlink(kListing); // a stale one would be read if the tool cannot be run
    fflush(stdout);
    if (ROQ_UTIL_RemoveIpTableRule(interface, table, chain) != 1) return kSuccess;
    Rule removed{};
    size_t rules_before = 0, rules_after = 0;
    for_each_rule([&](const Rule& rule) {
      ++rules_before;
      if (removed.number == 0 && rule.names(interface)) removed = rule;
    });
    if (auto code = list_rules(call, table, chain, kListing)) return *code;
    for_each_rule([&](const Rule&) { ++rules_after; });
    if (rules_after >= rules_before)
      return call.refused("rule %u of %s: it is still there; see whether iptables can delete it", removed.number,
                          chain);
    use(removed);
  } while (call.has("all"));
  return kSuccess;
}

int run_remove(const Invocation& call) {
  if (auto code = refuse_other_words(call)) return *code;
  if (access(kTool, F_OK) != 0) return refuse_without_tool(call);
  Json json;
  json.begin_array();
  size_t removed = 0;
  int code = remove_rules(call, [&](const Rule& rule) {
    ++removed;
    if (call.json())
      add_rule(json, rule);
    else
      printf("removed %s\n", rule.line);
  });
  json.end_array();
  if (call.json()) json.print();
  if (code != kSuccess || removed > 0) return code;
  return call.no("%s: no rule of %s in %s names it; 'roqutil firewall list' shows the rules", call.argument(0),
                 call.argument(2), call.argument(1));
}

constexpr Option kRemoveOptions[] = {{"all", nullptr, "repeat until no rule names the interface"}, kJsonOption};
constexpr Example kExamples[] = {{"roqutil firewall list", "what there is"},
                                 {"roqutil firewall remove ppp0 filter FORWARD", "the first rule that names ppp0"}};
constexpr Example kListExamples[] = {{"roqutil firewall list", "all chains of the table filter"},
                                     {"roqutil firewall list nat POSTROUTING", "one chain of another table"}};
constexpr Example kRemoveExamples[] = {
    {"roqutil firewall remove ppp0 filter FORWARD", "the first rule that names ppp0"},
    {"roqutil firewall remove ppp0 nat POSTROUTING --all", "every one"}};

constexpr Command kCommands[] = {
    {.name = "list",
     .arguments = "[TABLE [CHAIN]]",
     .maximum = 2,
     .summary = "print the rules of a table or of one chain",
     .details = "With --json the listing goes over the file /var/iptable, as the library's own does.",
     .options = kJsonOnly,
     .examples = kListExamples,
     .run = run_list},
    {.name = "remove",
     .arguments = "INTERFACE TABLE CHAIN",
     .minimum = 3,
     .maximum = 3,
     .summary = "delete the first rule that names an interface for input or output",
     .details = "A rule without a target has its columns one place further left, so that only its output interface is "
                "found. The exit code is 1 when no rule names the interface.",
     .options = kRemoveOptions,
     .examples = kRemoveExamples,
     .run = run_remove},
};

} // namespace

const Group firewall_group{.name = "firewall",
                           .summary = "firewall rules that name an interface",
                           .commands = kCommands,
                           .examples = kExamples};

} // namespace roq::tool
