#include "netinfo/socket_mark.h"
#include "support/owners.h"
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

using namespace roq::netinfo;

namespace {

struct Marked {
  int32_t result;
  std::string warning;
};

Marked mark(int socket, int option, uint32_t value) {
  testing::internal::CaptureStderr();
  int32_t result = mark_socket(socket, option, value);
  return {result, testing::internal::GetCapturedStderr()};
}

} // namespace

TEST(SocketMark, IsPassedAsTheFourBytesOfTheOption) {
  roq::UniqueFd asked(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ASSERT_TRUE(asked.is_open());
  // Any option of the socket level that everybody may set shows what is passed on.
  Marked marked = mark(asked.get(), SO_PRIORITY, 5);
  EXPECT_EQ(marked.result, 0);
  EXPECT_EQ(marked.warning, "");
  uint32_t value = 0;
  socklen_t length = sizeof value;
  ASSERT_EQ(getsockopt(asked.get(), SOL_SOCKET, SO_PRIORITY, &value, &length), 0);
  EXPECT_EQ(value, 5U);
}

TEST(SocketMark, ThatTheKernelRefusesIsReportedOnStandardError) {
  Marked marked = mark(-1, SO_PRIORITY, 5);
  EXPECT_EQ(marked.result, -1);
  EXPECT_EQ(marked.warning, std::string("\r\nwarning:  QoS  setsockopt error: ") + strerror(EBADF) + "\r\n");
}

TEST(SocketMark, OfAnUnknownOptionIsReportedWithTheKernelsError) {
  roq::UniqueFd asked(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ASSERT_TRUE(asked.is_open());
  Marked marked = mark(asked.get(), 0x7ffe, 5);
  EXPECT_EQ(marked.result, -1);
  EXPECT_EQ(marked.warning, std::string("\r\nwarning:  QoS  setsockopt error: ") + strerror(ENOPROTOOPT) + "\r\n");
}
