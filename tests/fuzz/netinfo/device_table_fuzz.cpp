#include "netinfo/counters.h"
#include "table_input.h"
#include <cctype>
#include <cerrno>
#include <cstring>
#include <limits>

using namespace roq::fuzz;

namespace {

std::string repaired(std::string line) {
  size_t colon = line.find(':');
  if (colon == std::string::npos || colon + 1 == line.size()) return line;
  if (isdigit(static_cast<unsigned char>(line[colon + 1])) == 0) return line;
  line.insert(colon + 1, " ");
  return line.substr(0, 511);
}

// As strtoul where a long has 32 bits.
uint32_t naive_number(const std::string& text) {
  errno = 0;
  const char* digits = text.c_str();
  bool negative = *digits == '-';
  if (*digits == '-' || *digits == '+') ++digits;
  if (isdigit(static_cast<unsigned char>(*digits)) == 0) return 0;
  unsigned long long value = strtoull(digits, nullptr, 10);
  if (value > std::numeric_limits<uint32_t>::max()) return std::numeric_limits<uint32_t>::max();
  auto number = static_cast<uint32_t>(value);
  return negative ? 0U - number : number;
}

RoqIfcStat naive_counters(std::string_view table, const std::string& name, RoqIfcStat counters) {
  for (const std::string& unrepaired : lines_of(table, 512, 2)) {
    std::string line = repaired(unrepaired);
    if (line.find(name) == std::string::npos) continue;
    NaiveFields device(17, 32);
    device.split(line);
    auto number = [&](size_t column) { return naive_number(device[column - 1]); };
    return {number(2), number(3), number(4), number(5), number(10), number(11), number(12), number(13)};
  }
  return counters;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NamedTable input = split_name(data, size);
  RoqIfcStat counters = {1, 2, 3, 4, 5, 6, 7, 8};
  RoqIfcStat expected = naive_counters(input.table, input.name, counters);
  roq::netinfo::LineReader reader = reader_of(input.table);
  roq::netinfo::read_counters(reader, input.name.c_str(), &counters);
  require(memcmp(&counters, &expected, sizeof counters) == 0);
  return 0;
}
