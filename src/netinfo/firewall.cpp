#include "netinfo/firewall.h"

#include "netinfo/fields.h"
#include "process/exec_no_hang.h"
#include <cstdio>
#include <cstring>

namespace roq::netinfo {
namespace {

constexpr size_t kLineSize = 1024;
constexpr size_t kCommandSize = 1024;
constexpr unsigned kHeaderLines = 2;

struct RuleColumn {
  enum : size_t { number = 0, input = 6, output = 7, count = 11 };
};

} // namespace

bool find_rule(LineReader& listing, const char* interface, char (&number)[kRuleFieldSize]) {
  char line[kLineSize];
  Fields<RuleColumn::count, kRuleFieldSize> rule;
  listing.skip(line, kHeaderLines);
  while (listing.next(line)) {
    rule.split(line);
    if (strcmp(rule[RuleColumn::input], interface) != 0 && strcmp(rule[RuleColumn::output], interface) != 0) continue;
    strcpy(number, rule[RuleColumn::number]);
    return true;
  }
  return false;
}

void list_rules(const char* table, const char* chain) {
  char command[kCommandSize];
  snprintf(command, sizeof command, "iptables -t %s -L %s -v --line-numbers > %s", table, chain, kRuleListing);
  process::execute_no_hang(command);
}

void delete_rule(const char* table, const char* chain, const char* number) {
  char command[kCommandSize];
  snprintf(command, sizeof command, "iptables -t %s -D %s %s 2>/dev/null", table, chain, number);
  process::execute_no_hang(command);
}

} // namespace roq::netinfo
