// The kinds of IPv4 and IPv6 addresses, masks and MAC addresses.
#include "check/kinds.h"
#include "check/rules.h"
#include <arpa/inet.h>
#include <cstring>
#include <roqutil/validate.h>

namespace roq::tool::check {
namespace {

constexpr size_t kLongestQuad = 15;
constexpr size_t kLongestMaskLookedAt = 19;
constexpr size_t kLongestMac = 17;

template <uint32_t (*function)(const char*)> bool accepts_text(const Value& value) {
  return function(value.text()) == 1;
}

Text missing_field(int number) { return say("field %d is missing", number); }

Text broken_length_or_dots(std::string_view text) {
  if (text.size() > kLongestQuad) return say("it is longer than %zu characters", kLongestQuad);
  if (size_t dots = count_of(text, '.'); dots != 3) return say("it has %zu dots, not 3", dots);
  return {};
}

Text ip_rule(const Value& value) {
  if (Text broken = broken_length_or_dots(value.text()); !broken.empty()) return broken;
  Fields fields(value.text(), '.');
  for (int i = 1; i <= 4; ++i) {
    auto field = fields.next();
    if (!field) return missing_field(i);
    if (!is_digit(field->front())) return say("field %d does not begin with a digit", i);
    if (!are_digits(*field)) return say("field %d is no number", i);
    if (value_of(*field) > 255) return say("field %d is above 255", i);
  }
  return {};
}

Text class_rule(std::string_view text, bool is_multicast) {
  if (Text broken = broken_length_or_dots(text); !broken.empty()) return broken;
  if (text == "0.0.0.0" || text == "255.255.255.255") return say("it is never the address of a host or group");
  Fields fields(text, '.');
  int32_t octets[4];
  for (int i = 1; i <= 4; ++i) {
    auto field = fields.next();
    if (!field) return missing_field(i);
    if (!are_digits(*field) || field->size() > 3) return say("field %d is not one to three digits", i);
    if (field->size() > 1 && field->front() == '0') return say("field %d has a leading zero", i);
    octets[i - 1] = value_of(*field);
    if (octets[i - 1] > 255) return say("field %d is above 255", i);
  }
  if (octets[0] == 0) return say("the first field is 0");
  if (is_multicast && (octets[0] < 224 || octets[0] > 239)) return say("the first field is not 224 to 239");
  if (!is_multicast && octets[0] >= 224) return say("the first field is 224 or above");
  if (!is_multicast && octets[0] == 127) return say("the first field is 127, which is loopback");
  if (octets[3] == 255) return say("the last field is 255");
  return {};
}

Text host_rule(const Value& value) { return class_rule(value.text(), false); }
Text mcast_rule(const Value& value) { return class_rule(value.text(), true); }

Text dns_or_host_rule(const Value& value) {
  Text why = class_rule(value.text(), false);
  return why.empty() ? std::move(why) : say("it is shaped like an address, and %s", why.c_str());
}

Text shape_rule(const Value& value) {
  std::string_view text = value.text();
  if (text.size() > kLongestQuad + 1) return say("it is longer than %zu characters", kLongestQuad + 1);
  Fields fields(first(text, kLongestQuad), '.');
  int count = 0;
  while (auto field = fields.next()) {
    ++count;
    if (!are_digits(*field)) return say("field %d is not all digits", count);
  }
  return count == 4 ? Text{} : say("it has %d fields, not 4", count);
}

Text mask_text_rule(std::string_view text) {
  if (text == "0.0.0.0") return say("it is 0.0.0.0");
  Fields fields(first(text, kLongestMaskLookedAt), '.');
  bool ones_ended = false;
  for (int i = 1; i <= 4; ++i) {
    auto field = fields.next();
    if (!field) return missing_field(i);
    if (!are_digits(*field)) return say("field %d is not all digits", i);
    int32_t octet = value_of(*field);
    if (octet > 255) return say("field %d is above 255", i);
    if (ones_ended && octet != 0) return say("field %d is not 0 behind the last one bit", i);
    bool is_partial = ROQ_UTIL_CheckNum(static_cast<uint32_t>(octet)) == 1;
    if (!is_partial && octet != 255) return say("field %d has one bits behind zero bits", i);
    ones_ended = ones_ended || is_partial;
  }
  return {};
}

Text mask_rule(const Value& value) { return mask_text_rule(value.text()); }

bool accepts_host_with_mask(const Value& value) {
  return ROQ_UTIL_ValidateHostIpWithSubnetMask(value.words[0], value.words[1]) == 1;
}

Text host_with_mask_rule(const Value& value) {
  if (Text why = class_rule(value.words[0], false); !why.empty()) return say("address: %s", why.c_str());
  if (Text why = mask_text_rule(value.words[1]); !why.empty()) return say("mask: %s", why.c_str());
  in_addr_t address = inet_addr(value.words[0]), mask_bits = inet_addr(value.words[1]);
  if ((address & mask_bits) == address) return say("the host part is all zeros");
  if ((address | ~mask_bits) == address) return say("the host part is all ones");
  return {};
}

// Reads all words as octets. A word that is no address leaves the rule that says so.
template <size_t count> Text read_octets(const Value& value, uint32_t (&octets)[count][4]) {
  for (size_t i = 0; i < count; ++i) {
    if (ROQ_UTIL_IpAddrSplit(value.words[i], octets[i]) != 1)
      return say("word %zu is not four numbers of 0 to 255", i + 1);
  }
  return {};
}

bool accepts_broadcast(const Value& value) {
  uint32_t octets[2][4];
  if (!read_octets(value, octets).empty()) return false;
  int32_t address[4], mask_octets[4];
  memcpy(address, octets[0], sizeof address);
  memcpy(mask_octets, octets[1], sizeof mask_octets);
  return ROQ_UTIL_ValidateBroadcastIp(address, mask_octets) == 1;
}

Text broadcast_rule(const Value& value) {
  uint32_t octets[2][4];
  if (Text why = read_octets(value, octets); !why.empty()) return why;
  const auto& address = octets[0];
  const auto& bits = octets[1];
  size_t index = 0;
  while (index < 4 && bits[index] == 255)
    ++index;
  if (index == 4) return say("the mask leaves no bits for hosts");
  if ((address[index] | (255 - bits[index])) != address[index])
    return say("field %zu has a host bit that is zero", index + 1);
  for (size_t i = index + 1; i < 4; ++i) {
    if (address[i] != 255) return say("field %zu is not 255", i + 1);
    if (index > 0 && bits[i] != 0) return say("field %zu of the mask is not 0", i + 1);
  }
  return index == 0 ? say("the first field has more than the host bits") : Text{};
}

bool accepts_same_subnet(const Value& value) {
  uint32_t octets[4][4];
  return read_octets(value, octets).empty() &&
         ROQ_UTIL_ValidateIpSameSubNet(octets[0], octets[1], octets[2], octets[3]) == 1;
}

Text same_subnet_rule(const Value& value) {
  uint32_t octets[4][4];
  if (Text why = read_octets(value, octets); !why.empty()) return why;
  for (size_t i = 0; i < 4; ++i) {
    uint32_t one = octets[0][i] & octets[1][i], other = octets[2][i] & octets[3][i];
    if (one != other) return say("field %zu differs under the masks: %u and %u", i + 1, one, other);
  }
  return {};
}

bool accepts_mask_octet(const Value& value) {
  auto octet = unsigned_number(value.text());
  return octet && ROQ_UTIL_CheckNum(*octet) == 1;
}

Text mask_octet_rule(const Value& value) {
  if (!unsigned_number(value.text())) return say("it is no number of 32 bits");
  return say("it is none of 0, 128, 192, 224, 240, 248, 252 and 254");
}

int hex_value(char c) {
  if (is_digit(c)) return c - '0';
  char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

Text mac_rule(const Value& value) {
  std::string_view text = value.text();
  if (text.size() > kLongestMac) return say("it is longer than %zu characters", kLongestMac);
  Fields groups(text, ':');
  for (int i = 1; i <= 6; ++i) {
    auto group = groups.next();
    if (!group) return say("group %d is missing", i);
    if (hex_value(group->front()) < 0) return say("group %d does not begin with a hexadecimal digit", i);
    std::string_view digits = *group;
    if (digits.size() > 2 && digits[0] == '0' && (digits[1] | 0x20) == 'x') digits.remove_prefix(2);
    int octet = 0;
    for (char digit : digits) {
      if (hex_value(digit) < 0) return say("group %d is no hexadecimal number", i);
      octet = octet > 255 ? octet : octet * 16 + hex_value(digit);
    }
    if (octet > 255) return say("group %d is above ff", i);
  }
  return {};
}

Text ipv6_rule(const Value& value) {
  in6_addr address;
  return inet_pton(AF_INET6, value.text(), &address) > 0 ? Text{} : say("it is no IPv6 address");
}

Text host_ipv6_rule(const Value& value) {
  in6_addr address;
  if (inet_pton(AF_INET6, value.text(), &address) <= 0) return say("it is no IPv6 address");
  if (IN6_IS_ADDR_UNSPECIFIED(&address)) return say("it is the unspecified address");
  if (IN6_IS_ADDR_LOOPBACK(&address)) return say("it is the loopback address");
  if (IN6_IS_ADDR_MULTICAST(&address)) return say("it is a multicast address");
  return {};
}

Text global_ipv6_rule(const Value& value) {
  if (Text why = host_ipv6_rule(value); !why.empty()) return why;
  in6_addr address;
  inet_pton(AF_INET6, value.text(), &address);
  return IN6_IS_ADDR_LINKLOCAL(&address) ? say("it is link-local") : Text{};
}

} // namespace

constinit const Kind ip{1, accepts_text<ROQ_UTIL_ValidateIpAddress>, ip_rule};
constinit const Kind host{1, accepts_text<ROQ_UTIL_ValidateHostIpAddress>, host_rule};
constinit const Kind mcast{1, accepts_text<ROQ_UTIL_ValidateMCastIpAddress>, mcast_rule};
constinit const Kind dns_or_host{1, accepts_text<ROQ_UTIL_ValidateDnsOrHostAddress>, dns_or_host_rule};
constinit const Kind shape{1, accepts_text<ROQ_UTIL_IsIpFormat>, shape_rule};
constinit const Kind mask{1, accepts_text<ROQ_UTIL_ValidateSubnetMask>, mask_rule};
constinit const Kind host_with_mask{2, accepts_host_with_mask, host_with_mask_rule};
constinit const Kind broadcast{2, accepts_broadcast, broadcast_rule};
constinit const Kind same_subnet{4, accepts_same_subnet, same_subnet_rule};
constinit const Kind mask_octet{1, accepts_mask_octet, mask_octet_rule};
constinit const Kind mac{1, accepts_text<ROQ_UTIL_ValidateMacAddress>, mac_rule};
constinit const Kind ipv6{1, accepts_text<ROQ_UTIL_ValidateIpv6Address>, ipv6_rule};
constinit const Kind host_ipv6{1, accepts_text<ROQ_UTIL_ValidateHostIpv6Address>, host_ipv6_rule};
constinit const Kind global_ipv6{1, accepts_text<ROQ_UTIL_ValidateGlobalIpv6Address>, global_ipv6_rule};

} // namespace roq::tool::check
