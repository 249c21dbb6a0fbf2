#include "netinfo/firewall.h"
#include <cstdio>
#include <roqutil/netinfo.h>
#include <unistd.h>

using namespace roq::netinfo;

extern "C" uint32_t ROQ_UTIL_RemoveIpTableRule(const char* pcInterface, const char* pcTable, const char* pcChain) {
  if (pcInterface == nullptr || pcTable == nullptr || pcChain == nullptr) return 0;
  if (access(kFirewallTool, F_OK) != 0) return 0;
  list_rules(pcTable, pcChain);
  LineReader listing(kRuleListing);
  if (!listing.is_open()) {
    puts("Can't Open File:/var/iptable");
    return 0;
  }
  char number[kRuleFieldSize];
  if (!find_rule(listing, pcInterface, number)) return 0;
  delete_rule(pcTable, pcChain, number);
  return 1;
}
