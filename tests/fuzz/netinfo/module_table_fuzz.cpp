#include "netinfo/module.h"
#include "table_input.h"

using namespace roq::fuzz;

namespace {

bool naively_lists(std::string_view table, const std::string& name) {
  for (const std::string& line : lines_of(table, 512)) {
    size_t at = line.find(name);
    if (at != std::string::npos && line.compare(at + name.size(), 1, " ") == 0) return true;
  }
  return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NamedTable input = split_name(data, size);
  roq::netinfo::LineReader reader = reader_of(input.table);
  require(roq::netinfo::lists_module(reader, input.name.c_str()) == naively_lists(input.table, input.name));
  return 0;
}
