#include "support/interface_address.h"
#include "support/owners.h"
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

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
