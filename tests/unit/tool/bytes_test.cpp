#include "bytes.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace roq::tool;
using namespace std::string_view_literals;

std::string shown(std::string_view bytes, size_t limit = 1000) {
  Text out;
  append_readable(out, bytes, limit);
  return out.c_str();
}

TEST(ToolUtf8, IsWellFormedOrNot) {
  for (std::string_view good :
       {""sv, "plain"sv, "gr\xC3\xBCn"sv, "\xE2\x82\xAC"sv, "\xF0\x9F\x98\x80"sv, "\xF4\x8F\xBF\xBF"sv})
    EXPECT_TRUE(is_utf8(good)) << good;
  // A continuation alone, overlong forms, a surrogate, values behind the last one, sequences cut off.
  for (std::string_view bad :
       {"\x80"sv, "\xC0\xAF"sv, "\xC1\x81"sv, "\xE0\x80\x80"sv, "\xED\xA0\x80"sv, "\xF0\x80\x80\x80"sv,
        "\xF4\x90\x80\x80"sv, "\xF5\x80\x80\x80"sv, "\xE2\x82"sv, "\xF0\x9F\x98"sv, "\xC3"sv, "a\xFF"sv})
    EXPECT_FALSE(is_utf8(bad)) << bad;
}

TEST(ToolHex, IsPairsOfDigits) {
  EXPECT_EQ(parse_hex("00fF10")->view(), "\x00\xFF\x10"sv);
  EXPECT_EQ(parse_hex("")->view(), "");
  for (const char* bad : {"0", "000", "0g", "g0", "00 11", "0x00"})
    EXPECT_FALSE(parse_hex(bad)) << bad;
}

TEST(ToolReadable, LeavesNothingForATerminalToObey) {
  EXPECT_EQ(shown("plain text"), "plain text");
  EXPECT_EQ(shown("a\nb\tc\r\\"), R"(a\nb\tc\r\\)");
  EXPECT_EQ(shown("\0\x1b[31m\x7f\xff"sv), R"(\x00\x1b[31m\x7f\xff)");
  EXPECT_EQ(shown("grün"), "grün");
  EXPECT_EQ(shown("\xC2\x9B"), R"(\xc2\x9b)");
}

TEST(ToolReadable, IsCutAtItsLimit) {
  EXPECT_EQ(shown("abcdef", 6), "abcdef");
  EXPECT_EQ(shown("abcdefg", 6), "abcdef...");
}

TEST(ToolOneLine, EscapesAllButBackslashes) {
  EXPECT_STREQ(on_one_line("what\n'\x1b[2J': gr\xC3\xBCn \\n \xFF").c_str(),
               "what\\n'\\x1b[2J': gr\xC3\xBCn \\n \\xff");
}

} // namespace
