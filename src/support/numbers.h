// Numbers as the target's C library reads them, where a long has 32 bits, on every machine; errno is left alone.
#ifndef ROQ_SUPPORT_NUMBERS_H
#define ROQ_SUPPORT_NUMBERS_H

#include <cstdint>
#include <limits>

namespace roq {

// White space of the C locale.
constexpr bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The value of a digit, 36 for what is none in any base.
constexpr unsigned digit_value(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'z') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'Z') return static_cast<unsigned>(c - 'A') + 10;
  return 36;
}

template <typename Value> struct ParsedNumber {
  Value value;     // clamped where the text says more than the type holds
  const char* end; // behind the last character that was used; the text itself when there was no number
};

namespace detail {

struct Digits {
  uint32_t magnitude;
  bool negative, too_large;
  const char* end;
};

inline Digits read_digits(const char* text, unsigned base) {
  const char* at = text;
  while (is_space(*at))
    ++at;
  Digits digits{0, *at == '-', false, text};
  if (*at == '-' || *at == '+') ++at;
  // The prefix belongs to the number only when a digit follows it; else the number is its zero.
  if (base == 16 && at[0] == '0' && (at[1] == 'x' || at[1] == 'X') && digit_value(at[2]) < base) at += 2;
  for (; digit_value(*at) < base; ++at) {
    uint64_t next = uint64_t{digits.magnitude} * base + digit_value(*at);
    if (next > std::numeric_limits<uint32_t>::max()) digits.too_large = true;
    digits.magnitude = static_cast<uint32_t>(next);
    digits.end = at + 1;
  }
  return digits;
}

} // namespace detail

// As strtol, base 10 or 16.
inline ParsedNumber<int32_t> parse_signed(const char* text, unsigned base = 10) {
  detail::Digits digits = detail::read_digits(text, base);
  constexpr auto largest = static_cast<uint32_t>(std::numeric_limits<int32_t>::max());
  bool clamped = digits.too_large || digits.magnitude > largest;
  if (clamped)
    return {digits.negative ? std::numeric_limits<int32_t>::min() : std::numeric_limits<int32_t>::max(), digits.end};
  auto value = static_cast<int32_t>(digits.magnitude);
  return {digits.negative ? -value : value, digits.end};
}

// As strtoul, base 10 or 16: a minus sign negates the value, modulo 2 to the power of 32.
inline ParsedNumber<uint32_t> parse_unsigned(const char* text, unsigned base = 10) {
  detail::Digits digits = detail::read_digits(text, base);
  if (digits.too_large) return {std::numeric_limits<uint32_t>::max(), digits.end};
  return {digits.negative ? 0U - digits.magnitude : digits.magnitude, digits.end};
}

// Moves `text` behind a number in C's notation: hexadecimal behind "0x", octal behind "0", else decimal. False when it
// does not begin with a digit or the number has more than 32 bits.
[[nodiscard]] inline bool parse_c_number(const char*& text, uint32_t& value) {
  if (digit_value(*text) >= 10) return false;
  const bool is_hexadecimal = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  detail::Digits digits = detail::read_digits(text, is_hexadecimal ? 16 : *text == '0' ? 8 : 10);
  text = digits.end;
  value = digits.magnitude;
  return !digits.too_large;
}

} // namespace roq

#endif
