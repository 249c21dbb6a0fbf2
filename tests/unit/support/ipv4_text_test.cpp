#include "support/ipv4_text.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

std::string read(const std::string& text) {
  in_addr address;
  if (!roq::parse_lenient_ipv4(text.c_str(), address)) return "none";
  char shown[INET_ADDRSTRLEN];
  return inet_ntop(AF_INET, &address, shown, sizeof shown);
}

TEST(ParseLenientIpv4, ReadsWhatInetAtonReads) {
  EXPECT_EQ(read("192.0.2.1"), "192.0.2.1");
  EXPECT_EQ(read("0300.0.0x2.1"), "192.0.2.1");
  EXPECT_EQ(read("1"), "0.0.0.1");
  for (const char* text : {"", "a", "1.2.3.4.5", "256.0.0.1", "1.2.3.4x"})
    EXPECT_EQ(read(text), "none") << text;
}

TEST(ParseLenientIpv4, AgreesWithInetAtonOnGeneratedTexts) {
  std::mt19937 random(1);
  const auto below = [&](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
  // Without white space, about which C libraries do not agree.
  constexpr char kCharacters[] = "0123456789....xXafF89-";
  constexpr const char* kFields[] = {"0",           "255",        "256",         "0377",      "0400",
                                     "0xff",        "0x100",      "65535",       "65536",     "16777215",
                                     "16777216",    "4294967295", "0xffffff",    "037777777", "4294967296",
                                     "00000000001", "0xffffffff", "040000000000"};
  uint32_t addresses = 0;
  for (int turn = 0; turn < 100000; ++turn) {
    std::string text;
    for (uint32_t fields = 1 + below(5); fields > 0; --fields) {
      if (below(4) == 0) {
        for (uint32_t length = below(4); length > 0; --length)
          text += kCharacters[below(sizeof kCharacters - 1)];
      } else {
        text += kFields[below(std::size(kFields))];
      }
      if (fields > 1) text += '.';
    }
    in_addr expected{}, address{};
    const bool is_address = inet_aton(text.c_str(), &expected) != 0;
    ASSERT_EQ(roq::parse_lenient_ipv4(text.c_str(), address), is_address) << text;
    if (is_address) {
      ++addresses;
      ASSERT_EQ(address.s_addr, expected.s_addr) << text;
    }
  }
  EXPECT_GT(addresses, 1000U);
}

TEST(ParseLenientIpv4, IgnoresWhiteSpaceAndWhatFollowsItOverEveryCLibrary) {
  for (const char space : {' ', '\t', '\n', '\v', '\f', '\r'}) {
    EXPECT_EQ(read(std::string("192.0.2.1") + space), "192.0.2.1");
    EXPECT_EQ(read(std::string("192.0.2.1") + space + "junk"), "192.0.2.1");
    EXPECT_EQ(read(space + std::string("192.0.2.1")), "none");
  }
  EXPECT_EQ(read(" "), "none");
}

TEST(ParseLenientIpv4, ReadsTextsOfAnyLength) {
  EXPECT_EQ(read("192.0.2." + std::string(100, '0') + "7"), "192.0.2.7");
  EXPECT_EQ(read("192.0.2." + std::string(100, '0') + "7 "), "192.0.2.7");
}

TEST(ParseLenientIpv4, LeavesTheAddressAloneWhenThereIsNone) {
  in_addr address{0x12345678};
  EXPECT_FALSE(roq::parse_lenient_ipv4("1.2.3.4x", address));
  EXPECT_EQ(address.s_addr, 0x12345678U);
}

TEST(LenientIpv4OrNone, IsInNetworkByteOrderAndAllOnesForWhatIsNoAddress) {
  EXPECT_EQ(roq::lenient_ipv4_or_none("192.0.2.1"), htonl(0xc0000201));
  EXPECT_EQ(roq::lenient_ipv4_or_none("192.0.2.1\n"), htonl(0xc0000201));
  EXPECT_EQ(roq::lenient_ipv4_or_none("name"), INADDR_NONE);
}

} // namespace
