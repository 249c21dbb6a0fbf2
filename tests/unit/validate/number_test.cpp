#include "judge.h"
#include <limits>
#include <roqutil/validate.h>

namespace {

using roq::test::expect_verdicts;
using roq::test::judge_in_place;
using roq::test::TextCase;

constexpr uint32_t kAllOnes = 0xFFFFFFFF;
constexpr int32_t kSmallest = std::numeric_limits<int32_t>::min();
constexpr int32_t kLargest = std::numeric_limits<int32_t>::max();

constexpr TextCase kNumbers[] = {
    {"0", 1, "a digit"},
    {"007", 1, "leading zeros"},
    {"0123456789", 1, "all digits"},
    {"4294967296", 1, "beyond 32 bits"},
    {"18446744073709551616", 1, "beyond 64 bits"},
    {"", 0, "empty"},
    {"-5", 0, "a minus"},
    {"+5", 0, "a plus"},
    {" 5", 0, "a leading blank"},
    {"5 ", 0, "a trailing blank"},
    {"5\n", 0, "a line end"},
    {"1.5", 0, "a point"},
    {"0x5", 0, "hexadecimal"},
    {"5a", 0, "a letter"},
    {"5\x80", 0, "a byte above 0x7f"},
    {"\xb2", 0, "a byte that is a digit elsewhere"},
};

TEST(ValidateNumber, AcceptsDigitsOnly) { expect_verdicts(ROQ_UTIL_ValidateNumber, kNumbers); }

TEST(ValidateNumber, HasNoLimitOnTheLength) {
  EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateNumber, std::string(200000, '9')), 1U);
  EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateNumber, std::string(200000, '9') + 'x'), 0U);
}

TEST(ValidateNumber, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateNumber(nullptr), 0U); }

constexpr TextCase kThreeNumbers[] = {
    {"0", 1, "one digit"},
    {"9", 1, "one digit"},
    {"00", 1, "two zeros"},
    {"01", 1, "a leading zero"},
    {"007", 1, "leading zeros"},
    {"000", 1, "three zeros"},
    {"10", 1, "two digits"},
    {"999", 1, "three digits"},
    {"", 0, "empty"},
    {"1000", 0, "four digits"},
    {"0000", 0, "four zeros"},
    {"-1", 0, "a sign"},
    {"1a", 0, "a letter"},
    {"a", 0, "a letter"},
    {" 1", 0, "a blank"},
    {"1 ", 0, "a blank"},
    {"12\xff", 0, "a byte above 0x7f"},
};

uint32_t with_zeros(const char* text) { return ROQ_UTIL_ValidateThreeNumberEx(text, 1); }
uint32_t without_zeros(const char* text) { return ROQ_UTIL_ValidateThreeNumberEx(text, 0); }

TEST(ValidateThreeNumber, AcceptsOneToThreeDigits) {
  expect_verdicts(ROQ_UTIL_ValidateThreeNumber, kThreeNumbers);
  expect_verdicts(with_zeros, kThreeNumbers);
}

TEST(ValidateThreeNumberEx, RefusesLeadingZerosWhenTheFlagIsZero) {
  for (const TextCase& each : kThreeNumbers) {
    bool has_leading_zero = each.text[0] == '0' && each.text[1] != '\0';
    EXPECT_EQ(judge_in_place(without_zeros, each.text), has_leading_zero ? 0 : each.expected) << each.text;
  }
}

TEST(ValidateThreeNumberEx, TakesEveryOtherFlagForYes) {
  for (uint32_t flag : {1U, 2U, 256U, 0x80000000U, kAllOnes}) {
    EXPECT_EQ(ROQ_UTIL_ValidateThreeNumberEx("007", flag), 1U) << flag;
  }
}

TEST(ValidateThreeNumberEx, ReadsFourCharactersAtMost) {
  roq::test::GuardedRoom room(16);
  EXPECT_EQ(ROQ_UTIL_ValidateThreeNumber(room.hold_at_end("1234")), 0U);
}

TEST(ValidateThreeNumberEx, RefusesANullPointer) {
  EXPECT_EQ(ROQ_UTIL_ValidateThreeNumberEx(nullptr, 0), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateThreeNumberEx(nullptr, 1), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateThreeNumber(nullptr), 0U);
}

TEST(ValidateNumberRange, IncludesBothBounds) {
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(5, 5, 5), 1U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(4, 5, 7), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(5, 5, 7), 1U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(7, 5, 7), 1U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(8, 5, 7), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(5, 7, 5), 0U);
}

TEST(ValidateNumberRange, ComparesSigned) {
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(-1, -5, 5), 1U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(-6, -5, 5), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(kSmallest, kSmallest, kLargest), 1U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(kLargest, kSmallest, kLargest), 1U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(kSmallest, -5, kLargest), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateNumberRange(kLargest, kSmallest, 5), 0U);
}

struct RangeCase {
  const char* text;
  int32_t minimum, maximum;
  uint32_t expected;
  const char* why;
};

