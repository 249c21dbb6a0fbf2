#include "frame/bus_request.h"
#include "support/recording_bus.h"
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>

using roq::frame::MessageType;
using roq::frame::request_value;
using roq::frame::send_notice;
using roq::test::RecordingBus;

namespace {

uint32_t ask_for_type(const char* text) { return request_value("cms", MessageType::interface_type, text); }

} // namespace

TEST(BusRequest, IsBuiltForItsAddresseeAndTypeWithTheValueZero) {
  RecordingBus bus;
  ask_for_type("eth0");
  ASSERT_EQ(bus.built.size(), 1U);
  EXPECT_EQ(bus.built[0].addressee, "cms");
  EXPECT_EQ(bus.built[0].type, 0x60007U);
  EXPECT_EQ(bus.built[0].value, 0U);
}

TEST(BusRequest, WaitsTenSecondsForItsReply) {
  RecordingBus bus;
  ask_for_type("eth0");
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_TRUE(bus.sent[0].expects_reply);
  EXPECT_EQ(bus.sent[0].timeout_ms, 10000U);
}

TEST(BusRequest, CarriesTheTextWithItsTerminator) {
  RecordingBus bus;
  ask_for_type("ppp0.1");
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].payload_length, 7U);
  EXPECT_EQ(bus.sent[0].payload(), std::string("ppp0.1\0", 7));
}

TEST(BusRequest, CarriesAnEmptyTextAsItsTerminator) {
  RecordingBus bus;
  ask_for_type("");
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].payload_length, 1U);
  EXPECT_EQ(bus.sent[0].payload(), std::string(1, '\0'));
}

TEST(BusRequest, WritesTheLengthAfterTheBuilderRan) {
  RecordingBus bus;
  ask_for_type("eth0");
  ASSERT_EQ(bus.sent.size(), 1U);
  // The builder of these tests scribbles over the length.
  EXPECT_EQ(bus.sent[0].payload_length, 5U);
}

TEST(BusRequest, CarriesTheLongestTextThatFitsWhole) {
  RecordingBus bus;
  std::string text(983, 'x');
  ask_for_type(text.c_str());
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].payload_length, 984U);
  EXPECT_EQ(bus.sent[0].payload(), text + '\0');
}

TEST(BusRequest, CutsALongTextAndTerminatesItButTellsItsFullLength) {
  for (size_t length : {984U, 985U, 2000U}) {
    RecordingBus bus;
    std::string text(length, 'x');
    ask_for_type(text.c_str());
    ASSERT_EQ(bus.sent.size(), 1U);
    EXPECT_EQ(bus.sent[0].payload_length, length + 1);
    EXPECT_EQ(bus.sent[0].payload(), std::string(983, 'x') + '\0');
  }
}

TEST(BusRequest, YieldsTheResultValueOfTheReply) {
  RecordingBus bus;
  for (uint32_t value : {1U, 0U, 0x12345678U, 0xFFFFFFFFU}) {
    bus.reply_with(value);
    EXPECT_EQ(ask_for_type("eth0"), value);
  }
}

TEST(BusRequest, YieldsZeroOnAnyFailureAndLeavesTheReplyPointerAlone) {
  RecordingBus bus;
  for (int32_t code : {-1, 1, 110, INT32_MIN}) {
    bus.fail_with(code);
    // The recording bus leaves an address in the reply pointer that cannot be read or freed.
    EXPECT_EQ(ask_for_type("eth0"), 0U);
  }
}

TEST(BusRequest, PrintsNothingOnFailure) {
  RecordingBus bus;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ask_for_type("eth0");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(bus.debug_lines.empty());
}

// Under a sanitizer the heap keeps no count, but the leak check at the end sees the same. A hundred replies that nobody
// released would take more than 4,000 bytes; blocks that wait in the heap's own cache count as used, too.
TEST(BusRequest, ReleasesTheReply) {
  RecordingBus bus;
  bus.sent.reserve(200);
  bus.built.reserve(200);
  bus.reply_with(1);
  ask_for_type("eth0");
  bus.sent.clear();
  bus.built.clear();
  size_t before = mallinfo2().uordblks;
  for (int round = 0; round < 100; ++round) {
    ask_for_type("eth0");
    bus.sent.clear();
    bus.built.clear();
  }
  EXPECT_LT(mallinfo2().uordblks, before + 1000);
}

TEST(BusNotice, IsBuiltWithoutAddresseeAndWithTheValueZero) {
  RecordingBus bus;
  send_notice(MessageType::stop_process, "voip");
  ASSERT_EQ(bus.built.size(), 1U);
  EXPECT_EQ(bus.built[0].addressee, std::nullopt);
  EXPECT_EQ(bus.built[0].type, 0x2000dU);
  EXPECT_EQ(bus.built[0].value, 0U);
}

TEST(BusNotice, ExpectsNoReply) {
  RecordingBus bus;
  send_notice(MessageType::stop_process, "voip");
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_FALSE(bus.sent[0].expects_reply);
}

TEST(BusNotice, IsZeroedBeforeItIsBuilt) {
  RecordingBus bus;
  send_notice(MessageType::stop_process, "voip");
  ASSERT_EQ(bus.built.size(), 1U);
  EXPECT_EQ(bus.built[0].bytes_before, std::string(52, '\0'));
}

TEST(BusNotice, CarriesTwelveBytesWithZeroBehindTheText) {
  RecordingBus bus;
  send_notice(MessageType::stop_process, "voip");
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].payload_length, 12U);
  EXPECT_EQ(bus.sent[0].result_field, 0U);
  EXPECT_EQ(bus.sent[0].payload(), std::string("voip\0\0\0\0\0\0\0\0", 12));
}

TEST(BusNotice, CutsTheTextToElevenCharacters) {
  for (const char* text : {"abcdefghijk", "abcdefghijkl", "abcdefghijklmnopqrst"}) {
    RecordingBus bus;
    send_notice(MessageType::stop_process, text);
    ASSERT_EQ(bus.sent.size(), 1U);
    EXPECT_EQ(bus.sent[0].payload_length, 12U);
    EXPECT_EQ(bus.sent[0].payload(), std::string("abcdefghijk\0", 12));
  }
}

TEST(BusNotice, CarriesAnEmptyTextAsTwelveZeros) {
  RecordingBus bus;
  send_notice(MessageType::stop_process, "");
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].payload(), std::string(12, '\0'));
}

TEST(BusNotice, ThatTheBusDoesNotTakeIsNotMentioned) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  send_notice(MessageType::stop_process, "voip"); // without a recording bus, sending fails
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}
