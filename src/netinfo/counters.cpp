#include "netinfo/counters.h"

#include "netinfo/fields.h"
#include "support/numbers.h"
#include <algorithm>
#include <bit>
#include <cstring>

namespace roq::netinfo {
namespace {

constexpr size_t kLineSize = 512;
constexpr unsigned kHeaderLines = 2;

struct DeviceColumn {
  enum : size_t { received = 1, sent = 9, count = 17 };
};
using DeviceFields = Fields<DeviceColumn::count, 32>;

bool is_decimal(char c) { return c >= '0' && c <= '9'; }

// Old kernels print the first counter flush against the colon behind the name: puts a blank between. A line that
// fills its buffer loses its last character.
void separate_first_counter(char (&line)[kLineSize]) {
  char* colon = strchr(line, ':');
  if (colon == nullptr || !is_decimal(colon[1])) return;
  char* counter = colon + 1;
  size_t room = kLineSize - 1 - static_cast<size_t>(counter + 1 - line);
  size_t length = std::min(strlen(counter), room);
  memmove(counter + 1, counter, length);
  *counter = ' ';
  counter[1 + length] = '\0';
}

void fill(RoqIfcStat* counters, const DeviceFields& device) {
  constexpr size_t kEachWay = 4;
  uint32_t values[2 * kEachWay];
  for (size_t i = 0; i < kEachWay; ++i) {
    values[i] = parse_unsigned(device[DeviceColumn::received + i]).value;
    values[kEachWay + i] = parse_unsigned(device[DeviceColumn::sent + i]).value;
  }
  *counters = std::bit_cast<RoqIfcStat>(values);
}

} // namespace

void read_counters(LineReader& table, const char* name, RoqIfcStat* counters) {
  char line[kLineSize];
  table.skip(line, kHeaderLines);
  while (table.next(line)) {
    separate_first_counter(line);
    if (strstr(line, name) == nullptr) continue;
    DeviceFields device;
    device.split(line);
    fill(counters, device);
    return;
  }
}

} // namespace roq::netinfo
