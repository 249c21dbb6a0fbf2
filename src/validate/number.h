// Numbers that a configuration user types, and the ranges of the gateway's settings.
#ifndef ROQ_VALIDATE_NUMBER_H
#define ROQ_VALIDATE_NUMBER_H

#include "support/numbers.h"
#include <cstdint>

namespace roq::validate {

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The value of a digit, more than 9 for any other character.
constexpr uint32_t digit_at(const char* at) { return static_cast<uint32_t>(*at) - '0'; }

// Digits only, and at least one.
bool is_number(const char* text);

enum class LeadingZeros : bool { refused, allowed };

// One to three digits.
bool is_three_digit_number(const char* text, LeadingZeros leading_zeros);

// The value of what is_number accepts, 2147483647 when it is larger.
inline int32_t value_of(const char* number) { return parse_signed(number).value; }

constexpr bool is_within(int32_t value, int32_t minimum, int32_t maximum) {
  return minimum <= value && value <= maximum;
}

// A number within the bounds.
bool is_number_within(const char* text, int32_t minimum, int32_t maximum);

// One to `maximum` characters.
bool has_length_up_to(const char* text, uint32_t maximum);

constexpr bool is_bool(uint32_t value) { return value < 2; }
constexpr bool is_port(uint32_t value) { return value - 1 <= 65534; }

// All ones stands for "none" and passes.
constexpr bool is_vlan_id(uint32_t value) { return value + 1 < 4096; }
constexpr bool is_vlan_id_other_than_0(uint32_t value) { return value != 0 && is_vlan_id(value); }
constexpr bool is_priority(uint32_t value) { return value + 1 < 9; }

} // namespace roq::validate

#endif
