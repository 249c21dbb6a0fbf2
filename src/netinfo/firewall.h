// Rules of the firewall.
#ifndef ROQ_NETINFO_FIREWALL_H
#define ROQ_NETINFO_FIREWALL_H

#include "netinfo/line_reader.h"

namespace roq::netinfo {

inline constexpr char kFirewallTool[] = "/bin/iptables";
inline constexpr char kRuleListing[] = "/var/iptable";
inline constexpr size_t kRuleFieldSize = 32;

// Copies the line number of the first rule that names the interface for input or output; false without such a rule.
bool find_rule(LineReader& listing, const char* interface, char (&number)[kRuleFieldSize]);

// Both run the firewall's tool, whatever comes of it.
void list_rules(const char* table, const char* chain);
void delete_rule(const char* table, const char* chain, const char* number);

} // namespace roq::netinfo

#endif
