#include "validate/hardware_ipv6.h"

#include "support/fields.h"
#include "support/numbers.h"
#include "support/owners.h"
#include "support/text.h"
#include <arpa/inet.h>
#include <cstdint>

namespace roq::validate {
namespace {

constexpr size_t kLongestMac = sizeof "ff:ff:ff:ff:ff:ff" - 1;

// A hexadecimal number below 256 with any number of digits; the prefix 0x is part of a number.
bool is_mac_group(const char* group) {
  if (group == nullptr || digit_value(*group) >= 16) return false;
  ParsedNumber<int32_t> parsed = parse_signed(group, 16);
  return *parsed.end == '\0' && parsed.value < 256;
}

struct Ipv6Address {
  uint8_t bytes[16];

  bool read(const char* text) {
    ErrnoKeeper keep;
    memset(bytes, 0, sizeof bytes);
    return inet_pton(AF_INET6, text, bytes) > 0;
  }

  // In network order; word 0 holds the bytes 0 to 3.
  uint32_t word(size_t index) const {
    const uint8_t* at = bytes + index * 4;
    return uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | at[3];
  }

  bool is_unspecified_or_loopback() const { return (word(0) | word(1) | word(2)) == 0 && word(3) <= 1; }
  bool is_multicast() const { return bytes[0] == 0xff; }
  bool is_link_local() const { return (word(0) & 0xffc00000) == 0xfe800000; }
  bool is_host() const { return !is_unspecified_or_loopback() && !is_multicast(); }
};

} // namespace

bool is_mac_address(const char* text) {
  if (is_longer_than(text, kLongestMac)) return false;
  char copy[kLongestMac + 1];
  copy_cut(copy, sizeof copy, text);
  FieldSplitter groups(copy, ':');
  for (int i = 0; i < 6; ++i) {
    if (!is_mac_group(groups.next())) return false;
  }
  return true;
}

bool is_ipv6_address(const char* text) {
  Ipv6Address address;
  return address.read(text);
}

bool is_host_ipv6_address(const char* text) {
  Ipv6Address address;
  return address.read(text) && address.is_host();
}

bool is_global_ipv6_address(const char* text) {
  Ipv6Address address;
  return address.read(text) && address.is_host() && !address.is_link_local();
}

} // namespace roq::validate
