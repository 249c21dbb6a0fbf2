#include "netinfo/route.h"

#include "netinfo/fields.h"
#include "support/numbers.h"
#include <cstdio>
#include <cstring>
#include <limits>

namespace roq::netinfo {
namespace {

constexpr size_t kRouteLineSize = 1024;

struct RouteColumn {
  enum : size_t { interface = 0, destination = 1, mask = 7, count = 11 };
};
using RouteFields = Fields<RouteColumn::count, 32>;

bool is_default(const RouteFields& route) {
  return strcmp(route[RouteColumn::destination], "00000000") == 0 && strcmp(route[RouteColumn::mask], "00000000") == 0;
}

struct Ipv6RouteColumn {
  enum : size_t {
    destination = 0,
    destination_length = 1,
    source = 2,
    source_length = 3,
    metric = 5,
    device = 9,
    count
  };
};
using Ipv6RouteFields = Fields<Ipv6RouteColumn::count, 64>;

bool is_whole_ipv6_space(const char* network, const char* prefix_length) {
  return strcmp(network, "00000000000000000000000000000000") == 0 && strcmp(prefix_length, "00") == 0;
}

bool is_default(const Ipv6RouteFields& route) {
  return is_whole_ipv6_space(route[Ipv6RouteColumn::destination], route[Ipv6RouteColumn::destination_length]) &&
         is_whole_ipv6_space(route[Ipv6RouteColumn::source], route[Ipv6RouteColumn::source_length]);
}

} // namespace

void find_default_route(LineReader& table, char* name) {
  char line[kRouteLineSize];
  RouteFields route;
  table.skip(line, 1);
  while (table.next(line)) {
    route.split(line);
    if (!is_default(route)) continue;
    strcpy(name, route[RouteColumn::interface]);
    return;
  }
}

void find_ipv6_default_route(LineReader& table, char* name, uint32_t size) {
  char line[kRouteLineSize];
  Ipv6RouteFields route;
  uint32_t best_metric = std::numeric_limits<uint32_t>::max();
  while (table.next(line)) {
    route.split(line);
    if (!is_default(route)) continue;
    uint32_t metric = parse_hexadecimal(route[Ipv6RouteColumn::metric]);
    if (metric >= best_metric) continue;
    best_metric = metric;
    if (size > 0) strncpy(name, route[Ipv6RouteColumn::device], size - 1);
  }
}

uint32_t parse_hexadecimal(const char* text) {
  uint32_t value = 0;
  for (; *text != '\0'; ++text) {
    unsigned digit = digit_value(*text);
    if (digit >= 16) {
      puts("Invalid string");
      break;
    }
    value = value * 16 + digit;
  }
  return value;
}

} // namespace roq::netinfo
