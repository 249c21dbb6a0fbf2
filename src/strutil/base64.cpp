#include "strutil/base64.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace roq::strutil {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// ---- Tests of as many characters at once as a machine word holds

using Word = uintptr_t;

constexpr Word in_every_byte(Word byte) { return ~Word{0} / 0xff * byte; }

constexpr Word kHighBits = in_every_byte(0x80);

// The high bit of a byte tells whether the character there, which is below 0x80, is at least `first`.
constexpr Word at_least(Word characters, char first) {
  return characters + in_every_byte(0x80 - static_cast<Word>(first));
}

constexpr Word are_within(Word characters, char first, char last) {
  return at_least(characters, first) ^ at_least(characters, static_cast<char>(last + 1));
}

Word load_word(const char* from) {
  Word characters;
  memcpy(&characters, from, sizeof characters);
  return characters;
}

// Notes what was found in all words; the tests in the high bits of the bytes are evaluated at the end.
struct DigitTest {
  Word all_digits = ~Word{0};
  Word any_bits = 0;

  void add(Word characters) {
    constexpr Word kLowerCase = in_every_byte('a' ^ 'A');
    all_digits &= are_within(characters, '+', '+') ^ are_within(characters, '/', '9') ^
                  are_within(characters | kLowerCase, 'a', 'z');
    any_bits |= characters;
  }

  bool passed() const { return (all_digits & ~any_bits & kHighBits) == kHighBits; }
};

// ---- Groups of three bytes and four digits

uint32_t load_big_endian(const uint8_t* from) {
  uint32_t bits;
  memcpy(&bits, from, sizeof bits);
  return std::endian::native == std::endian::little ? __builtin_bswap32(bits) : bits;
}

char digit_of(uint32_t bits) { return kAlphabet[bits & 63]; }

// Reads one byte behind the group.
inline void encode_group(const uint8_t* bytes, char* out) {
  uint32_t bits = load_big_endian(bytes);
  out[0] = digit_of(bits >> 26);
  out[1] = digit_of(bits >> 20);
  out[2] = digit_of(bits >> 14);
  out[3] = digit_of(bits >> 8);
}

// An entry for every character from the first to the last of the digits.
template <typename Entry> using DigitTable = std::array<Entry, 'z' - '+' + 1>;

template <typename Entry> constexpr DigitTable<Entry> make_table(Entry (*entry_of)(uint32_t value)) {
  DigitTable<Entry> table{};
  for (uint32_t value = 0; value < 64; ++value)
    table[static_cast<size_t>(kAlphabet[value] - '+')] = entry_of(value);
  return table;
}

template <typename Entry> uint32_t look_up(const DigitTable<Entry>& table, char digit) {
  return table[size_t{static_cast<uint8_t>(digit)} - '+'];
}

constexpr auto kValues = make_table<uint8_t>([](uint32_t value) { return static_cast<uint8_t>(value << 2); });

// The second and the third digit of a group have bits in two bytes each, which lie apart in a little-endian word.
constexpr auto kSecond = make_table<uint32_t>([](uint32_t value) { return value >> 4 | (value & 15) << 12; });
constexpr auto kThird = make_table<uint32_t>([](uint32_t value) { return (value >> 2) << 8 | (value & 3) << 22; });

// Writes one byte behind the group.
inline void decode_group(const char* digits, uint8_t* out) {
  uint32_t word;
  if constexpr (std::endian::native == std::endian::little) {
    word = look_up(kValues, digits[0]) | look_up(kSecond, digits[1]) | look_up(kThird, digits[2]) |
           look_up(kValues, digits[3]) << 14;
  } else {
    word = look_up(kValues, digits[0]) << 24 | look_up(kValues, digits[1]) << 18 | look_up(kValues, digits[2]) << 12 |
           look_up(kValues, digits[3]) << 6;
  }
  memcpy(out, &word, sizeof word);
}

} // namespace

size_t encode_base64(std::span<const uint8_t> bytes, char* out) {
  size_t at = 0;
  char* to = out;
  for (; at + 4 <= bytes.size(); at += 3, to += 4)
    encode_group(&bytes[at], to);
  if (at < bytes.size()) {
    // The last group has no byte behind it.
    size_t left = bytes.size() - at;
    uint8_t last[4] = {};
    std::copy_n(&bytes[at], left, last);
    encode_group(last, to);
    std::fill(to + left + 1, to + 4, '=');
    to += 4;
  }
  return static_cast<size_t>(to - out);
}

size_t length_without_padding(std::span<const char> text) {
  size_t length = text.size();
  if (text[length - 1] != '=') return length;
  return length > 1 && text[length - 2] == '=' ? length - 2 : length - 1;
}

bool are_base64_digits(std::span<const char> text) {
  constexpr size_t kBlock = 4 * sizeof(Word);
  DigitTest test;
  size_t at = 0;
  for (; at + kBlock <= text.size(); at += kBlock) {
    for (size_t i = 0; i < kBlock; i += sizeof(Word))
      test.add(load_word(&text[at + i]));
  }
  for (; at + sizeof(Word) <= text.size(); at += sizeof(Word))
    test.add(load_word(&text[at]));
  for (; at < text.size(); ++at)
    test.add(in_every_byte(static_cast<uint8_t>(text[at])));
  return test.passed();
}

size_t decode_base64(std::span<const char> digits, uint8_t* out) {
  size_t groups = digits.size() / 4;
#ifndef __OPTIMIZE_SIZE__
#pragma GCC unroll 4
#endif
  for (size_t i = 0; i < groups; ++i)
    decode_group(&digits[4 * i], out + 3 * i);
  size_t left = digits.size() % 4;
  size_t written = 3 * groups;
  if (left == 0) return written;
  char last[4] = {'A', 'A', 'A', 'A'};
  std::copy_n(&digits[4 * groups], left, last);
  decode_group(last, out + written);
  return written + left - 1;
}

} // namespace roq::strutil
