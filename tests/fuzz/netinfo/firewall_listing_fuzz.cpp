#include "netinfo/firewall.h"
#include "table_input.h"

using namespace roq::fuzz;

namespace {

std::string naive_rule(std::string_view listing, const std::string& interface) {
  NaiveFields rule(11, 32);
  for (const std::string& line : lines_of(listing, 1024, 2)) {
    rule.split(line);
    if (rule[6] == interface || rule[7] == interface) return rule[0];
  }
  return "none";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NamedTable input = split_name(data, size);
  char number[roq::netinfo::kRuleFieldSize] = "none";
  roq::netinfo::LineReader reader = reader_of(input.table);
  roq::netinfo::find_rule(reader, input.name.c_str(), number);
  require(number == naive_rule(input.table, input.name));
  return 0;
}
