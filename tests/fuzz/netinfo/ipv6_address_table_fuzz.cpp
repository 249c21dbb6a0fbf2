#include "netinfo/address.h"
#include "table_input.h"
#include <arpa/inet.h>

using namespace roq::fuzz;

namespace {

std::string with_groups(const std::string& digits) {
  std::string text;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && i % 4 == 0) text += ':';
    text += digits[i];
  }
  return text;
}

std::string naive_link_local_address(std::string_view table, const std::string& name) {
  std::string address, device;
  for (const std::string& line : lines_of(table, 256)) {
    std::vector<std::string_view> words = words_of(line, 6);
    if (!words.empty()) address = words[0].substr(0, 63);
    if (words.size() > 1) device = words.back().substr(0, 63);
    uint8_t bytes[16];
    if (device != name || inet_pton(AF_INET6, with_groups(address).c_str(), bytes) != 1) continue;
    if (bytes[0] != 0xfe || (bytes[1] & 0xc0) != 0x80) continue;
    char text[46];
    return inet_ntop(AF_INET6, bytes, text, sizeof text);
  }
  return "none";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  NamedTable input = split_name(data, size);
  char address[46] = "none";
  roq::netinfo::LineReader reader = reader_of(input.table);
  roq::netinfo::find_link_local_address(reader, input.name.c_str(), address);
  require(address == naive_link_local_address(input.table, input.name));
  return 0;
}
