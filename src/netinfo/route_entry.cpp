#include "netinfo/route.h"
#include <cstdio>
#include <roqutil/msg.h>
#include <roqutil/netinfo.h>

using namespace roq::netinfo;

extern "C" uint32_t ROQ_UTIL_GetDefaultRouteInterfaceName(char* pcName) {
  if (pcName == nullptr) return 0;
  *pcName = '\0';
  LineReader table(kRouteTable);
  if (!table.is_open()) {
    puts("Can't Open File:/proc/net/route");
    return 0;
  }
  find_default_route(table, pcName);
  return 1;
}

extern "C" uint32_t ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(char* pcName, uint32_t ulSize) {
  if (pcName == nullptr) return 0;
  LineReader table(kIpv6RouteTable);
  if (!table.is_open()) {
    ROQ_DEBUG("Can't Open File:/proc/net/ipv6_route\n");
    return 0;
  }
  find_ipv6_default_route(table, pcName, ulSize);
  return 1;
}

extern "C" uint32_t atoi_16(const char* pcText) { return pcText == nullptr ? 0 : parse_hexadecimal(pcText); }
