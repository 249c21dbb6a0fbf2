#include "support/allocation_probe.h"
#include "support/guarded_text.h"
#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <optional>
#include <roqutil/strutil.h>
#include <string>

namespace {

using roq::test::AllocationProbe;

using roq::test::GuardedRoom;

GuardedRoom& room() {
  static GuardedRoom shared(1 << 18);
  return shared;
}

template <typename Byte> using Owned = std::unique_ptr<Byte, decltype(&free)>;

// The encoded text, whose terminator is looked at; the bytes end at an inaccessible page.
std::string encoded(const std::string& bytes) {
  char* out = nullptr;
  errno = 4711;
  uint32_t length = ROQ_UTIL_Base64Encode(room().hold_at_end(bytes), static_cast<int32_t>(bytes.size()), &out);
  EXPECT_EQ(errno, 4711);
  if (out == nullptr) return "(null)";
  Owned<char> owned(out, free);
  EXPECT_EQ(out[length], '\0');
  return {out, length};
}

// The decoded bytes, nothing when the text was refused and the output left alone; the text has no terminator.
std::optional<std::string> decoded(const std::string& text) {
  static uint8_t canary = 0;
  uint8_t* out = &canary;
  errno = 4711;
  uint32_t length = ROQ_UTIL_Base64Decode(room().hold_at_end(text), static_cast<uint32_t>(text.size()), &out);
  EXPECT_EQ(errno, 4711);
  if (out == &canary) {
    EXPECT_EQ(length, 0U);
    return {};
  }
  if (out == nullptr) {
    EXPECT_EQ(length, 0U);
    return "(null)";
  }
  Owned<uint8_t> owned(out, free);
  EXPECT_EQ(out[length], 0);
  return std::string(out, out + length);
}

struct Vector {
  std::string bytes;
  const char* text;
};

const Vector kVectors[] = {
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {"M", "TQ=="},
    {"Ma", "TWE="},
    {"Man", "TWFu"},
    {std::string(3, '\0'), "AAAA"},
    {"\xff\xff\xff", "////"},
    {"\xfb\xef\xbe", "++++"},
    {std::string("\x14\xfb\x9c\x03\xd9\x7e", 6), "FPucA9l+"},
    {std::string("\x14\xfb\x9c\x03\xd9", 5), "FPucA9k="},
    {std::string("\x14\xfb\x9c\x03", 4), "FPucAw=="},
};

TEST(Base64, KnowsTheStandardsVectors) {
  for (const Vector& each : kVectors) {
    EXPECT_EQ(encoded(each.bytes), each.text);
    EXPECT_EQ(decoded(each.text), each.bytes);
  }
}

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

TEST(Base64, EncodesAndDecodesEveryByte) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    std::string bytes(1, static_cast<char>(byte));
    std::string text{kAlphabet[byte >> 2], kAlphabet[(byte & 3) << 4], '=', '='};
    ASSERT_EQ(encoded(bytes), text);
    ASSERT_EQ(decoded(text), bytes);
  }
}

TEST(Base64, EncodesAndDecodesEveryTwoBytes) {
  for (unsigned value = 0; value < 65536; ++value) {
    std::string bytes{static_cast<char>(value >> 8), static_cast<char>(value)};
    std::string text{kAlphabet[value >> 10], kAlphabet[value >> 4 & 63], kAlphabet[(value & 15) << 2], '='};
    ASSERT_EQ(encoded(bytes), text);
    ASSERT_EQ(decoded(text), bytes);
  }
}

TEST(Base64, EncodesAndDecodesEveryDigitInEveryPlaceOfAGroup) {
  for (int place = 0; place < 4; ++place) {
    for (unsigned value = 0; value < 64; ++value) {
      std::string text = "AAAAAAAAAAAA";
      text[static_cast<size_t>(4 + place)] = kAlphabet[value];
      std::optional<std::string> bytes = decoded(text);
      ASSERT_TRUE(bytes.has_value());
      ASSERT_EQ(encoded(*bytes), text);
    }
  }
}

std::string some_bytes(size_t length) {
  std::string bytes;
  uint32_t state = 2463534242U + static_cast<uint32_t>(length);
  for (size_t i = 0; i < length; ++i) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    bytes += static_cast<char>(state);
  }
  return bytes;
}

TEST(Base64, GivesBackBytesOfEveryShortLength) {
  for (size_t length = 1; length <= 300; ++length) {
    std::string bytes = some_bytes(length);
    std::string text = encoded(bytes);
    EXPECT_EQ(text.size(), (length + 2) / 3 * 4);
    EXPECT_EQ(decoded(text), bytes) << length;
  }
}

