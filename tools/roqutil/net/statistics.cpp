#include "net/statistics.h"

#include "clock.h"
#include "json.h"
#include "net/interfaces.h"
#include <cerrno>
#include <cstring>
#include <roqutil/netinfo.h>
#include <unistd.h>

namespace roq::tool::net {
namespace {

constexpr uint32_t kFullCounter = UINT32_MAX;

struct Counter {
  const char* name;
  uint32_t RoqIfcStat::*member;
  int width;
};

constexpr Counter kCounters[] = {
    {"rx_bytes", &RoqIfcStat::rx_bytes, 11},   {"rx_packets", &RoqIfcStat::rx_packets, 11},
    {"rx_errors", &RoqIfcStat::rx_errors, 10}, {"rx_drops", &RoqIfcStat::rx_drops, 9},
    {"tx_bytes", &RoqIfcStat::tx_bytes, 12},   {"tx_packets", &RoqIfcStat::tx_packets, 11},
    {"tx_errors", &RoqIfcStat::tx_errors, 10}, {"tx_drops", &RoqIfcStat::tx_drops, 9},
};

struct Reading {
  char name[IF_NAMESIZE];
  RoqIfcStat counters;
  int64_t when; // nanoseconds
};

bool ends_with(const char* text, const char* end) {
  size_t length = strlen(text), end_length = strlen(end);
  return length > end_length && strcmp(text + length - end_length, end) == 0;
}

// The library takes the first line in which its text occurs. The colon excludes longer names that begin alike, and
// short names have a blank in front of them in the table; long ones do not.
constexpr size_t kPaddedNameLength = 6;

RoqIfcStat read_counters(const char* interface) {
  Text text;
  text.format("%s%s:", strlen(interface) < kPaddedNameLength ? " " : "", interface);
  RoqIfcStat counters = {};
  ROQ_UTIL_GetIfcStatInfo(text.c_str(), &counters);
  return counters;
}

void warn_of_longer_names(const char* interface) {
  if (strlen(interface) < kPaddedNameLength) return;
  for_each_interface([&](const char* name) {
    if (ends_with(name, interface))
      warn("'%s': these may be the counters of %s; look at that one, too", interface, name);
  });
}

void add(Array<Reading>& readings, const char* interface) {
  Reading reading{};
  strncpy(reading.name, interface, sizeof reading.name - 1);
  readings.add(reading);
}

void take(Array<Reading>& readings) {
  for (Reading& reading : readings) {
    reading.counters = read_counters(reading.name);
    reading.when = nanoseconds_now();
  }
}

void print_head(bool rates) {
  printf("%-16s", rates ? "per second" : "interface");
  for (const Counter& counter : kCounters)
    printf("%*s", counter.width, counter.name);
  putchar('\n');
}

void print_values(const Reading& reading) {
  printf("%-16s", reading.name);
  for (const Counter& counter : kCounters)
    printf("%*u", counter.width, reading.counters.*counter.member);
  putchar('\n');
}

// Nothing where the counter has stopped, or began anew.
std::optional<double> rate(const Reading& before, const Reading& reading, const Counter& counter) {
  uint32_t old_value = before.counters.*counter.member, value = reading.counters.*counter.member;
  if (value == kFullCounter || value < old_value || reading.when <= before.when) return std::nullopt;
  return (value - old_value) * 1e9 / static_cast<double>(reading.when - before.when);
}

void print_rates(const Reading& before, const Reading& reading) {
  printf("%-16s", reading.name);
  for (const Counter& counter : kCounters) {
    if (auto per_second = rate(before, reading, counter))
      printf("%*.0f", counter.width, *per_second);
    else
      printf("%*s", counter.width, "-");
  }
  putchar('\n');
}

void print_text(const Array<Reading>& before, const Array<Reading>& readings) {
  print_head(false);
  for (const Reading& reading : readings)
    print_values(reading);
  if (before.empty()) return;
  print_head(true);
  for (size_t index = 0; index < readings.size(); ++index)
    print_rates(before[index], readings[index]);
}

void put_rates(Json& json, const Reading& before, const Reading& reading) {
  json.begin_object();
  for (const Counter& counter : kCounters) {
    json.key(counter.name);
    if (auto per_second = rate(before, reading, counter))
      json.real(*per_second);
    else
      json.null();
  }
  json.end_object();
}

void print_json(const Array<Reading>& before, const Array<Reading>& readings) {
  Json json;
  json.begin_array();
  for (size_t index = 0; index < readings.size(); ++index) {
    const Reading& reading = readings[index];
    json.begin_object();
    json.member("interface", reading.name);
    for (const Counter& counter : kCounters)
      json.member(counter.name, reading.counters.*counter.member);
    json.key("per_second");
    if (before.empty())
      json.null();
    else
      put_rates(json, before[index], reading);
    json.end_object();
  }
  json.end_array();
  json.print();
}

void print(const Invocation& call, const Array<Reading>& before, const Array<Reading>& readings) {
  if (call.json())
    print_json(before, readings);
  else
    print_text(before, readings);
}

// Prints until the count is reached, or until nobody reads any more.
void watch(const Invocation& call, Array<Reading>& readings, uint32_t interval, uint32_t count) {
  Array<Reading> before;
  for (uint32_t printed = 1;; ++printed) {
    take(readings);
    print(call, before, readings);
    if (fflush(stdout) != 0 || printed == count) return;
    before.clear();
    for (const Reading& reading : readings)
      before.add(reading);
    pause_for(interval);
    if (!call.json()) putchar('\n');
  }
}

} // namespace

int run_stat(const Invocation& call) {
  constexpr uint32_t kShortest = 100, kDefault = 1000, kLongest = 3600000; // milliseconds
  auto interval = call.option_time("interval", kDefault, kShortest, kLongest);
  if (!interval) return kUsage;
  auto count = call.option_number("count", 0, 1);
  if (!count) return kUsage;
  if (!call.has("watch") && (call.has("interval") || call.has("count")))
    return call.wrong("--interval and --count belong to --watch: expected --watch");

  Array<Reading> readings;
  for (const char* interface : call.arguments()) {
    if (auto code = refuse_unknown(call, interface)) return *code;
    warn_of_longer_names(interface);
    add(readings, interface);
  }
  if (call.count() == 0 && !for_each_interface([&](const char* name) { add(readings, name); }))
    return call.refused("the interfaces cannot be listed: %s; try again", strerror(errno));
  if (access("/proc/net/dev", R_OK) != 0) return call.refused("/proc/net/dev: %s; mount /proc", strerror(errno));

  if (call.has("watch")) {
    watch(call, readings, *interval, *count);
    return kSuccess;
  }
  take(readings);
  print(call, {}, readings);
  return kSuccess;
}

} // namespace roq::tool::net
