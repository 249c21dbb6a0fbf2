#include "judge.h"
#include <roqutil/validate.h>

namespace {

using roq::test::expect_verdicts;
using roq::test::judge_in_place;
using roq::test::TextCase;

constexpr TextCase kMacs[] = {
    {"00:1A:2b:3C:4d:5E", 1, "either case"},
    {"00:00:00:00:00:00", 1, "all zeros"},
    {"ff:ff:ff:ff:ff:ff", 1, "broadcast"},
    {"01:00:5e:00:00:01", 1, "multicast"},
    {"0:1:2:3:4:5", 1, "groups of one character"},
    {"0ff:1:2:3:4:5", 1, "a group of three characters"},
    {"0000000ff:1:2:3:4", 0, "five groups"},
    {"00000ff:1:2:3:4:5", 1, "a group of seven characters"},
    {"100:1:2:3:4:5", 0, "256"},
    {"0:1:2:3:4:100", 0, "256"},
    {"0:1:2:3:4:fff", 0, "4095"},
    {"0xff:1:2:3:4:5", 1, "a prefix"},
    {"0:1:2:3:4:0Xf", 1, "a prefix"},
    {"0x:1:2:3:4:5", 0, "a prefix without digits"},
    {"0xg:1:2:3:4:5", 0, "a prefix without digits"},
    {"x1:1:2:3:4:5", 0, "half a prefix"},
    {"0x100:1:2:3:4:5", 0, "256 behind a prefix"},
    {"0:1:2:3:4:5:6", 1, "a seventh group is ignored"},
    {"0:1:2:3:4:5:zz", 1, "whatever it is"},
    {"0:1:2:3:4:5:::::", 1, "whatever it is"},
    {"::0::1:2:3:4:5", 1, "empty groups are skipped"},
    {"0:1:2:3:4:5:", 1, "a trailing colon"},
    {"00:1A:2B:3C:4D", 0, "five groups"},
    {"00:1A:2B:3C:4D:", 0, "five groups"},
    {"00:1A:2B:3C:4D:5G", 0, "no hexadecimal digit at the end of a group"},
    {"0G:1A:2B:3C:4D:5E", 0, "no hexadecimal digit at the end of a group"},
    {"G0:1A:2B:3C:4D:5E", 0, "no hexadecimal digit"},
    {"00-1A-2B-3C-4D-5E", 0, "hyphens"},
    {"001A.2B3C.4D5E", 0, "dots"},
    {"001A2B3C4D5E", 0, "no separator"},
    {"-0:1:2:3:4:5", 0, "a sign"},
    {"+0:1:2:3:4:5", 0, "a sign"},
    {" 0:1:2:3:4:5", 0, "a blank"},
    {"0:1:2:3:4: 5", 0, "a blank"},
    {"0:1:2:3:4:5 ", 0, "a blank behind the last group"},
    {"0:1:2:3:4:5\n", 0, "a line end"},
    {"0:1:2:3:4:\x80", 0, "a byte above 0x7f"},
    {"", 0, "empty"},
    {":", 0, "no group"},
    {":::::::::::::::::", 0, "no group in 17 characters"},
    {"00:11:22:33:44:55:", 0, "18 characters"},
    {"00:11:22:33:44:555", 0, "18 characters"},
    {"0:1:2:3:4:5:6:7:8:9", 0, "19 characters"},
    {"0:1:2:3:4:5:6:7:8", 1, "17 characters"},
};

TEST(ValidateMacAddress, AcceptsSixHexadecimalGroups) { expect_verdicts(ROQ_UTIL_ValidateMacAddress, kMacs); }

TEST(ValidateMacAddress, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateMacAddress(nullptr), 0U); }

TEST(ValidateMacAddress, RefusesLongTextsWhateverTheyHold) {
  EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateMacAddress, "0:1:2:3:4:5:" + std::string(100000, '0')), 0U);
  EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateMacAddress, std::string(100000, ':')), 0U);
}

struct Ipv6Case {
  const char* text;
  uint32_t any, host, global;
  const char* why;
};

