// roqutil net: routes, addresses, counters and names of interfaces.
#include "groups.h"

#include "answer.h"
#include "net/interfaces.h"
#include "net/statistics.h"
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <roqutil/netinfo.h>
#include <unistd.h>

namespace roq::tool {
namespace {

constexpr size_t kNameSize = 64;

// The library prints on standard output when it cannot open a table; the tool says it its own way, and first.
bool is_readable(const char* table) { return access(table, R_OK) == 0; }

const char* text_or_null(const char* name) { return name[0] == '\0' ? nullptr : name; }

int run_routes(const Invocation& call) {
  constexpr char kTable[] = "/proc/net/route";
  if (!is_readable(kTable)) return call.refused("%s: %s; mount /proc", kTable, strerror(errno));
  char ipv4[kNameSize] = "", ipv6[kNameSize] = "";
  ROQ_UTIL_GetDefaultRouteInterfaceName(ipv4);
  // Where the kernel has no IPv6 there is no table, and no route.
  ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(ipv6, sizeof ipv6);
  if (call.json())
    print_object([&](Json& json) {
      json.member("ipv4", text_or_null(ipv4));
      json.member("ipv6", text_or_null(ipv6));
    });
  else
    printf("IPv4  %s\nIPv6  %s\n", ipv4[0] == '\0' ? "none" : ipv4, ipv6[0] == '\0' ? "none" : ipv6);
  return ipv4[0] == '\0' && ipv6[0] == '\0' ? kNo : kSuccess;
}

// One fact of one interface.
int print_fact(const Invocation& call, const char* key, const char* value) {
  return print_answer(call, value, [&](Json& json) {
    json.member("interface", call.argument(0));
    json.member(key, value);
  });
}

int run_addr(const Invocation& call) {
  const char* interface = call.argument(0);
  if (auto code = net::refuse_unknown(call, interface)) return *code;
  sockaddr_in address;
  if (ROQ_UTIL_GetIpByName(interface, &address) != 0)
    return call.no("'%s': it has no IPv4 address; 'ip address' shows what it has", interface);
  char text[INET_ADDRSTRLEN];
  return print_fact(call, "address", inet_ntop(AF_INET, &address.sin_addr, text, sizeof text));
}

int run_peer(const Invocation& call) {
  const char* interface = call.argument(0);
  if (auto code = net::refuse_unknown(call, interface)) return *code;
  char text[INET_ADDRSTRLEN];
  if (ROQ_UTIL_GetIfDestAddr(interface, text) != 1)
    return call.no("'%s': it has no IPv4 address; 'ip address' shows what it has", interface);
  return print_fact(call, "peer", text);
}

int run_link6(const Invocation& call) {
  const char* interface = call.argument(0);
  if (auto code = net::refuse_unknown(call, interface)) return *code;
  char text[INET6_ADDRSTRLEN];
  if (ROQ_UTIL_GetIpv6LinkAddress(interface, text) != 1)
    return call.no("'%s': it has no IPv6 link-local address; 'ip -6 address' shows what it has", interface);
  return print_fact(call, "link_local", text);
}

int run_ifname(const Invocation& call) {
  auto number = call.number(call.argument(0), "interface");
  if (!number) return kUsage;
  char name[kNameSize];
  if (ROQ_UTIL_GetInterfaceNameById(*number, name) != 1)
    return call.no("%u: no interface has this number; 1 to 4, 13 to 16 and 21 to 30 have one", *number);
  return print_answer(call, name, [&](Json& json) {
    json.member("number", *number);
    json.member("interface", name);
  });
}

int run_iftype(const Invocation& call) {
  uint32_t type = ROQ_UTIL_GetIntfType(call.argument(0));
  if (type == 0)
    return call.no("'%s': the configuration manager gave no type; 'roqutil doctor bus' shows whether it answers",
                   call.argument(0));
  Text line;
  line.format("%u", type);
  return print_answer(call, line.c_str(), [&](Json& json) {
    json.member("interface", call.argument(0));
    json.member("type", type);
  });
}

constexpr const char* kModemKinds[] = {"pcui", "modem", "voice"};

uint32_t modem_kind(const char* word) {
  for (uint32_t index = 0; index < std::size(kModemKinds); ++index) {
    if (strcmp(word, kModemKinds[index]) == 0) return index + 1;
  }
  return 0;
}

int run_modem(const Invocation& call) {
  const char* word = call.argument(0);
  uint32_t kind = modem_kind(word);
  if (kind == 0) return call.wrong("kind '%s': expected pcui, modem or voice", word);
  constexpr char kTable[] = "/proc/proc_user_umts";
  if (!is_readable(kTable)) return call.refused("%s: %s; load the modem's driver", kTable, strerror(errno));
  char node[kNameSize];
  if (ROQ_Get3GUsbStickNode(kind, node) != 1)
    return call.no("'%s': the modem has no such port; %s lists those it has", word, kTable);
  return print_answer(call, node, [&](Json& json) {
    json.member("kind", word);
    json.member("node", node);
  });
}

constexpr Option kStatOptions[] = {
    {"watch", nullptr, "go on printing, with what came and went per second"},
    {"interval", "SECONDS", "time between two tables of --watch, 0.1 to 3600 (default 1)"},
    {"count", "NUMBER", "end --watch after so many tables (default: never)"},
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
     .details = "Of several IPv4 default routes the kernel's first one counts, of several IPv6 ones the one with the "
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
     .arguments = "pcui|modem|voice",
     .minimum = 1,
     .maximum = 1,
     .summary = "print a device node of the mobile-broadband stick",
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
