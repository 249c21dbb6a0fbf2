#include "json.h"

#include <cmath>
#include <gtest/gtest.h>
#include <string>

namespace {

using roq::tool::Json;
using namespace std::string_view_literals;

std::string text_of(std::string_view value) {
  Json json;
  json.text(value);
  return std::string(json.view());
}

TEST(ToolJson, SeparatesMembersAndElements) {
  Json json;
  json.begin_object();
  json.member("a", 1);
  json.key("b");
  json.begin_array();
  json.number(-2);
  json.boolean(true);
  json.null();
  json.begin_array();
  json.end_array();
  json.end_array();
  json.member("c", "x");
  json.end_object();
  EXPECT_EQ(json.view(), R"({"a":1,"b":[-2,true,null,[]],"c":"x"})");
}

TEST(ToolJson, EscapesWhatATextMayNotHold) {
  EXPECT_EQ(text_of("a\"b\\c"), R"("a\"b\\c")");
  EXPECT_EQ(text_of("\n\r\t\x01\x1f\x7f"), R"("\n\r\t\u0001\u001f\u007f")");
  EXPECT_EQ(text_of("\0x"sv), R"("\u0000x")");
}

TEST(ToolJson, KeepsUtf8) { EXPECT_EQ(text_of("grün €\xF0\x9F\x98\x80"), "\"grün €\xF0\x9F\x98\x80\""); }

TEST(ToolJson, ReplacesEveryByteThatIsNoUtf8) {
  EXPECT_EQ(text_of("\xFF"), "\"\xEF\xBF\xBD\"");
  // A continuation alone, an overlong form, a surrogate, a value behind the last one, a sequence cut off.
  for (std::string_view bad :
       {"\x80"sv, "\xC0\xAF"sv, "\xC1\x81"sv, "\xE0\x80\x80"sv, "\xED\xA0\x80"sv, "\xF0\x80\x80\x80"sv,
        "\xF4\x90\x80\x80"sv, "\xF5\x80\x80\x80"sv, "\xE2\x82"sv, "\xF0\x9F\x98"sv, "\xC3"sv}) {
    std::string expected = "\"";
    for (size_t at = 0; at < bad.size(); ++at)
      expected += "\xEF\xBF\xBD";
    EXPECT_EQ(text_of(bad), expected + "\"");
  }
}

TEST(ToolJson, WritesBytesAsHexAndAsTextWhereTheyAreOne) {
  Json json;
  json.bytes("ab");
  EXPECT_EQ(json.view(), R"({"text":"ab","hex":"6162"})");
  Json binary;
  binary.bytes("\xFF\x00"sv);
  EXPECT_EQ(binary.view(), R"({"text":null,"hex":"ff00"})");
  Json zero;
  zero.bytes("a\0"sv);
  EXPECT_EQ(zero.view(), R"({"text":null,"hex":"6100"})");
}

TEST(ToolJson, WritesNumbers) {
  Json json;
  json.begin_array();
  json.number(INT64_MIN);
  json.real(1.5);
  json.real(NAN);
  json.hex_number(0x20001);
  json.end_array();
  EXPECT_EQ(json.view(), R"([-9223372036854775808,1.500000,null,"0x00020001"])");
}

TEST(ToolJson, HasNullForATextThatIsNone) {
  Json json;
  json.begin_object();
  json.member("a", static_cast<const char*>(nullptr));
  json.member_null("b");
  json.end_object();
  EXPECT_EQ(json.view(), R"({"a":null,"b":null})");
}

TEST(ToolJson, PrintsOneLineAndBeginsAnew) {
  testing::internal::CaptureStdout();
  Json json;
  json.number(1);
  json.print();
  json.number(2);
  json.print();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "1\n2\n");
}

} // namespace
