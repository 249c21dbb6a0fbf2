// roqutil firewall: rules that name an interface.
#include "groups.h"

#include "json.h"
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
  char number[32], input[32], output[32];
  char line[kLineSize];
};

bool read_rule(const char* line, Rule& rule) {
  rule = {};
  memcpy(rule.line, line, strcspn(line, "\n"));
  return sscanf(line, "%31s %*s %*s %*s %*s %*s %31s %31s", rule.number, rule.input, rule.output) >= 2;
}

struct Listing {
  Rule first{}; // that names the interface
  size_t rules = 0;
  bool found = false;
};

Listing read_listing(const char* interface) {
  Listing listing;
  FILE* stream = fopen(kListing, "re");
  if (stream == nullptr) return listing;
  char line[kLineSize];
  for (size_t number = 0; fgets(line, sizeof line, stream) != nullptr; ++number) {
    if (number < 2) continue;
    ++listing.rules;
    Rule rule;
    if (listing.found || !read_rule(line, rule)) continue;
    listing.found = strcmp(rule.input, interface) == 0 || strcmp(rule.output, interface) == 0;
    if (listing.found) listing.first = rule;
  }
  fclose(stream);
  return listing;
}

int refuse_without_tool(const Invocation& call) { return call.refused("%s does not exist; install iptables", kTool); }

int run_list(const Invocation& call) {
  const char* table = call.count() > 0 ? call.argument(0) : "filter";
  const char* chain = call.argument(1);
  if (access(kTool, F_OK) != 0) return refuse_without_tool(call);
  const char* words[] = {"iptables", "-t", table, "-v", "--line-numbers", "-L", chain, nullptr};
  fflush(stdout);
  uint32_t signal = 0, code = 0;
  int32_t child = ROQ_UTIL_ForkProcessEx(const_cast<char**>(words), -1, &signal, &code);
  if (child <= 0) return call.refused("iptables cannot be run; is it in /var, /bin, /sbin or /usr/bin?");
  if (signal != 0 || code != 0) return call.refused("iptables failed; see what it said");
  return kSuccess;
}

void print_removed(const Invocation& call, Json& json, const Rule& rule) {
  if (call.json())
    json.text(rule.line);
  else
    printf("removed %s\n", rule.line);
}

// How many rules the chain has now.
size_t count_rules(const char* table, const char* chain) {
  const char* words[] = {"iptables", "-t", table, "-v", "--line-numbers", "-L", chain, nullptr};
  char listing[] = "/var/iptable";
  RedirectPlan plan{};
  plan.pcStdoutFile = listing;
  ROQ_UTIL_ForkProcessFull(const_cast<char**>(words), -1, nullptr, nullptr, &plan);
  return read_listing("").rules;
}

// Removes one rule, or all, and counts them.
int remove_rules(const Invocation& call, Json& json, size_t& removed) {
  const char *interface = call.argument(0), *table = call.argument(1), *chain = call.argument(2);
  do {
    unlink(kListing); // a stale one would be read if the tool cannot be run
    fflush(stdout);
    if (ROQ_UTIL_RemoveIpTableRule(interface, table, chain) != 1) return kSuccess;
    Listing before = read_listing(interface);
    if (count_rules(table, chain) >= before.rules)
      return call.refused("rule %s of %s is still there: iptables does not delete it", before.first.number, chain);
    ++removed;
    print_removed(call, json, before.first);
  } while (call.has("all"));
  return kSuccess;
}

// The library makes a command line of the arguments.
bool is_one_word(const char* argument) { return *argument != '\0' && strpbrk(argument, " \t\r\n\"'\\<>&") == nullptr; }

int run_remove(const Invocation& call) {
  for (const char* argument : call.arguments()) {
    if (!is_one_word(argument)) return call.wrong("'%s': expected a name without blanks and quotes", argument);
  }
  if (access(kTool, F_OK) != 0) return refuse_without_tool(call);
  Json json;
  json.begin_array();
  size_t removed = 0;
  int code = remove_rules(call, json, removed);
  json.end_array();
  if (call.json()) json.print();
  if (code != kSuccess) return code;
  if (removed == 0)
    return call.no("no rule of %s in %s names %s", call.argument(2), call.argument(1), call.argument(0));
  return kSuccess;
}

constexpr Option kRemoveOptions[] = {{"all", nullptr, "repeat until no rule names the interface"}, kJsonOption};
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
     .examples = kListExamples,
     .run = run_list},
    {.name = "remove",
     .arguments = "INTERFACE TABLE CHAIN",
     .minimum = 3,
     .maximum = 3,
     .summary = "delete the first rule that names an interface for input or output",
     .details = "A rule without a target has its columns one place further left, so that only its output interface is\n"
                "found. The exit code is 1 when no rule names the interface.",
     .options = kRemoveOptions,
     .examples = kRemoveExamples,
     .run = run_remove},
};

} // namespace

const Group firewall_group{.name = "firewall",
                           .summary = "firewall rules that name an interface",
                           .commands = kCommands,
                           .examples = kRemoveExamples};

} // namespace roq::tool
