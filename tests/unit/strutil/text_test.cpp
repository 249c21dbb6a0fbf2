#include "support/allocation_probe.h"
#include "support/guarded_text.h"
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <gtest/gtest.h>
#include <roqutil/strutil.h>
#include <string>
#include <vector>

namespace {

using roq::test::GuardedRoom;

constexpr char kCanary = '\xee';

// What became of the bytes of a text and its terminator, wherever the text lies.
std::string bytes_after(char* (*function)(char*), const std::string& text) {
  static GuardedRoom room(1 << 18);
  std::string bytes = text + '\0';
  std::string after[2];
  for (int side = 0; side < 2; ++side) {
    char* place = side == 0 ? room.hold_at_start(bytes) : room.hold_at_end(bytes);
    errno = 4711;
    EXPECT_EQ(function(place), place);
    EXPECT_EQ(errno, 4711);
    after[side].assign(place, bytes.size());
  }
  EXPECT_EQ(after[0], after[1]) << text;
  return after[0];
}

struct TrimCase {
  std::string text;
  std::string trimmed, trimmed_exc; // all bytes up to the former terminator
  const char* why;
};

std::string zeros(size_t count) { return std::string(count, '\0'); }

const TrimCase kTrims[] = {
    {"  ab  ", "ab" + zeros(4), "ab" + zeros(4), "blanks on both sides: the whole former tail is cleared"},
    {"ab", "ab", "ab", "nothing to remove"},
    {"  ab", "ab" + zeros(2), "ab" + zeros(2), "leading blanks"},
    {"ab  ", "ab" + zeros(2), "ab" + zeros(2), "trailing blanks"},
    {"a b", "a b", "a b", "a blank within"},
    {" a \t b ", "a \t b" + zeros(2), "a \t b" + zeros(2), "white space within"},
    {"\tab\n", "ab" + zeros(2), "ab" + zeros(2), "tab and line end"},
    {" \t\n\v\f\rab \t\n\v\f\r", "ab" + zeros(12), "ab" + zeros(12), "all white space there is"},
    {"\xa0"
     "ab\x85",
     "\xa0"
     "ab\x85",
     "\xa0"
     "ab\x85",
     "bytes that are white space elsewhere"},
    {"\x01"
     "ab\x1f",
     "\x01"
     "ab\x1f",
     "\x01"
     "ab\x1f",
     "control bytes are no white space"},
    {"x", zeros(1), "x", "one character"},
    {" ", zeros(1), zeros(1), "one blank"},
    {"a ", zeros(1) + " ", "a" + zeros(1), "only the first is no white space"},
    {"a   ", zeros(1) + "   ", "a" + zeros(3), "only the first is no white space"},
    {" a", "a" + zeros(1), "a" + zeros(1), "only the last is no white space"},
    {"  a ", "a" + zeros(3), "a" + zeros(3), "one character in between"},
    {"  ", zeros(1) + " ", zeros(2), "all white space"},
    {" \t\n", zeros(1) + "\t\n", zeros(3), "all white space"},
    {"", "", "", "empty"},
};

TEST(StrTrim, RemovesWhiteSpaceAndEmptiesWhatOnlyBeginsWithSomethingElse) {
  for (const TrimCase& each : kTrims) {
    EXPECT_EQ(bytes_after(ROQ_UTIL_StrTrim, each.text), each.trimmed + '\0') << '"' << each.text << "\": " << each.why;
  }
}

TEST(StrTrimExc, RemovesWhiteSpaceWithoutExceptions) {
  for (const TrimCase& each : kTrims) {
    EXPECT_EQ(bytes_after(ROQ_UTIL_StrTrimExc, each.text), each.trimmed_exc + '\0')
        << '"' << each.text << "\": " << each.why;
  }
}

TEST(StrTrim, OfEveryCharacterAloneLeavesNothing) {
  for (int c = 1; c < 256; ++c) {
    std::string text(1, static_cast<char>(c));
    EXPECT_EQ(bytes_after(ROQ_UTIL_StrTrim, text), zeros(2)) << c;
    bool is_white = isspace(c) != 0;
    EXPECT_EQ(bytes_after(ROQ_UTIL_StrTrimExc, text), is_white ? zeros(2) : text + '\0') << c;
  }
}

TEST(StrTrim, OfEveryTwoCharactersKeepsWhatIsNoWhiteSpace) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      std::string text{static_cast<char>(first), static_cast<char>(second)};
      std::string expected = text;
      if (isspace(second) != 0)
        expected[0] = '\0';
      else if (isspace(first) != 0)
        expected = text.substr(1) + zeros(1);
      ASSERT_EQ(bytes_after(ROQ_UTIL_StrTrim, text), expected + '\0') << first << ' ' << second;
    }
  }
}

