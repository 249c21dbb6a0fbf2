#include "support/recording_bus.h"
#include <gtest/gtest.h>
#include <roqutil/msg.h>
#include <string>

TEST(Version, IsTheBannerOfThisBuild) {
  EXPECT_STREQ(ROQ_UTIL_GetVersion(), "ROQR2.3.0-BUILD075 ROQUTIL <libroqutilcore.a> V1.19");
}

TEST(Version, EndsWithTheLibraryVersion) { EXPECT_TRUE(std::string(ROQ_UTIL_GetVersion()).ends_with(" V1.19")); }

TEST(Version, HasTheSameAddressOnEveryCall) { EXPECT_EQ(ROQ_UTIL_GetVersion(), ROQ_UTIL_GetVersion()); }

TEST(Version, PrintsAndSendsNothing) {
  roq::test::RecordingBus bus;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ROQ_UTIL_GetVersion();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(bus.built.empty());
  EXPECT_TRUE(bus.sent.empty());
}

TEST(SendMsgToNamedProcess, ReturnsZeroAndSendsNothing) {
  roq::test::RecordingBus bus;
  EXPECT_EQ(ROQ_UTIL_SendMsgToNamedProcess(), 0U);
  EXPECT_TRUE(bus.built.empty());
  EXPECT_TRUE(bus.sent.empty());
  EXPECT_TRUE(bus.debug_lines.empty());
}
