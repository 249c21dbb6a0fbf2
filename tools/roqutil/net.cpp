// roqutil net: routes, addresses, counters and names of interfaces.
#include "groups.h"

#include "json.h"
#include "net/statistics.h"
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <roqutil/netinfo.h>
#include <unistd.h>

namespace roq::tool {
namespace {

constexpr size_t kNameSize = 64;

// The library prints on standard output when it cannot open a table; the tool says it its own way, and first.
bool is_readable(const char* table) { return access(table, R_OK) == 0; }

// One fact of one interface, as text or as an object of two members.
int print_fact(const Invocation& call, const char* key, const char* value) {
  if (!call.json()) {
    puts(value);
    return kSuccess;
  }
  Json json;
  json.begin_object();
  json.member("interface", call.argument(0));
  json.member(key, value);
  json.end_object();
  json.print();
  return kSuccess;
}

bool exists(const char* interface) { return if_nametoindex(interface) != 0; }

int no_such_interface(const Invocation& call) {
  return call.no("'%s': there is no such interface; 'ip link' shows all", call.argument(0));
}

void add_route(Json& json, const char* family, const char* name) {
  json.key(family);
  if (name[0] == '\0')
    json.null();
  else
    json.text(name);
}

int run_routes(const Invocation& call) {
  constexpr char kTable[] = "/proc/net/route";
  if (!is_readable(kTable)) return call.refused("%s: %s; is /proc mounted?", kTable, strerror(errno));
  char ipv4[kNameSize] = "", ipv6[kNameSize] = "";
  ROQ_UTIL_GetDefaultRouteInterfaceName(ipv4);
  // Where the kernel has no IPv6 there is no table, and no route.
  ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(ipv6, sizeof ipv6);
  if (call.json()) {
    Json json;
    json.begin_object();
    add_route(json, "ipv4", ipv4);
    add_route(json, "ipv6", ipv6);
    json.end_object();
    json.print();
  } else {
    printf("IPv4  %s\nIPv6  %s\n", ipv4[0] == '\0' ? "none" : ipv4, ipv6[0] == '\0' ? "none" : ipv6);
  }
  return ipv4[0] == '\0' && ipv6[0] == '\0' ? kNo : kSuccess;
}

int run_addr(const Invocation& call) {
  if (!exists(call.argument(0))) return no_such_interface(call);
  sockaddr_in address;
  if (ROQ_UTIL_GetIpByName(call.argument(0), &address) != 0) return call.no("%s has no IPv4 address", call.argument(0));
  char text[INET_ADDRSTRLEN];
  return print_fact(call, "address", inet_ntop(AF_INET, &address.sin_addr, text, sizeof text));
}

int run_peer(const Invocation& call) {
  if (!exists(call.argument(0))) return no_such_interface(call);
  char text[INET_ADDRSTRLEN];
  if (ROQ_UTIL_GetIfDestAddr(call.argument(0), text) != 1) return call.no("%s has no IPv4 address", call.argument(0));
  return print_fact(call, "peer", text);
}

int run_link6(const Invocation& call) {
  if (!exists(call.argument(0))) return no_such_interface(call);
  char text[INET6_ADDRSTRLEN];
  if (ROQ_UTIL_GetIpv6LinkAddress(call.argument(0), text) != 1)
    return call.no("%s has no IPv6 link-local address", call.argument(0));
  return print_fact(call, "link_local", text);
}

int run_ifname(const Invocation& call) {
  auto number = call.number(call.argument(0), "interface");
  if (!number) return kUsage;
  char name[kNameSize];
  if (ROQ_UTIL_GetInterfaceNameById(*number, name) != 1)
    return call.no("no interface has the number %u; 1 to 4, 13 to 16 and 21 to 30 have one", *number);
  if (!call.json()) {
    puts(name);
    return kSuccess;
  }
  Json json;
  json.begin_object();
  json.member("number", *number);
  json.member("interface", name);
  json.end_object();
  json.print();
  return kSuccess;
}

int run_iftype(const Invocation& call) {
  uint32_t type = ROQ_UTIL_GetIntfType(call.argument(0));
  if (type == 0) return call.no("the configuration manager gave no type for '%s'; is it running?", call.argument(0));
  if (!call.json()) {
    printf("%u\n", type);
    return kSuccess;
  }
  Json json;
  json.begin_object();
  json.member("interface", call.argument(0));
  json.member("type", type);
  json.end_object();
  json.print();
  return kSuccess;
}

constexpr const char* kModemKinds[] = {"pcui", "modem", "voice"};

uint32_t modem_kind(const char* word) {
  for (uint32_t index = 0; index < std::size(kModemKinds); ++index) {
    if (strcmp(word, kModemKinds[index]) == 0) return index + 1;
  }
  return 0;
}

int run_modem(const Invocation& call) {
  uint32_t kind = modem_kind(call.argument(0));
  if (kind == 0) return call.wrong("kind '%s': expected pcui, modem or voice", call.argument(0));
  constexpr char kTable[] = "/proc/proc_user_umts";
  if (!is_readable(kTable)) return call.refused("%s: %s; is the modem's driver loaded?", kTable, strerror(errno));
  char node[kNameSize];
  if (ROQ_Get3GUsbStickNode(kind, node) != 1) return call.no("the modem has no %s port", call.argument(0));
  if (!call.json()) {
    puts(node);
    return kSuccess;
  }
  Json json;
  json.begin_object();
  json.member("kind", call.argument(0));
  json.member("node", node);
  json.end_object();
  json.print();
  return kSuccess;
}

constexpr Option kJsonOnly[] = {kJsonOption};
constexpr Option kStatOptions[] = {{"watch", nullptr, "go on printing, with what came and went per second"},
                                   {"interval", "SECONDS", "time between two tables of --watch, 1 to 3600 (default 1)"},
                                   {"count", "N", "end --watch after N tables (default: never)"},
                                   kJsonOption};

constexpr Example kRoutesExamples[] = {{"roqutil net routes", "the interfaces of both default routes"},
                                       {"roqutil net routes --json", "the same for a program"}};
constexpr Example kAddrExamples[] = {{"roqutil net addr ppp0", "its IPv4 address"}};
constexpr Example kPeerExamples[] = {{"roqutil net peer ppp0", "the other end of the connection"}};
constexpr Example kLink6Examples[] = {{"roqutil net link6 br0", "its address in fe80::/10"}};
constexpr Example kStatExamples[] = {
    {"roqutil net stat", "the counters of all interfaces"},
    {"roqutil net stat ppp0 --watch", "how much flows over one of them"},
    {"roqutil net stat --watch --interval 10 --count 6 --json", "a minute for a program"}};
constexpr Example kIfnameExamples[] = {{"roqutil net ifname 27", "eth1.2"}};
constexpr Example kIftypeExamples[] = {{"roqutil net iftype eth0.1", "what the configuration manager calls it"}};
constexpr Example kModemExamples[] = {{"roqutil net modem pcui", "the device node of its control port"}};

constexpr Command kCommands[] = {
    {.name = "routes",
     .summary = "print the interfaces of the IPv4 and the IPv6 default route",
     .details = "Of several IPv4 default routes the kernel's first one counts, of several IPv6 ones the one with the\n"
                "lowest metric. The exit code is 1 when there is neither.",
     .options = kJsonOnly,
     .examples = kRoutesExamples,
     .run = run_routes},
    {.name = "addr",
     .arguments = "INTERFACE",
     .minimum = 1,
     .maximum = 1,
     .summary = "print the IPv4 address of an interface",
     .options = kJsonOnly,
     .examples = kAddrExamples,
     .run = run_addr},
    {.name = "peer",
     .arguments = "INTERFACE",
     .minimum = 1,
     .maximum = 1,
     .summary = "print the IPv4 address at the other end of a point-to-point interface",
     .details = "For an interface without another end the kernel answers with the interface's own address.",
     .options = kJsonOnly,
     .examples = kPeerExamples,
     .run = run_peer},
    {.name = "link6",
     .arguments = "INTERFACE",
     .minimum = 1,
     .maximum = 1,
     .summary = "print the IPv6 link-local address of an interface",
     .options = kJsonOnly,
     .examples = kLink6Examples,
     .run = run_link6},
    {.name = "stat",
     .arguments = "[INTERFACE...]",
     .maximum = kAnyNumber,
     .summary = "print the traffic counters of interfaces",
     .details = "Counters stop at 4294967295. In the tables of --watch a rate is '-' where its counter stands there.",
     .options = kStatOptions,
     .examples = kStatExamples,
     .run = net::run_stat},
    {.name = "ifname",
     .arguments = "NUMBER",
     .minimum = 1,
     .maximum = 1,
     .summary = "print the name of the interface that the configuration knows by a number",
     .options = kJsonOnly,
     .examples = kIfnameExamples,
     .run = run_ifname},
    {.name = "iftype",
     .arguments = "INTERFACE",
     .minimum = 1,
     .maximum = 1,
     .summary = "ask the configuration manager for the type of an interface",
     .options = kJsonOnly,
     .examples = kIftypeExamples,
     .run = run_iftype},
    {.name = "modem",
     .arguments = "KIND",
     .minimum = 1,
     .maximum = 1,
     .summary = "print a device node of the mobile-broadband stick: pcui, modem or voice",
     .options = kJsonOnly,
     .examples = kModemExamples,
     .run = run_modem},
};

} // namespace

const Group net_group{.name = "net",
                      .summary = "routes, addresses, counters and names of interfaces",
                      .commands = kCommands,
                      .examples = kStatExamples};

} // namespace roq::tool