TEST(Base64, GivesBackBytesUpTo100Kilobytes) {
  for (size_t length : {1000U, 1023U, 1024U, 1025U, 4096U, 65535U, 65536U, 65537U, 99998U, 99999U, 100000U, 102400U}) {
    std::string bytes = some_bytes(length);
    EXPECT_EQ(decoded(encoded(bytes)), bytes) << length;
  }
}

TEST(Base64Encode, RefusesMissingInputAndSetsTheOutputToNull) {
  char canary;
  for (int32_t length : {0, -1, std::numeric_limits<int32_t>::min()}) {
    char* out = &canary;
    EXPECT_EQ(ROQ_UTIL_Base64Encode("abc", length, &out), 0U) << length;
    EXPECT_EQ(out, nullptr) << length;
  }
  char* out = &canary;
  EXPECT_EQ(ROQ_UTIL_Base64Encode(nullptr, 3, &out), 0U);
  EXPECT_EQ(out, nullptr);
}

TEST(Base64Encode, RefusesAMissingOutput) {
  EXPECT_EQ(ROQ_UTIL_Base64Encode("abc", 3, nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_Base64Encode(nullptr, 0, nullptr), 0U);
}

TEST(Base64Encode, RefusesWhenTheHeapIsExhausted) {
  char canary;
  char* out = &canary;
  AllocationProbe probe(1);
  errno = 4711;
  uint32_t length = ROQ_UTIL_Base64Encode("abc", 3, &out);
  int left_in_errno = errno;
  EXPECT_EQ(length, 0U);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(left_in_errno, 4711);
  EXPECT_EQ(probe.asked(), 1U);
}

TEST(Base64Encode, AllocatesOnceAndNothingOnRefusal) {
  AllocationProbe probe;
  char* out = nullptr;
  ROQ_UTIL_Base64Encode("abc", 0, &out);
  ROQ_UTIL_Base64Encode(nullptr, 3, &out);
  ROQ_UTIL_Base64Encode("abc", 3, nullptr);
  EXPECT_EQ(probe.asked(), 0U);
  ROQ_UTIL_Base64Encode("abc", 3, &out);
  EXPECT_EQ(probe.asked(), 1U);
  free(out);
}

// Digits of the alphabet.
bool is_digit(int c) { return c != 0 && strchr(kAlphabet, c) != nullptr; }

TEST(Base64Decode, RefusesEveryCharacterThatIsNoDigitInEveryPlace) {
  for (size_t place = 0; place < 19; ++place) {
    for (int c = 0; c < 256; ++c) {
      std::string text = "ABCDEFGHIJKLMNOPQRS";
      text[place] = static_cast<char>(c);
      bool is_padding = c == '=' && place == 18;
      ASSERT_EQ(decoded(text).has_value(), is_digit(c) || is_padding) << place << ' ' << c;
    }
  }
}

struct RefusalCase {
  std::string text;
  const char* why;
};

const RefusalCase kRefusals[] = {
    {"TQ=A", "padding that is not at the end"},
    {"T=QA", "padding within"},
    {"=TQA", "padding in front"},
    {"T===", "three paddings"},
    {"====", "four paddings"},
    {"TWFu===", "three paddings behind a group"},
    {"TWFu====", "four paddings behind a group"},
    {"TQ= =", "a blank within the padding"},
    {"TWFu TWFu", "a blank"},
    {"TWFu\nTWFu", "a line end"},
    {"TWFu\n", "a line end at the end"},
    {" TWFu", "a blank in front"},
    {"TW*u", "an asterisk"},
    {"TW-u", "the alphabet for addresses"},
    {"TW_u", "the alphabet for addresses"},
    {"TW,u", "between + and /"},
    {"TW:u", "behind the digits"},
    {"TW@u", "in front of the letters"},
    {"TW[u", "behind the capital letters"},
    {"TW`u", "in front of the small letters"},
    {"TW{u", "behind the small letters"},
    {"TW|u", "the first entry of a shifted table"},
    {std::string("TW\0u", 4), "a zero byte"},
    {std::string("TWFu\0", 5), "the terminator counted in"},
    {"TW\x80u", "a byte above 0x7f"},
    {"TW\xd4u", "T with its high bit set"},
    {std::string(1000, 'A') + '*', "the last of many"},
    {'*' + std::string(1000, 'A'), "the first of many"},
};

TEST(Base64Decode, RefusesAtOnceAndLeavesTheOutputAlone) {
  for (const RefusalCase& each : kRefusals)
    EXPECT_FALSE(decoded(each.text).has_value()) << each.why;
}

TEST(Base64Decode, AllocatesNothingOnRefusal) {
  uint8_t* out = nullptr;
  for (const RefusalCase& each : kRefusals) {
    AllocationProbe probe;
    ROQ_UTIL_Base64Decode(each.text.data(), static_cast<uint32_t>(each.text.size()), &out);
    ROQ_UTIL_Base64Decode("TWF", 3, &out);
    ROQ_UTIL_Base64Decode("TWFu", 4, nullptr);
    EXPECT_EQ(probe.asked(), 0U) << each.why;
  }
}

TEST(Base64Decode, TakesAnyLengthFromFourOn) {
  EXPECT_EQ(decoded("TWFu"), "Man");
  EXPECT_EQ(decoded("TWFuT"), "Man");
  EXPECT_EQ(decoded("TWFuTQ"), "ManM");
  EXPECT_EQ(decoded("TWFuTWE"), "ManMa");
  EXPECT_EQ(decoded("TWFuTWFu"), "ManMan");
}

TEST(Base64Decode, IgnoresPaddingWhateverTheLength) {
  EXPECT_EQ(decoded("TQ=="), "M");
  EXPECT_EQ(decoded("TWE="), "Ma");
  EXPECT_EQ(decoded("TWE=="), "Ma");
  EXPECT_EQ(decoded("TWFu="), "Man");
  EXPECT_EQ(decoded("TWFu=="), "Man");
  EXPECT_EQ(decoded("TWFuT=="), "Man");
  EXPECT_EQ(decoded("TWFuTQ="), "ManM");
}

TEST(Base64Decode, DropsTheBitsThatALastGroupHasTooMany) {
  EXPECT_EQ(decoded("TR=="), "M");
  EXPECT_EQ(decoded("T///"), std::string("O\xff\xff"));
  EXPECT_EQ(decoded("TWH="), "Ma");
}

TEST(Base64Decode, DoesNotCountTheByteBehindTheLength) {
  const char text[] = "TWFuTWFu";
  uint8_t* out = nullptr;
  ASSERT_EQ(ROQ_UTIL_Base64Decode(text, 5, &out), 3U);
  EXPECT_STREQ(reinterpret_cast<char*>(out), "Man");
  free(out);
  ASSERT_EQ(ROQ_UTIL_Base64Decode(text, 6, &out), 4U);
  free(out);
}

TEST(Base64Decode, SetsTheOutputToNullForMissingOrShortTexts) {
  uint8_t canary;
  for (uint32_t length : {0U, 1U, 2U, 3U, 0x80000000U, 0x80000004U, 0xFFFFFFFFU}) {
    uint8_t* out = &canary;
    EXPECT_EQ(ROQ_UTIL_Base64Decode("TWFu", length, &out), 0U) << length;
    EXPECT_EQ(out, nullptr) << length;
  }
  uint8_t* out = &canary;
  EXPECT_EQ(ROQ_UTIL_Base64Decode(nullptr, 4, &out), 0U);
  EXPECT_EQ(out, nullptr);
}

TEST(Base64Decode, LooksAtTheLengthBeforeTheCharacters) {
  uint8_t canary;
  uint8_t* out = &canary;
  EXPECT_EQ(ROQ_UTIL_Base64Decode("***", 3, &out), 0U);
  EXPECT_EQ(out, nullptr);
}

TEST(Base64Decode, RefusesAMissingOutput) {
  EXPECT_EQ(ROQ_UTIL_Base64Decode("TWFu", 4, nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_Base64Decode(nullptr, 0, nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_Base64Decode("***", 3, nullptr), 0U);
}

TEST(Base64Decode, RefusesWhenTheHeapIsExhausted) {
  uint8_t canary;
  uint8_t* out = &canary;
  AllocationProbe probe(1);
  errno = 4711;
  uint32_t length = ROQ_UTIL_Base64Decode("TWFu", 4, &out);
  int left_in_errno = errno;
  EXPECT_EQ(length, 0U);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(left_in_errno, 4711);
  EXPECT_EQ(probe.asked(), 1U);
}

TEST(Base64, AllocatesTheDocumentedSizes) {
  const std::string text(24, 'A');
  for (uint32_t length = 1; length <= 24; ++length) {
    AllocationProbe probe;
    char* out = nullptr;
    ROQ_UTIL_Base64Encode(text.data(), static_cast<int32_t>(length), &out);
    EXPECT_EQ(probe.last_size(), length * 4 / 3 + 5) << length;
    free(out);
    if (length < 4) continue;
    uint8_t* bytes = nullptr;
    ROQ_UTIL_Base64Decode(text.data(), length, &bytes);
    EXPECT_EQ(probe.last_size(), length * 3 / 4 + 4) << length;
    free(bytes);
  }
}

TEST(Base64Encode, ComputesTheLargestSizeWithoutOverflow) {
  char canary;
  char* out = &canary;
  AllocationProbe probe(1); // fails, so that the bytes are not looked at
  EXPECT_EQ(ROQ_UTIL_Base64Encode("abc", std::numeric_limits<int32_t>::max(), &out), 0U);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(probe.last_size(), 2863311534U);
}

} // namespace