TEST(StrTrim, TakesLongTexts) {
  std::string blanks(50000, ' ');
  EXPECT_EQ(bytes_after(ROQ_UTIL_StrTrim, blanks + "ab" + blanks), "ab" + zeros(100001));
  EXPECT_EQ(bytes_after(ROQ_UTIL_StrTrimExc, blanks), zeros(50001));
}

TEST(StrTrim, OfNullIsNull) {
  EXPECT_EQ(ROQ_UTIL_StrTrim(nullptr), nullptr);
  EXPECT_EQ(ROQ_UTIL_StrTrimExc(nullptr), nullptr);
}

struct AppendCase {
  const char* text;
  uint32_t size;
  const char* more;
  const char* expected;
  const char* why;
};

constexpr AppendCase kAppends[] = {
    {"abcdefgh", 10, "xyz", "abcdefghx", "cut to what fits"},
    {"abcdefghi", 10, "xyz", "abcdefghi", "full"},
    {"abcdefghij", 10, "xyz", "abcdefghij", "longer than the size says"},
    {"abc", 10, "xyz", "abcxyz", "fits"},
    {"abc", 7, "xyz", "abcxyz", "just fits"},
    {"abc", 6, "xyz", "abcxy", "one too many"},
    {"abc", 4, "xyz", "abc", "room for the terminator only"},
    {"abc", 3, "xyz", "abc", "no room for the terminator"},
    {"abc", 0, "xyz", "abc", "no size"},
    {"", 0, "xyz", "", "no size, empty"},
    {"", 1, "xyz", "", "room for the terminator only, empty"},
    {"", 4, "xyz", "xyz", "empty destination"},
    {"abc", 10, "", "abc", "empty source"},
    {"abc", 0x7FFFFFFF, "xyz", "abcxyz", "a large size"},
    {"abc", 0x80000000, "xyz", "abcxyz", "a size that would be negative"},
    {"abc", 0xFFFFFFFF, "xyz", "abcxyz", "the largest size"},
};

TEST(StrCat, AppendsWhatFits) {
  for (const AppendCase& each : kAppends) {
    char buffer[32];
    std::fill(std::begin(buffer), std::end(buffer), kCanary);
    strcpy(buffer, each.text);
    errno = 4711;
    EXPECT_EQ(ROQ_UTIL_StrCat(buffer, each.size, each.more), buffer) << each.why;
    EXPECT_EQ(errno, 4711);
    EXPECT_STREQ(buffer, each.expected) << each.why;
    for (size_t i = strlen(each.expected) + 1; i < sizeof buffer; ++i)
      EXPECT_EQ(buffer[i], kCanary) << each.why;
  }
}

TEST(StrCat, TouchesNothingBeyondTheBufferNorBehindWhatItTakes) {
  GuardedRoom to(16), from(16);
  char* buffer = to.hold_at_end(std::string_view("ab\0####", 7));
  ROQ_UTIL_StrCat(buffer, 7, from.hold_at_end("cdef"));
  EXPECT_STREQ(buffer, "abcdef");
}

TEST(StrCat, WithANullChangesNothing) {
  char buffer[8] = "abc";
  EXPECT_EQ(ROQ_UTIL_StrCat(nullptr, 8, "x"), nullptr);
  EXPECT_EQ(ROQ_UTIL_StrCat(nullptr, 8, nullptr), nullptr);
  EXPECT_EQ(ROQ_UTIL_StrCat(buffer, 8, nullptr), buffer);
  EXPECT_STREQ(buffer, "abc");
}

