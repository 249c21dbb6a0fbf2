#include <gtest/gtest.h>
#include <roqutil/msg.h>

TEST(Version, IsTheBannerOfThisBuild) {
  EXPECT_STREQ(ROQ_UTIL_GetVersion(), "ROQR2.3.0-BUILD075 ROQUTIL <libroqutilcore.a> V1.19");
}

TEST(Version, HasTheSameAddressOnEveryCall) { EXPECT_EQ(ROQ_UTIL_GetVersion(), ROQ_UTIL_GetVersion()); }

TEST(SendMsgToNamedProcess, ReturnsZero) { EXPECT_EQ(ROQ_UTIL_SendMsgToNamedProcess(), 0U); }
