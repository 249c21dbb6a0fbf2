#include "netinfo/modem.h"
#include "table_input.h"

using namespace roq::fuzz;

namespace {

std::string naive_node(std::string_view table, const std::string& keyword) {
  for (std::string line : lines_of(table, 64)) {
    if (line.find(keyword) == std::string::npos) continue;
    line = line.substr(0, line.find('\n'));
    size_t colon = line.find(':');
    if (colon != std::string::npos) return line.substr(colon + 1);
  }
  return "none";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NamedTable input = split_name(data, size);
  char node[63] = "none";
  roq::netinfo::LineReader reader = reader_of(input.table);
  roq::netinfo::find_modem_node(reader, input.name.c_str(), node);
  require(node == naive_node(input.table, input.name));
  return 0;
}