struct FieldCase {
  const char* text;
  const char* key;
  int32_t limit;
  const char* field; // null: not found
  const char* why;
};

constexpr FieldCase kFields[] = {
    {"name = eth0 up", "=", 16, "eth0", "white space around"},
    {"name = eth0 up", "=", 2, "et", "cut"},
    {"name = eth0 up", "=", 4, "eth0", "just fits"},
    {"name=eth0", "name=", 16, "eth0", "up to the end of the text"},
    {"name=\t\n\v\f\r eth0\tup", "=", 16, "eth0", "any white space"},
    {"a=1 a=2", "a=", 16, "1", "the first occurrence"},
    {"ba=1", "a", 16, "=1", "a plain substring"},
    {"name=eth0", "=", 0, "", "no character wanted"},
    {"name=eth0", "=", -1, "", "a negative length"},
    {"name=eth0", "=", -2147483647 - 1, "", "the smallest length"},
    {"name=eth0", "=", 1, "e", "one character"},
    {"name=", "=", 16, "", "nothing behind"},
    {"name=  ", "=", 16, "", "only white space behind"},
    {"  eth0 up", "", 16, "eth0", "an empty key is found at the start"},
    {"", "", 16, "", "an empty key in an empty text"},
    {"name=eth0", "name=eth0", 16, "", "the key is the text"},
    {"name=eth0", "x", 16, nullptr, "absent"},
    {"name=eth0", "name=eth0x", 16, nullptr, "longer than the text"},
    {"name=eth0", "NAME", 16, nullptr, "another case"},
    {"", "x", 16, nullptr, "an empty text"},
    {"k\xff\xa0z ", "k", 16, "\xff\xa0z", "bytes above 0x7f"},
    {"name=eth0", "=", 0x7FFFFFFF, "eth0", "the largest length"},
};

TEST(ParseStrInfo, ExtractsTheWordBehindTheKey) {
  for (const FieldCase& each : kFields) {
    char out[40];
    std::fill(std::begin(out), std::end(out), kCanary);
    errno = 4711;
    EXPECT_EQ(ROQ_UTIL_ParseStrInfo(each.text, each.key, out, each.limit), each.field != nullptr ? 1U : 0U) << each.why;
    EXPECT_EQ(errno, 4711);
    size_t written = 0;
    if (each.field != nullptr) {
      EXPECT_STREQ(out, each.field) << each.why;
      written = strlen(each.field) + 1;
    }
    for (size_t i = written; i < sizeof out; ++i)
      EXPECT_EQ(out[i], kCanary) << each.why;
  }
}

TEST(ParseStrInfo, WritesTheTerminatorInAddition) {
  char out[4] = {kCanary, kCanary, kCanary, kCanary};
  EXPECT_EQ(ROQ_UTIL_ParseStrInfo("name = eth0 up", "=", out, 2), 1U);
  EXPECT_EQ(std::string(out, 4), std::string("et\0", 3) + kCanary);
}

TEST(ParseStrInfo, ReadsNothingBehindTheText) {
  GuardedRoom text(16), key(16), to(16);
  char* out = to.at_end(5);
  EXPECT_EQ(ROQ_UTIL_ParseStrInfo(text.hold_at_end(std::string_view("k eth0", 7)),
                                  key.hold_at_end(std::string_view("k", 2)), out, 4),
            1U);
  EXPECT_STREQ(out, "eth0");
}

TEST(ParseStrInfo, RefusesNullPointers) {
  char out[4] = {kCanary, kCanary, kCanary, kCanary};
  EXPECT_EQ(ROQ_UTIL_ParseStrInfo(nullptr, "=", out, 3), 0U);
  EXPECT_EQ(ROQ_UTIL_ParseStrInfo("a=b", nullptr, out, 3), 0U);
  EXPECT_EQ(ROQ_UTIL_ParseStrInfo("a=b", "=", nullptr, 3), 0U);
  EXPECT_EQ(out[0], kCanary);
}

