#include "netinfo/counters.h"

#include "netinfo/fields.h"
#include "support/numbers.h"
#include <algorithm>
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
  auto value = [&](size_t column) { return parse_unsigned(device[column]).value; };
  using Column = DeviceColumn;
  *counters = {.rx_bytes = value(Column::received),
               .rx_packets = value(Column::received + 1),
               .rx_errors = value(Column::received + 2),
               .rx_drops = value(Column::received + 3),
               .tx_bytes = value(Column::sent),
               .tx_packets = value(Column::sent + 1),
               .tx_errors = value(Column::sent + 2),
               .tx_drops = value(Column::sent + 3)};
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
