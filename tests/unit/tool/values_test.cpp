#include "gvar/values.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using namespace roq::tool::gvar;
using namespace std::string_view_literals;

std::string readable(std::string_view bytes, size_t limit = 1000) {
  roq::tool::Text out;
  append_readable(out, bytes, limit);
  return out.c_str();
}

TEST(ToolVariableId, IsModuleAndNumberOrOneNumber) {
  EXPECT_EQ(parse_id("2:1"), 0x00020001U);
  EXPECT_EQ(parse_id("6:65535"), 0x0006FFFFU);
  EXPECT_EQ(parse_id("0x2:0x10"), 0x00020010U);
  EXPECT_EQ(parse_id("0x00020001"), 0x00020001U);
  EXPECT_EQ(parse_id("131073"), 0x00020001U);
  EXPECT_EQ(parse_id("0"), 0U);
}

TEST(ToolVariableId, OfAnyOtherFormIsNone) {
  for (const char* bad :
       {"", ":", "2:", ":1", "7:1", "2:65536", "0x00070000", "4294967295", "2:1:1", "2: 1", "-1:1", "two:1"})
    EXPECT_EQ(parse_id(bad), std::nullopt) << bad;
}

TEST(ToolHex, IsPairsOfDigits) {
  EXPECT_EQ(parse_hex("00fF10")->view(), "\x00\xFF\x10"sv);
  EXPECT_EQ(parse_hex("")->view(), "");
  for (const char* bad : {"0", "000", "0g", "g0", "00 11", "0x00"})
    EXPECT_FALSE(parse_hex(bad)) << bad;
}

TEST(ToolReadable, LeavesNothingForATerminalToObey) {
  EXPECT_EQ(readable("plain text"), "plain text");
  EXPECT_EQ(readable("a\nb\tc\r\\"), R"(a\nb\tc\r\\)");
  EXPECT_EQ(readable("\0\x1b[31m\x7f\xff"sv), R"(\x00\x1b[31m\x7f\xff)");
  EXPECT_EQ(readable("grün"), "grün");
  EXPECT_EQ(readable("\xC2\x9B"), R"(\xc2\x9b)");
}

TEST(ToolReadable, IsCutAtItsLimit) {
  EXPECT_EQ(readable("abcdef", 6), "abcdef");
  EXPECT_EQ(readable("abcdefg", 6), "abcdef...");
}

} // namespace
