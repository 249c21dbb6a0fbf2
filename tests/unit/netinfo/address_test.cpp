#include "netinfo/address.h"
#include "unit/netinfo/table.h"
#include <cstring>
#include <optional>

using namespace roq::netinfo;

namespace {

std::optional<std::string> link_local(std::string_view table, const char* name) {
  struct {
    char address[46];
    char canary[8];
  } out;
  memset(&out, 0x5a, sizeof out);
  LineReader reader = table_of(table);
  bool found = find_link_local_address(reader, name, out.address);
  for (char c : out.canary)
    EXPECT_EQ(c, 0x5a);
  if (!found) {
    for (char c : out.address)
      EXPECT_EQ(c, 0x5a) << "nothing found, yet something written";
    return std::nullopt;
  }
  return out.address;
}

constexpr char kGlobal[] = "20010db8000000000000000000000001 02 40 00 80     eth0\n";
constexpr char kLinkLocal[] = "fe800000000000000000000000000001 02 40 20 80     eth0\n";
constexpr char kSecondLinkLocal[] = "fe800000000000000000000000000002 02 40 20 80     eth0\n";

} // namespace

TEST(LinkLocalAddress, IsWrittenInItsShortestForm) {
  EXPECT_EQ(link_local(kLinkLocal, "eth0"), "fe80::1");
  EXPECT_EQ(link_local("fe80000000000000d897b4fffe9a1a9e 02 40 20 c0 v1\n", "v1"), "fe80::d897:b4ff:fe9a:1a9e");
}

TEST(LinkLocalAddress, MayBeAsLongAsAddressesGet) {
  EXPECT_EQ(link_local("febfffffffffffffffffffffffffffff 02 40 20 c0 v1\n", "v1"),
            "febf:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
}

TEST(LinkLocalAddress, IsNotAGlobalOne) { EXPECT_EQ(link_local(kGlobal, "eth0"), std::nullopt); }

TEST(LinkLocalAddress, IsTheFirstOneInTheTable) {
  EXPECT_EQ(link_local(std::string(kGlobal) + kSecondLinkLocal + kLinkLocal, "eth0"), "fe80::2");
}

TEST(LinkLocalAddress, IsDecidedByTenBits) {
  EXPECT_EQ(link_local("fe7fffffffffffffffffffffffffffff 02 40 20 c0 v1\n", "v1"), std::nullopt);
  EXPECT_EQ(link_local("fe800000000000000000000000000000 02 40 20 c0 v1\n", "v1"), "fe80::");
  EXPECT_EQ(link_local("febf0000000000000000000000000000 02 40 20 c0 v1\n", "v1"), "febf::");
  EXPECT_EQ(link_local("fec00000000000000000000000000000 02 40 20 c0 v1\n", "v1"), std::nullopt);
}

TEST(LinkLocalAddress, BelongsToExactlyThatInterface) {
  for (const char* name : {"eth", "eth00", "th0", "ETH0", "", "eth0\n"})
    EXPECT_EQ(link_local(kLinkLocal, name), std::nullopt);
}

TEST(LinkLocalAddress, IsReadFromUpperCaseDigits) {
  EXPECT_EQ(link_local("FE80000000000000000000000000ABCD 02 40 20 c0 v1\n", "v1"), "fe80::abcd");
}

TEST(LinkLocalAddress, IsNotOneOfOtherThan32Digits) {
  EXPECT_EQ(link_local("fe80 02 40 20 c0 v1\n", "v1"), std::nullopt);
  EXPECT_EQ(link_local("fe8000000000000000000000000000011 02 40 20 c0 v1\n", "v1"), std::nullopt);
  EXPECT_EQ(link_local("fe80000000000000000000000000000g 02 40 20 c0 v1\n", "v1"), std::nullopt);
  EXPECT_EQ(link_local(std::string(200, 'f') + " 02 40 20 c0 v1\n", "v1"), std::nullopt);
}

TEST(LinkLocalAddress, IsSoughtBehindLinesThatCannotBeRead) {
  EXPECT_EQ(link_local(std::string("nonsense 02 40 20 c0 eth0\n\n") + kLinkLocal, "eth0"), "fe80::1");
}

TEST(LinkLocalAddress, OfAShortLineBelongsToTheLineOwnLastColumn) {
  EXPECT_EQ(link_local("fe800000000000000000000000000001 02 40\n", "40"), "fe80::1");
  EXPECT_EQ(link_local("fe800000000000000000000000000001 02 40\n", "02"), std::nullopt);
}

TEST(LinkLocalAddress, OfALineWithNothingElseBelongsToTheDeviceOfTheLineBefore) {
  EXPECT_EQ(link_local(std::string(kGlobal) + "fe800000000000000000000000000009\n", "eth0"), "fe80::9");
  EXPECT_EQ(link_local("fe800000000000000000000000000009\n", ""), "fe80::9");
}

TEST(LinkLocalAddress, IgnoresColumnsBehindTheDevice) {
  EXPECT_EQ(link_local("fe800000000000000000000000000001 02 40 20 80 eth0 more\n", "eth0"), "fe80::1");
  EXPECT_EQ(link_local("fe800000000000000000000000000001 02 40 20 80 eth0 more\n", "more"), std::nullopt);
}

TEST(LinkLocalAddress, ComparesTheFirst63CharactersOfADevice) {
  std::string device(70, 'd');
  std::string line = "fe800000000000000000000000000001 02 40 20 80 " + device + "\n";
  EXPECT_EQ(link_local(line, device.substr(0, 63).c_str()), "fe80::1");
  EXPECT_EQ(link_local(line, device.c_str()), std::nullopt);
}

TEST(LinkLocalAddress, IsFoundInTheRestOfAnOverLongLine) {
  EXPECT_EQ(link_local(std::string(255, ' ') + kLinkLocal, "eth0"), "fe80::1");
  EXPECT_EQ(link_local(std::string(254, 'x') + kLinkLocal, "eth0"), std::nullopt);
}

TEST(LinkLocalAddress, IsFoundInALineWithoutLineEnd) {
  EXPECT_EQ(link_local("fe800000000000000000000000000001 02 40 20 80 eth0", "eth0"), "fe80::1");
}

TEST(LinkLocalAddress, IsNotInAnEmptyTable) { EXPECT_EQ(link_local("", "eth0"), std::nullopt); }
