#include "support/call_hooks.h"
#include "support/interface_address.h"
#include "support/owners.h"
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <roqutil/netinfo.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <vector>

using roq::test::call_hooks;
using roq::test::Hook;

namespace {

std::vector<int> asked;

int record_socket(int family, int type, int protocol) {
  asked = {family, type & ~SOCK_CLOEXEC, protocol};
  return roq::test::real_calls.socket(family, type, protocol);
}

// A kernel that knows addresses of another family only.
int answer_ipv6(int, unsigned long, void* request) {
  sockaddr& address = static_cast<ifreq*>(request)->ifr_addr;
  memset(&address, 0x5a, sizeof address);
  address.sa_family = AF_INET6;
  return 0;
}

} // namespace

TEST(AddressOfAnInterface, IsNotHadThroughADescriptorThatIsNoSocket) {
  roq::UniqueFd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  sockaddr_in address{};
  EXPECT_FALSE(roq::ask_for_address(file.get(), SIOCGIFADDR, "lo", address));
  EXPECT_EQ(address.sin_family, 0);
}

TEST(AddressOfAnInterface, IsThatOfTheLongestNameThatARequestHolds) {
  roq::UniqueFd asked(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  EXPECT_FALSE(roq::ask_for_address(asked.get(), SIOCGIFADDR, "no-such-interface-anywhere", address));
  EXPECT_EQ(address.sin_family, 0);
}

TEST(AddressOfAnInterface, IsAskedForThroughTheKindOfSocketTold) {
  Hook recorded(call_hooks.socket, record_socket);
  sockaddr_in own;
  char peer[16];
  ROQ_UTIL_GetIpByName("lo", &own);
  EXPECT_EQ(asked, (std::vector<int>{AF_INET, SOCK_STREAM, 0}));
  ROQ_UTIL_GetIfDestAddr("lo", peer);
  EXPECT_EQ(asked, (std::vector<int>{AF_INET, SOCK_DGRAM, 0}));
}

TEST(AddressOfAnInterface, OfAnotherFamilyIsNoneOfItsOwnAndLeavesARecordOfZeros) {
  Hook answered(call_hooks.ioctl, answer_ipv6);
  sockaddr_in own, zeros{};
  memset(&own, 0x5a, sizeof own);
  EXPECT_EQ(ROQ_UTIL_GetIpByName("lo", &own), 1U);
  EXPECT_EQ(memcmp(&own, &zeros, sizeof own), 0);
}

TEST(AddressOfAnInterface, OfAPeerIsTakenWhateverItsFamily) {
  Hook answered(call_hooks.ioctl, answer_ipv6);
  char peer[16];
  EXPECT_EQ(ROQ_UTIL_GetIfDestAddr("lo", peer), 1U);
  EXPECT_STREQ(peer, "90.90.90.90");
}
