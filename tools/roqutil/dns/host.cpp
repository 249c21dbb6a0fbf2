#include "dns/host.h"

#include <arpa/inet.h>
#include <cstring>
#include <roqutil/dns.h>
#include <sys/socket.h>
#include <time.h>

namespace roq::tool {
namespace {

double milliseconds_now() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

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
  const double start = milliseconds_now();
  host.code = handy_gethostbyname2_r(name, family, &host.record, host.buffer, sizeof host.buffer, &result, source);
  host.milliseconds = milliseconds_now() - start;
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
  json.begin_object();
  json.member("family", family_name(host.family));
  json.member("resolved", host.code == 0);
  json.member("code", host.code);
  json.key("milliseconds");
  json.real(host.milliseconds);
  if (host.code == 0) {
    json.member("official_name", static_cast<const char*>(host.record.h_name));
    json.key("addresses");
    json.begin_array();
    for_each_address(host, [&](const char* address) { json.text(address); });
    json.end_array();
  } else {
    json.member("reason", reason(host));
  }
  json.end_object();
}

std::optional<Wanted> wanted_name(const Invocation& call) {
  Wanted wanted{nullptr, 0};
  for (const char* argument : call.arguments()) {
    const bool is_family = strcmp(argument, "-4") == 0 || strcmp(argument, "-6") == 0;
    if (is_family && wanted.family == 0) {
      wanted.family = argument[1] == '6' ? AF_INET6 : AF_INET;
    } else if (!is_family && wanted.name == nullptr) {
      wanted.name = argument;
    } else {
      call.wrong("argument '%s': expected one NAME, and -4 or -6 or neither", argument);
      return std::nullopt;
    }
  }
  if (wanted.name == nullptr) {
    call.wrong("argument '%s': expected a NAME besides it", call.argument(0));
    return std::nullopt;
  }
  return wanted;
}

} // namespace roq::tool
