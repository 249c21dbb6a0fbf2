#include "validate/ipv4.h"

#include "support/fields.h"
#include "support/ipv4_text.h"
#include "support/owners.h"
#include "support/text.h"
#include "validate/number.h"
#include <algorithm>
#include <bit>
#include <optional>

namespace roq::validate {
namespace {

constexpr ptrdiff_t kLongestQuad = sizeof "255.255.255.255" - 1;
constexpr size_t kLongestMaskCopy = 19;
constexpr int32_t kOctetLimit = 256;

bool are_equal(const char* text, const char* other) { return strcmp(text, other) == 0; }

// A copy that the fields of a mask or address are split in, cut to 19 characters; null when the heap is exhausted.
MallocPtr<char> copy_for_splitting(const char* text) {
  ErrnoKeeper keep;
  size_t size = std::min(strlen(text), kLongestMaskCopy) + 1;
  MallocPtr<char> copy(static_cast<char*>(malloc(size)));
  if (copy) copy_cut(copy.get(), size, text);
  return copy;
}

// A field that is there, has digits only and a value below 256.
bool is_octet(const char* field) { return field != nullptr && is_number(field) && value_of(field) < kOctetLimit; }

// The address of a dotted quad, its first octet in the highest byte. One pass does for the length, the dots and the
// fields: with three dots and four fields that are not empty there is only one way to stand. A field so long that its
// value wraps makes the text too long.
std::optional<uint32_t> read_quad(const char* text) {
  const char* at = text;
  uint32_t address = 0;
  for (int dots_left = 3;; --dots_left) {
    uint32_t octet = digit_at(at);
    if (octet > 9) return {};
    for (uint32_t digit; (digit = digit_at(++at)) <= 9;)
      octet = octet * 10 + digit;
    if (octet > 255) return {};
    address = address << 8 | octet;
    if (dots_left == 0) break;
    if (*at++ != '.') return {};
  }
  if (*at != '\0' || at - text > kLongestQuad) return {};
  return address;
}

// A field of several digits begins with a zero.
bool has_leading_zeros(const char* quad) {
  for (bool at_start = true; *quad != '\0'; ++quad) {
    if (at_start && quad[0] == '0' && is_digit(quad[1])) return true;
    at_start = *quad == '.';
  }
  return false;
}

} // namespace

bool is_ip_address(const char* text) { return read_quad(text).has_value(); }

bool is_address_of_class(const char* text, AddressClass wanted) {
  std::optional<uint32_t> address = read_quad(text);
  if (!address || has_leading_zeros(text)) return false;
  uint32_t first = *address >> 24;
  uint32_t last = *address & 0xff;
  if (first == 0) return false;
  if (wanted == AddressClass::multicast && (first < 224 || first > 239)) return false;
  if (wanted == AddressClass::host && (first >= 224 || first == 127)) return false;
  return last != 255;
}

bool is_shaped_like_ip(const char* text) {
  // One character more than the copy holds: the sixteenth is lost before it is looked at, and that is meant.
  if (is_longer_than(text, kLongestQuad + 1)) return false;
  char copy[kLongestQuad + 1];
  copy_cut(copy, sizeof copy, text);

  int fields = 0;
  bool all_numbers = true;
  for (const char* field = strtok(copy, "."); field != nullptr && all_numbers; field = strtok(nullptr, ".")) {
    all_numbers = is_number(field);
    ++fields;
  }
  // The state must not go on pointing into this frame: a caller that was splitting a text of its own finds its end.
  static char nothing[1];
  strtok(nothing, ".");
  return all_numbers && fields == 4;
}

bool is_partial_mask_octet(uint32_t value) {
  uint32_t power = 256 - value; // ones in front of zeros only: this is a power of two
  return value < 255 && (power & (power - 1)) == 0;
}

bool is_subnet_mask(const char* text) {
  if (are_equal(text, "0.0.0.0")) return false;
  MallocPtr<char> copy = copy_for_splitting(text);
  if (!copy) return false;

  FieldSplitter fields(copy.get(), '.');
  bool ones_ended = false;
  for (int i = 0; i < 4; ++i) {
    const char* field = fields.next();
    if (!is_octet(field)) return false;
    int32_t value = value_of(field);
    if (ones_ended && value != 0) return false;
    if (is_partial_mask_octet(static_cast<uint32_t>(value)))
      ones_ended = true;
    else if (value != 255)
      return false;
  }
  return true;
}

bool is_host_in_subnet(const char* address_text, const char* mask_text) {
  if (!is_address_of_class(address_text, AddressClass::host)) return false;
  if (!is_subnet_mask(mask_text)) return false;
  in_addr_t address = lenient_ipv4_or_none(address_text);
  in_addr_t mask = lenient_ipv4_or_none(mask_text);
  if ((address & mask) == address) return false;
  return (address | ~mask) != address;
}

bool is_broadcast(Octets<int32_t> address, Octets<int32_t> mask) {
  if (address[0] >= 224) return true;
  if (mask[0] == 127) return true; // the mask, and that is meant
  size_t index = 0;
  while (mask[index] >= 255) {
    if (++index == mask.size()) return false;
  }

  auto host_bits = static_cast<int32_t>(255U - static_cast<uint32_t>(mask[index]));
  if ((address[index] | host_bits) != address[index]) return false;
  switch (index) {
  case 3:
    return true;
  case 2:
    return address[3] == 255 && mask[3] == 0;
  case 1:
    return address[3] == 255 && address[2] == 255 && mask[3] == 0 && mask[2] == 0;
  default: // here the rest of the mask is not looked at, and that is meant
    return (address[0] | host_bits) == host_bits && address[1] == 255 && address[2] == 255 && address[3] == 255;
  }
}

bool is_same_subnet(Octets<uint32_t> address1, Octets<uint32_t> mask1, Octets<uint32_t> address2,
                    Octets<uint32_t> mask2) {
  for (size_t i = 0; i < 4; ++i) {
    if ((address1[i] & mask1[i]) != (address2[i] & mask2[i])) return false;
  }
  return true;
}

bool split_address(const char* text, std::span<uint32_t, 4> octets) {
  MallocPtr<char> copy = copy_for_splitting(text);
  if (!copy) return false;
  FieldSplitter fields(copy.get(), '.');
  for (uint32_t& octet : octets) {
    const char* field = fields.next();
    if (!is_octet(field)) return false;
    octet = static_cast<uint32_t>(value_of(field));
  }
  return true;
}

uint32_t prefix_length(const char* mask) {
  in_addr address;
  if (!parse_lenient_ipv4(mask, address)) return 0;
  return static_cast<uint32_t>(std::countl_one(ntohl(address.s_addr)));
}

} // namespace roq::validate
