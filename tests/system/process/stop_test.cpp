// The stop request as the supervisor receives it over the bus.
#include "launched.h"

#include <roqmsg.h>

namespace roq::test::process {
namespace {

constexpr uint32_t kLongLimitMs = 30000;

TEST(StopProcess, ReachesTheSupervisorOverTheBus) {
  RoqMsgEndpoint* supervisor = ROQ_MSG_Register(ROQ_MSG_SUPERVISOR);
  ASSERT_NE(supervisor, nullptr);
  for (const char* name : {"voip", "abcdefghijklmnopqrst"}) {
    Child asking([&] { ROQ_UTIL_StopProcess(name); });
    RoqMsgReceived received;
    ASSERT_EQ(ROQ_MSG_Receive(supervisor, &received, kLongLimitMs), 0);
    EXPECT_EQ(received.type, 0x2000dU);
    EXPECT_EQ(received.value, 0U);
    EXPECT_EQ(received.sender, static_cast<uint32_t>(asking.pid()));
    EXPECT_EQ(received.expects_reply, 0U);
    EXPECT_EQ(received.announced_length, 12U);
    std::string expected = std::string(name).substr(0, 11);
    expected.resize(12, '\0');
    EXPECT_EQ(std::string(received.payload, received.payload_length), expected);
    EXPECT_TRUE(asking.wait().exited_with(0));
  }
  ROQ_MSG_Unregister(supervisor);
}

TEST(StopProcess, TellsNobodyThatThereIsNoSupervisor) {
  Outcome outcome = run_in_child([] { ROQ_UTIL_StopProcess("voip"); });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
}

} // namespace
} // namespace roq::test::process
