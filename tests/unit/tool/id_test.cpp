#include "gvar/id.h"

#include <gtest/gtest.h>

namespace {

using namespace roq::tool::gvar;

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

} // namespace
