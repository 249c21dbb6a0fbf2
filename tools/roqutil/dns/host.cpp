#include "dns/host.h"

#include "clock.h"
#include <arpa/inet.h>
#include <roqutil/dns.h>
#include <sys/socket.h>

namespace roq::tool {
namespace {

template <typename Use> void for_each_address(const Host& host, Use use) {
  for (char** at = host.record.h_addr_list; *at != nullptr; ++at) {
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(host.family, *at, text, sizeof text);
    use(text);
  }
}

} // namespace

void look_up(Host& host, const char* name, int32_t family, const char* source) {
  host.family = family;
  hostent* result = nullptr;
  const int64_t start = nanoseconds_now();
  host.code = handy_gethostbyname2_r(name, family, &host.record, host.buffer, sizeof host.buffer, &result, source);
  host.milliseconds = seconds_since(start) * 1e3;
}

const char* family_name(int32_t family) { return family == AF_INET6 ? "IPv6" : "IPv4"; }

const char* reason(const Host& host) {
  switch (host.code) {
  case 0:
    return "resolved";
  case 22:
    return host.family == AF_INET6 ? "switched off in /var/dns/ipv6 or /proc/sys/net/ipv6/conf/all/enable"
                                   : "switched off in /var/dns/ipv4";
  case 34:
    return "more addresses than there is room for";
  default:
    return "no usable answer from the relay";
  }
}

void print_host(const Host& host) {
  if (host.code != 0) {
    printf("%s  not resolved: %s (%.1f ms)\n", family_name(host.family), reason(host), host.milliseconds);
    return;
  }
  printf("%s  %s (%.1f ms)\n", family_name(host.family), host.record.h_name, host.milliseconds);
  for_each_address(host, [](const char* address) { printf("      %s\n", address); });
}

void add_host(Json& json, const Host& host) {
  const bool resolved = host.code == 0;
  json.begin_object();
  json.member("family", family_name(host.family));
  json.member("resolved", resolved);
  json.member("code", host.code);
  json.key("milliseconds");
  json.real(host.milliseconds);
  json.member("official_name", resolved ? static_cast<const char*>(host.record.h_name) : nullptr);
  json.key("addresses");
  json.begin_array();
  if (resolved) for_each_address(host, [&](const char* address) { json.text(address); });
  json.end_array();
  json.member("reason", resolved ? nullptr : reason(host));
  json.end_object();
}

} // namespace roq::tool
