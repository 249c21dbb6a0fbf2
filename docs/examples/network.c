/* Looks at the running network, and removes the firewall rules of an interface that is gone. */
#include <arpa/inet.h>
#include <roqutil.h>
#include <stdio.h>
#include <string.h>

static void print_default_routes(void) {
  char name[32], device[17] = "";
  /* 1 means that the table could be read; the name tells whether there is a route. */
  if (ROQ_UTIL_GetDefaultRouteInterfaceName(name) == 1) printf("IPv4 default route: %s\n", name[0] ? name : "none");
  if (ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(device, sizeof device) == 1)
    printf("IPv6 default route: %s\n", device[0] ? device : "none");
}

static void print_addresses(const char* name) {
  struct sockaddr_in address;
  char text[46];
  /* Of all functions here this one gives 0 for success. */
  if (ROQ_UTIL_GetIpByName(name, &address) == 0) printf("%s: %s\n", name, inet_ntoa(address.sin_addr));
  if (ROQ_UTIL_GetIpv6LinkAddress(name, text) == 1) printf("%s: %s\n", name, text);
  if (ROQ_UTIL_GetIfDestAddr(name, text) == 1) printf("%s: other end %s\n", name, text);
}

/* The result does not tell whether the interface was found, so the record is filled with what counters cannot be. The
 * colon keeps the line of wan0.5 from being taken for wan0's. */
static void print_counters(const char* name_and_colon) {
  RoqIfcStat before, counters;
  memset(&before, 0xA5, sizeof before);
  counters = before;
  ROQ_UTIL_GetIfcStatInfo(name_and_colon, &counters);
  if (memcmp(&before, &counters, sizeof counters) == 0)
    printf("%s no such interface\n", name_and_colon);
  else
    printf("%s %u bytes received, %u sent, %u errors\n", name_and_colon, counters.rx_bytes, counters.tx_bytes,
           counters.rx_errors + counters.tx_errors);
}

/* Bounded, because a deletion that fails is not told apart from one that worked. */
static void remove_rules(const char* name) {
  int removed = 0;
  while (removed < 100 && ROQ_UTIL_RemoveIpTableRule(name, "filter", "FORWARD") == 1)
    ++removed;
  printf("%s: %d rules removed\n", name, removed);
}

int main(void) {
  char name[8];
  print_default_routes();
  print_addresses("wan0");
  print_addresses("ppp0");
  print_counters("wan0:");
  print_counters("wan7:");
  if (ROQ_UTIL_GetInterfaceNameById(27, name) == 1) printf("interface number 27: %s\n", name);
  remove_rules("ppp0");
  return 0;
}
