#include "netinfo/route.h"
#include "table_input.h"

using namespace roq::fuzz;

namespace {

std::string naive_default_route(std::string_view table) {
  NaiveFields route(11, 32);
  for (const std::string& line : lines_of(table, 1024, 1)) {
    route.split(line);
    if (route[1] == "00000000" && route[7] == "00000000") return route[0];
  }
  return "none";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view table(reinterpret_cast<const char*>(data), size);
  char name[32] = "none";
  roq::netinfo::LineReader reader = reader_of(table);
  roq::netinfo::find_default_route(reader, name);
  require(name == naive_default_route(table));
  return 0;
}
