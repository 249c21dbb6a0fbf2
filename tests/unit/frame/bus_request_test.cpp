#include "frame/bus_request.h"
#include <gtest/gtest.h>

TEST(BusRequest, YieldsZeroWhenNobodyAnswers) {
  EXPECT_EQ(roq::frame::request_value("nobody", roq::frame::MessageType::interface_type, "eth0"), 0U);
}
