#include "support/numbers.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

struct Signed {
  const char* text;
  unsigned base;
  int32_t value;
  size_t used;
  const char* why;
};

constexpr Signed kSigned[] = {
    {"0", 10, 0, 1, "zero"},
    {"42", 10, 42, 2, "digits"},
    {" \t\n\v\f\r42", 10, 42, 8, "white space in front"},
    {"+42", 10, 42, 3, "plus"},
    {"-42", 10, -42, 3, "minus"},
    {"-0", 10, 0, 2, "minus zero"},
    {"42x", 10, 42, 2, "text behind"},
    {"42 ", 10, 42, 2, "a blank behind"},
    {"", 10, 0, 0, "empty"},
    {"  ", 10, 0, 0, "only blanks"},
    {"-", 10, 0, 0, "only a sign"},
    {" +x", 10, 0, 0, "a sign and no digit"},
    {"+-1", 10, 0, 0, "two signs"},
    {"- 1", 10, 0, 0, "a blank behind the sign"},
    {"\xa0"
     "1",
     10, 0, 0, "a byte that is white space in other locales"},
    {"2147483647", 10, 2147483647, 10, "the largest"},
    {"2147483648", 10, 2147483647, 10, "one beyond the largest"},
    {"-2147483648", 10, -2147483647 - 1, 11, "the smallest"},
    {"-2147483649", 10, -2147483647 - 1, 11, "one beyond the smallest"},
    {"4294967295", 10, 2147483647, 10, "all ones"},
    {"4294967296", 10, 2147483647, 10, "beyond 32 bits"},
    {"4294967301", 10, 2147483647, 10, "would wrap to 5"},
    {"-4294967301", 10, -2147483647 - 1, 11, "would wrap to -5"},
    {"18446744073709551621", 10, 2147483647, 20, "would wrap to 5 in 64 bits"},
    {"99999999999999999999999999999999x", 10, 2147483647, 32, "far beyond 64 bits"},
    {"00000000000000000000000000000000007", 10, 7, 35, "leading zeros"},
    {"ff", 16, 255, 2, "hexadecimal"},
    {"Ff", 16, 255, 2, "either case"},
    {"0xff", 16, 255, 4, "prefix"},
    {"-0XfF", 16, -255, 5, "sign and prefix"},
    {"0x", 16, 0, 1, "a prefix without digits is the number 0"},
    {"0xg", 16, 0, 1, "a prefix before something else is the number 0"},
    {"0x0x1", 16, 0, 3, "one prefix only"},
    {"x1", 16, 0, 0, "half a prefix"},
    {"0x10", 10, 0, 1, "no prefix in decimal"},
    {"7fffffff", 16, 2147483647, 8, "the largest in hexadecimal"},
    {"80000000", 16, 2147483647, 8, "one beyond in hexadecimal"},
    {"fg", 16, 15, 1, "the letter behind the last digit"},
};

TEST(ParseSigned, ReadsAsTheTargetsLibraryDoes) {
  for (const Signed& each : kSigned) {
    roq::ParsedNumber<int32_t> parsed = roq::parse_signed(each.text, each.base);
    EXPECT_EQ(parsed.value, each.value) << each.why;
    EXPECT_EQ(static_cast<size_t>(parsed.end - each.text), each.used) << each.why;
  }
}

TEST(ParseUnsigned, ClampsAtAllOnesAndNegatesModulo32Bits) {
  EXPECT_EQ(roq::parse_unsigned("4294967295").value, 4294967295U);
  EXPECT_EQ(roq::parse_unsigned("4294967296").value, 4294967295U);
  EXPECT_EQ(roq::parse_unsigned("-1").value, 4294967295U);
  EXPECT_EQ(roq::parse_unsigned("-4294967295").value, 1U);
  EXPECT_EQ(roq::parse_unsigned("-4294967296").value, 4294967295U);
  EXPECT_EQ(roq::parse_unsigned("99999999999999999999").value, 4294967295U);
  EXPECT_EQ(roq::parse_unsigned("0xffffffff", 16).value, 4294967295U);
  EXPECT_EQ(roq::parse_unsigned("100000000", 16).value, 4294967295U);
}

TEST(ParseSigned, AgreesWithThePlatformOnEveryTextOfTwoBytes) {
  for (unsigned base : {10U, 16U}) {
    for (int first = 1; first < 256; ++first) {
      for (int second = 0; second < 256; ++second) {
        const char text[] = {static_cast<char>(first), static_cast<char>(second), '1', '\0'};
        char* end = nullptr;
        long value = strtol(text, &end, static_cast<int>(base));
        roq::ParsedNumber<int32_t> parsed = roq::parse_signed(text, base);
        ASSERT_EQ(parsed.value, value) << first << ' ' << second;
        ASSERT_EQ(parsed.end, end) << first << ' ' << second;
      }
    }
  }
}

TEST(ParseSigned, LeavesErrnoAlone) {
  errno = 4711;
  roq::parse_signed("99999999999999999999");
  roq::parse_unsigned("99999999999999999999");
  roq::parse_signed("");
  EXPECT_EQ(errno, 4711);
}

TEST(IsSpace, HoldsForTheSixCharactersOfTheDefaultLocale) {
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(roq::is_space(static_cast<char>(c)), c != 0 && strchr(" \t\n\v\f\r", c) != nullptr) << c;
  }
}

TEST(DigitValue, IsThatOfTheDigitOr36) {
  EXPECT_EQ(roq::digit_value('0'), 0U);
  EXPECT_EQ(roq::digit_value('9'), 9U);
  EXPECT_EQ(roq::digit_value('a'), 10U);
  EXPECT_EQ(roq::digit_value('Z'), 35U);
  for (char c : {'/', ':', '@', '[', '`', '{', ' ', '\0', '\x80', '\xff'})
    EXPECT_EQ(roq::digit_value(c), 36U);
}

} // namespace