constexpr Ipv6Case kIpv6[] = {
    {"2001:db8::1", 1, 1, 1, "a global address"},
    {"2001:0db8:85a3:0000:0000:8a2e:0370:7334", 1, 1, 1, "written out"},
    {"2001:DB8::A", 1, 1, 1, "upper case"},
    {"1:2:3:4:5:6:7:8", 1, 1, 1, "eight groups"},
    {"::", 1, 0, 0, "unspecified"},
    {"::100", 1, 1, 1, "a one in the third byte of the last word"},
    {"::101", 1, 1, 1, "two ones in the last word"},
    {"0:0:0:0:0:0:0:0", 1, 0, 0, "unspecified"},
    {"::0.0.0.0", 1, 0, 0, "unspecified"},
    {"::1", 1, 0, 0, "loopback"},
    {"0:0:0:0:0:0:0:1", 1, 0, 0, "loopback"},
    {"::0.0.0.1", 1, 0, 0, "loopback"},
    {"::2", 1, 1, 1, "one beyond loopback"},
    {"::1.0.0.0", 1, 1, 1, "loopback backwards"},
    {"::1:0", 1, 1, 1, "a one elsewhere in the last word"},
    {"0:0:0:0:0:1::", 1, 1, 1, "a one in the third word"},
    {"0:1::", 1, 1, 1, "a one in the first word"},
    {"0:0:1::1", 1, 1, 1, "a one in the second word"},
    {"::192.168.1.1", 1, 1, 1, "compatible with IPv4"},
    {"::ffff:192.168.1.1", 1, 1, 1, "mapped from IPv4"},
    {"ff02::1", 1, 0, 0, "multicast"},
    {"ff00::", 1, 0, 0, "multicast"},
    {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", 1, 0, 0, "multicast"},
    {"feff::1", 1, 1, 1, "one below multicast"},
    {"00ff::1", 1, 1, 1, "ff in the second byte"},
    {"fe80::1", 1, 1, 0, "link-local"},
    {"fe80::", 1, 1, 0, "link-local"},
    {"fe80:1::1", 1, 1, 0, "link-local has 10 bits"},
    {"febf:ffff::1", 1, 1, 0, "the last link-local"},
    {"fec0::1", 1, 1, 1, "site-local"},
    {"fe7f:ffff::1", 1, 1, 1, "one below link-local"},
    {"0:80fe::1", 1, 1, 1, "link-local backwards"},
    {"80fe::1", 1, 1, 1, "link-local with its bytes swapped"},
    {"fc00::1", 1, 1, 1, "unique local"},
    {"fd12:3456:789a::1", 1, 1, 1, "unique local"},
    {"", 0, 0, 0, "empty"},
    {":", 0, 0, 0, "a colon"},
    {":::", 0, 0, 0, "three colons"},
    {"1::2::3", 0, 0, 0, "two gaps"},
    {"1:2:3:4:5:6:7", 0, 0, 0, "seven groups"},
    {"1:2:3:4:5:6:7:8:9", 0, 0, 0, "nine groups"},
    {"1:2:3:4:5:6:7:8:", 0, 0, 0, "a trailing colon"},
    {":1:2:3:4:5:6:7:8", 0, 0, 0, "a leading colon"},
    {"12345::1", 0, 0, 0, "five digits"},
    {"g::1", 0, 0, 0, "a letter"},
    {"::1%lo", 0, 0, 0, "a zone"},
    {"fe80::1%eth0", 0, 0, 0, "a zone"},
    {"2001:db8::/32", 0, 0, 0, "a prefix"},
    {"[::2]", 0, 0, 0, "brackets"},
    {" ::2", 0, 0, 0, "a leading blank"},
    {"::2 ", 0, 0, 0, "a trailing blank"},
    {"::2\n", 0, 0, 0, "a line end"},
    {"192.168.1.1", 0, 0, 0, "IPv4"},
    {"::256.1.1.1", 0, 0, 0, "no IPv4 address at the end"},
    {"::1.2.3", 0, 0, 0, "no IPv4 address at the end"},
    {"::1.2.3.4:5", 0, 0, 0, "an IPv4 address not at the end"},
    {"::01.2.3.4", 0, 0, 0, "a leading zero in IPv4"},
    {"::\xff", 0, 0, 0, "a byte above 0x7f"},
};

TEST(ValidateIpv6Address, AcceptsWhatThePlatformParses) {
  for (const Ipv6Case& each : kIpv6) {
    EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateIpv6Address, each.text), each.any) << each.text << ": " << each.why;
  }
}

TEST(ValidateHostIpv6Address, RefusesUnspecifiedLoopbackAndMulticast) {
  for (const Ipv6Case& each : kIpv6) {
    EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateHostIpv6Address, each.text), each.host) << each.text << ": " << each.why;
  }
}

TEST(ValidateGlobalIpv6Address, RefusesLinkLocalToo) {
  for (const Ipv6Case& each : kIpv6) {
    EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateGlobalIpv6Address, each.text), each.global)
        << each.text << ": " << each.why;
  }
}

TEST(Ipv6Validators, RefuseANullPointer) {
  EXPECT_EQ(ROQ_UTIL_ValidateIpv6Address(nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateHostIpv6Address(nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateGlobalIpv6Address(nullptr), 0U);
}

TEST(Ipv6Validators, RefuseLongTexts) {
  EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateIpv6Address, "::" + std::string(100000, '0')), 0U);
  EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateIpv6Address, std::string(100000, ':')), 0U);
}

} // namespace