constexpr RangeCase kRanges[] = {
    {"5", 1, 10, 1, "within"},
    {"1", 1, 10, 1, "the lower bound"},
    {"10", 1, 10, 1, "the upper bound"},
    {"0", 1, 10, 0, "below"},
    {"11", 1, 10, 0, "above"},
    {"0010", 1, 10, 1, "leading zeros are decimal"},
    {"-5", -10, 10, 0, "a minus is refused whatever the bounds"},
    {"+5", -10, 10, 0, "a plus"},
    {" 5", -10, 10, 0, "a blank"},
    {"5x", -10, 10, 0, "a letter"},
    {"", -10, 10, 0, "empty"},
    {"5", 10, 1, 0, "bounds the wrong way round"},
    {"0", kSmallest, kLargest, 1, "the widest bounds"},
    {"2147483647", 0, kLargest, 1, "the largest"},
    {"2147483648", 0, kLargest, 1, "one beyond counts as the largest"},
    {"4294967295", 0, kLargest, 1, "all ones count as the largest"},
    {"4294967301", 0, 100, 0, "does not wrap to 5"},
    {"4294967301", 0, kLargest, 1, "counts as the largest"},
    {"18446744073709551621", 0, 100, 0, "does not wrap to 5 in 64 bits"},
    {"99999999999999999999999999", kLargest, kLargest, 1, "any length counts as the largest"},
    {"2147483648", 0, kLargest - 1, 0, "beyond a maximum below the largest"},
    {"2147483648", kSmallest, -1, 0, "never negative"},
};

TEST(ValidateRange, AcceptsNumbersWithinTheBounds) {
  for (const RangeCase& each : kRanges) {
    auto judge = [&](const char* text) { return ROQ_UTIL_ValidateRange(text, each.minimum, each.maximum); };
    EXPECT_EQ(judge_in_place(judge, each.text), each.expected) << each.text << ": " << each.why;
  }
}

TEST(ValidateRange, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateRange(nullptr, kSmallest, kLargest), 0U); }

struct LengthCase {
  const char* text;
  uint32_t maximum;
  uint32_t expected;
};

TEST(ValidateLength, AcceptsOneToMaximumBytes) {
  constexpr LengthCase kLengths[] = {
      {"", 0, 0},           {"", 5, 0},           {"", kAllOnes, 0},  {"a", 0, 0},        {"a", 1, 1},
      {"ab", 1, 0},         {"abcde", 5, 1},      {"abcdef", 5, 0},   {"\xff\x01", 2, 1}, {"  ", 2, 1},
      {"a", 0x7FFFFFFF, 1}, {"a", 0x80000000, 1}, {"a", kAllOnes, 1},
  };
  for (const LengthCase& each : kLengths) {
    auto judge = [&](const char* text) { return ROQ_UTIL_ValidateLength(text, each.maximum); };
    EXPECT_EQ(judge_in_place(judge, each.text), each.expected) << each.text << ' ' << each.maximum;
  }
}

TEST(ValidateLength, CountsLongTexts) {
  std::string text(100000, 'x');
  EXPECT_EQ(ROQ_UTIL_ValidateLength(text.c_str(), 100000), 1U);
  EXPECT_EQ(ROQ_UTIL_ValidateLength(text.c_str(), 99999), 0U);
}

TEST(ValidateLength, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateLength(nullptr, kAllOnes), 0U); }

struct ValueCase {
  uint32_t value;
  uint32_t expected;
};

void expect_values(uint32_t (*predicate)(uint32_t), std::span<const ValueCase> cases) {
  for (const ValueCase& each : cases)
    EXPECT_EQ(predicate(each.value), each.expected) << each.value;
}

TEST(ValidateBool, AcceptsZeroAndOne) {
  constexpr ValueCase kValues[] = {{0, 1}, {1, 1}, {2, 0}, {256, 0}, {0x80000000, 0}, {kAllOnes, 0}};
  expect_values(ROQ_UTIL_ValidateBool, kValues);
}

TEST(ValidatePort, Accepts1To65535) {
  constexpr ValueCase kValues[] = {{0, 0},     {1, 1},     {2, 1},     {80, 1},         {65534, 1},
                                   {65535, 1}, {65536, 0}, {65537, 0}, {0x80000000, 0}, {kAllOnes, 0}};
  expect_values(ROQ_UTIL_ValidatePort, kValues);
}

TEST(ValidateVlanId, Accepts0To4094AndAllOnes) {
  constexpr ValueCase kValues[] = {{0, 1},    {1, 1},    {4093, 1},       {4094, 1},         {4095, 0},
                                   {4096, 0}, {8191, 0}, {0x80000000, 0}, {kAllOnes - 1, 0}, {kAllOnes, 1}};
  expect_values(ROQ_UTIL_ValidateVlanId, kValues);
}

TEST(ValidateVlanIdX, Accepts1To4094AndAllOnes) {
  constexpr ValueCase kValues[] = {{0, 0},    {1, 1},    {4093, 1},       {4094, 1},         {4095, 0},
                                   {4096, 0}, {8191, 0}, {0x80000000, 0}, {kAllOnes - 1, 0}, {kAllOnes, 1}};
  expect_values(ROQ_UTIL_ValidateVlanIdX, kValues);
}

TEST(ValidatePriority, Accepts0To7AndAllOnes) {
  constexpr ValueCase kValues[] = {
      {0, 1}, {1, 1}, {6, 1}, {7, 1}, {8, 0}, {9, 0}, {15, 0}, {0x80000000, 0}, {kAllOnes - 1, 0}, {kAllOnes, 1}};
  expect_values(ROQ_UTIL_ValidatePriority, kValues);
}

} // namespace
