#include "support/recording_bus.h"
#include <gtest/gtest.h>
#include <roqutil/netinfo.h>

using roq::test::RecordingBus;

TEST(InterfaceType, IsWhatTheConfigurationManagerAnswers) {
  RecordingBus bus;
  for (uint32_t type : {0U, 7U, 0xFFFFFFFFU}) {
    bus.reply_with(type);
    EXPECT_EQ(ROQ_UTIL_GetIntfType("eth0"), type);
  }
}

TEST(InterfaceType, IsAskedOfTheConfigurationManagerForTenSeconds) {
  RecordingBus bus;
  bus.reply_with(3);
  EXPECT_EQ(ROQ_UTIL_GetIntfType("ppp0"), 3U);
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].addressee, "cms");
  EXPECT_EQ(bus.sent[0].type, 0x60007U);
  EXPECT_EQ(bus.sent[0].value, 0U);
  EXPECT_TRUE(bus.sent[0].expects_reply);
  EXPECT_EQ(bus.sent[0].timeout_ms, 10000U);
  EXPECT_EQ(bus.sent[0].payload_length, 5U);
  EXPECT_EQ(bus.sent[0].payload(), std::string("ppp0\0", 5));
}

TEST(InterfaceType, OfALongNameIsAskedWithTheNameCutAndItsFullLength) {
  RecordingBus bus;
  bus.reply_with(3);
  std::string name(1500, 'n');
  EXPECT_EQ(ROQ_UTIL_GetIntfType(name.c_str()), 3U);
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].payload_length, 1501U);
  EXPECT_EQ(bus.sent[0].payload(), name.substr(0, 983) + std::string(1, '\0'));
}

TEST(InterfaceType, IsZeroWithoutAnAnswer) {
  RecordingBus bus;
  for (int32_t code : {-1, 1}) {
    bus.fail_with(code);
    EXPECT_EQ(ROQ_UTIL_GetIntfType("eth0"), 0U);
  }
}

TEST(InterfaceType, OfNoNameIsZeroAndNotAskedFor) {
  RecordingBus bus;
  bus.reply_with(3);
  EXPECT_EQ(ROQ_UTIL_GetIntfType(nullptr), 0U);
  EXPECT_TRUE(bus.sent.empty());
}