std::string quoted_text(const std::string& text) {
  static GuardedRoom from(4096), to(16384);
  char* out = to.at_end(3 * text.size() + 1);
  EXPECT_EQ(ROQ_UTIL_ConvertStrToShellStr(from.hold_at_end(text + '\0'), out), 1U);
  return out;
}

TEST(ConvertStrToShellStr, QuotesEveryCharacter) {
  EXPECT_EQ(quoted_text("a b"), "'a'' ''b'");
  EXPECT_EQ(quoted_text("ab'c"), R"('a''b'"'"'c')");
  EXPECT_EQ(quoted_text("'"), R"("'")");
  EXPECT_EQ(quoted_text("\""), R"('"')");
  EXPECT_EQ(quoted_text("$`\\!"), R"('$''`''\''!')");
  EXPECT_EQ(quoted_text("\n\xff"), "'\n''\xff'");
  EXPECT_EQ(quoted_text(""), "");
}

TEST(ConvertStrToShellStr, WritesThreeCharactersForOneAndATerminator) {
  char out[8];
  std::fill(std::begin(out), std::end(out), kCanary);
  EXPECT_EQ(ROQ_UTIL_ConvertStrToShellStr("ab", out), 1U);
  EXPECT_EQ(std::string(out, 8), std::string("'a''b'\0", 7) + kCanary);
  EXPECT_EQ(ROQ_UTIL_ConvertStrToShellStr("", out), 1U);
  EXPECT_EQ(std::string(out, 8), std::string("\0a''b'\0", 7) + kCanary);
}

TEST(ConvertStrToShellStr, IsReadBackByTheShell) {
  // Everything but the terminator, as one argument.
  std::string text;
  for (int c = 1; c < 256; ++c)
    text += static_cast<char>(c);
  std::string command = "LC_ALL=C printf %s " + quoted_text(text);
  FILE* shell = popen(command.c_str(), "r");
  ASSERT_NE(shell, nullptr);
  char read_back[512];
  size_t length = fread(read_back, 1, sizeof read_back, shell);
  EXPECT_EQ(pclose(shell), 0);
  EXPECT_EQ(std::string(read_back, length), text);
}

TEST(ConvertStrToShellStr, RefusesNullPointers) {
  char out[4] = {kCanary, kCanary, kCanary, kCanary};
  EXPECT_EQ(ROQ_UTIL_ConvertStrToShellStr(nullptr, out), 0U);
  EXPECT_EQ(ROQ_UTIL_ConvertStrToShellStr("a", nullptr), 0U);
  EXPECT_EQ(out[0], kCanary);
}

TEST(StringHelpers, AllocateNothing) {
  char text[32] = "  key = value  ", out[64];
  roq::test::AllocationProbe probe;
  ROQ_UTIL_StrTrim(text);
  ROQ_UTIL_StrTrimExc(text);
  ROQ_UTIL_StrCat(text, sizeof text, "more");
  ROQ_UTIL_ParseStrInfo(text, "=", out, 16);
  ROQ_UTIL_ConvertStrToShellStr("a'b", out);
  EXPECT_EQ(probe.asked(), 0U);
}

TEST(ParseStrInfo, WorksInPlace) {
  std::string word(300, 'w'), text = "=" + word;
  EXPECT_EQ(ROQ_UTIL_ParseStrInfo(text.data(), "=", text.data(), 1000), 1U);
  EXPECT_STREQ(text.c_str(), word.c_str());
}

TEST(StringHelpers, PrintNothing) {
  char text[32] = "  a = b  ", out[64];
  char* encoded = nullptr;
  uint8_t* bytes = nullptr;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ROQ_UTIL_StrTrim(text);
  ROQ_UTIL_StrTrimExc(text);
  ROQ_UTIL_StrCat(text, 4, "more");
  ROQ_UTIL_ParseStrInfo(text, "?", out, 4);
  ROQ_UTIL_ConvertStrToShellStr("a'b", out);
  ROQ_UTIL_Base64Encode(nullptr, 3, &encoded);
  ROQ_UTIL_Base64Decode("TW*u", 4, &bytes);
  ROQ_UTIL_Base64Decode("TWF", 3, &bytes);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
