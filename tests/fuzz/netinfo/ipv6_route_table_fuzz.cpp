#include "netinfo/route.h"
#include "table_input.h"
#include <cstdio>
#include <limits>

using namespace roq::fuzz;

namespace {

uint32_t naive_metric(const std::string& text) {
  uint32_t value = 0;
  for (char c : text) {
    size_t digit = std::string_view("0123456789abcdef").find(c);
    if (digit == std::string_view::npos) digit = std::string_view("0123456789ABCDEF").find(c);
    if (digit == std::string_view::npos) break;
    value = value * 16 + static_cast<uint32_t>(digit);
  }
  return value;
}

// The buffer of `size` bytes, which held 'Z' everywhere.
std::string naive_default_route(std::string_view table, size_t size) {
  std::string buffer(size, 'Z');
  const std::string any(32, '0');
  NaiveFields route(10, 64);
  uint32_t best = std::numeric_limits<uint32_t>::max();
  for (const std::string& line : lines_of(table, 1024)) {
    route.split(line);
    if (route[0] != any || route[1] != "00" || route[2] != any || route[3] != "00") continue;
    uint32_t metric = naive_metric(route[5]);
    if (metric >= best) continue;
    best = metric;
    if (size == 0) continue;
    std::string name = route[9];
    name.resize(size - 1, '\0');
    buffer = name + "Z";
  }
  return buffer;
}

} // namespace

// The report on a metric that is no number would fill the screen.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  require(freopen("/dev/null", "w", stdout) != nullptr);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::string_view table(reinterpret_cast<const char*>(data) + 1, size - 1);
  size_t name_size = data[0] % 80;
  std::string name(name_size, 'Z');
  roq::netinfo::LineReader reader = reader_of(table);
  roq::netinfo::find_ipv6_default_route(reader, name.data(), static_cast<uint32_t>(name_size));
  require(name == naive_default_route(table, name_size));
  return 0;
}
