#include "validate/ipv4.h"

#include "judge.h"
#include "support/allocation_probe.h"
#include <algorithm>
#include <cstring>
#include <limits>
#include <roqutil/validate.h>

namespace {

using roq::test::AllocationProbe;
using roq::test::expect_verdicts;
using roq::test::judge_in_place;
using roq::test::TextCase;

uint32_t as_multicast(const char* text) { return ValidateIpByClass(text, 1); }
uint32_t as_host(const char* text) { return ValidateIpByClass(text, 0); }

// ---- Addresses

constexpr TextCase kAddresses[] = {
    {"192.168.1.1", 1, "an address"},
    {"1.2.3.:", 0, "the character behind 9"},
    {"1:.2.3.4", 0, "the character behind 9"},
    {":.2.3.4", 0, "the character behind 9"},
    {"1./.3.4", 0, "the character in front of 0"},
    {"0.0.0.0", 1, "no class is refused"},
    {"255.255.255.255", 1, "the longest plain text"},
    {"127.0.0.1", 1, "loopback"},
    {"224.0.0.1", 1, "multicast"},
    {"001.002.003.004", 1, "leading zeros"},
    {"000.000.000.000", 1, "leading zeros of zero"},
    {"000000001.1.1.1", 1, "any number of leading zeros within 15 characters"},
    {"1.1.1.000000255", 1, "the same in the last field"},
    {"010.1.1.1", 1, "a leading zero is decimal"},
    {"", 0, "empty"},
    {"1", 0, "one field"},
    {"1.2.3", 0, "two dots"},
    {"1.2.3.", 0, "an empty last field"},
    {".1.2.3", 0, "an empty first field"},
    {"1..2.3", 0, "an empty field in between"},
    {"1.2.3.4.", 0, "four dots"},
    {"1.2.3.4.5", 0, "five fields"},
    {"....", 0, "dots only"},
    {"...", 0, "three dots and no field"},
    {"256.1.1.1", 0, "first field too large"},
    {"1.256.1.1", 0, "second field too large"},
    {"1.1.256.1", 0, "third field too large"},
    {"1.1.1.256", 0, "fourth field too large"},
    {"1.1.1.999", 0, "999"},
    {"999999999.1.1.1", 0, "nine digits"},
    {"1a.1.1.1", 0, "a letter behind a digit"},
    {"a.1.1.1", 0, "a letter"},
    {"1.1.1.1a", 0, "a letter at the end"},
    {"0x1.1.1.1", 0, "hexadecimal"},
    {"+1.1.1.1", 0, "a plus"},
    {"-1.1.1.1", 0, "a minus"},
    {"1.1.1.-0", 0, "a minus zero"},
    {" 1.1.1.1", 0, "a leading blank"},
    {"1.1.1.1 ", 0, "a trailing blank"},
    {"1. 1.1.1", 0, "a blank within"},
    {"1.1.1.1\n", 0, "a line end"},
    {"1,1,1,1", 0, "commas"},
    {"1.1.1\xb7"
     "1",
     0, "a byte above 0x7f"},
    {"1.1.1.\xb2", 0, "a byte that looks like a digit elsewhere"},
    {"\x01.1.1.1", 0, "a control byte"},
    {"0000000001.1.1.1", 0, "16 characters"},
    {"255.255.255.2555", 0, "16 characters"},
    {"1.1.1.4294967297", 0, "a number that wraps in 32 bits"},
    {"4294967551.0.0.0", 0, "the same in front"},
    {"18446744073709551617.1.1.1", 0, "a number that wraps in 64 bits"},
};

TEST(ValidateIpAddress, AcceptsDottedQuadsOfAnyClass) { expect_verdicts(ROQ_UTIL_ValidateIpAddress, kAddresses); }

TEST(ValidateIpAddress, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateIpAddress(nullptr), 0U); }

TEST(ValidateIpAddress, AcceptsEveryOctetInEveryField) {
  for (int field = 0; field < 4; ++field) {
    for (int octet = 0; octet < 1000; ++octet) {
      std::string text;
      for (int i = 0; i < 4; ++i)
        text += (i > 0 ? "." : "") + std::to_string(i == field ? octet : 7);
      EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateIpAddress, text), octet < 256 ? 1U : 0U) << text;
    }
  }
}

TEST(ValidateIpAddress, RefusesLongTextsWhateverTheyHold) {
  for (char filling : {'0', '1', '.', 'a', '\xff'}) {
    for (size_t length : {16U, 17U, 255U, 4096U, 100000U}) {
      EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateIpAddress, std::string(length, filling)), 0U);
      EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateIpAddress, "1.1.1." + std::string(length, filling)), 0U);
    }
  }
}

// ---- Classes

constexpr TextCase kHosts[] = {
    {"192.168.1.1", 1, "a host"},
    {"1.2.3.:", 0, "the character behind 9"},
    {"1:.2.3.4", 0, "the character behind 9"},
    {":.2.3.4", 0, "the character behind 9"},
    {"1./.3.4", 0, "the character in front of 0"},
    {"1.0.0.0", 1, "the last field may be 0"},
    {"10.0.0.0", 1, "the last field may be 0"},
    {"1.255.255.254", 1, "fields in between take any value"},
    {"126.1.1.1", 1, "below loopback"},
    {"128.1.1.1", 1, "above loopback"},
    {"223.255.255.254", 1, "the largest"},
    {"", 0, "empty"},
    {"0.0.0.0", 0, "no host"},
    {"0.0.0.1", 0, "first field 0"},
    {"255.255.255.255", 0, "broadcast"},
    {"127.0.0.1", 0, "loopback"},
    {"127.255.255.254", 0, "loopback"},
    {"224.0.0.1", 0, "multicast"},
    {"239.255.255.254", 0, "multicast"},
    {"240.0.0.1", 0, "reserved"},
    {"192.168.1.255", 0, "last field 255"},
    {"192.168.1.256", 0, "last field too large"},
    {"192.256.1.1", 0, "second field too large"},
    {"192.1.256.1", 0, "third field too large"},
    {"256.1.1.1", 0, "first field too large"},
    {"999.1.1.1", 0, "999"},
    {"010.1.1.1", 0, "leading zero"},
    {"10.01.1.1", 0, "leading zero"},
    {"10.1.00.1", 0, "leading zero"},
    {"10.1.1.00", 0, "leading zero"},
    {"10.1.1.001", 0, "leading zeros"},
    {"10.1.1.1000", 0, "four digits"},
    {"1.2.3", 0, "three fields"},
    {"1.2.3.4.5", 0, "five fields"},
    {"1..2.3", 0, "an empty field"},
    {"1.2.3.", 0, "an empty last field"},
    {".1.2.3", 0, "an empty first field"},
    {" 10.1.1.1", 0, "a blank"},
    {"10.1.1.1 ", 0, "a blank"},
    {"+10.1.1.1", 0, "a sign"},
    {"10.1.1.1a", 0, "a letter"},
    {"10.1.1.\x80", 0, "a byte above 0x7f"},
    {"192.168.100.1000", 0, "16 characters"},
};

TEST(ValidateHostIpAddress, AcceptsUnicastHosts) {
  expect_verdicts(ROQ_UTIL_ValidateHostIpAddress, kHosts);
  expect_verdicts(as_host, kHosts);
}

constexpr TextCase kGroups[] = {
    {"224.0.0.1", 1, "the first block"},   {"224.0.0.0", 1, "the last field may be 0"},
    {"239.255.255.254", 1, "the largest"}, {"230.1.2.3", 1, "in between"},
    {"223.1.1.1", 0, "one below"},         {"240.0.0.1", 0, "one above"},
    {"239.1.1.255", 0, "last field 255"},  {"192.168.1.1", 0, "a host"},
    {"127.0.0.1", 0, "loopback"},          {"0.0.0.0", 0, "none"},
    {"255.255.255.255", 0, "broadcast"},   {"0224.0.0.1", 0, "leading zero"},
    {"224.0.0", 0, "three fields"},        {"224.0.0.1.", 0, "a trailing dot"},
};

TEST(ValidateMCastIpAddress, AcceptsMulticastGroups) {
  expect_verdicts(ROQ_UTIL_ValidateMCastIpAddress, kGroups);
  expect_verdicts(as_multicast, kGroups);
}

TEST(ValidateMCastIpAddress, AndTheHostTestDivideTheFirstField) {
  for (int first = 0; first < 1000; ++first) {
    std::string text = std::to_string(first) + ".1.2.3";
    bool is_host = first >= 1 && first <= 223 && first != 127;
    EXPECT_EQ(ROQ_UTIL_ValidateHostIpAddress(text.c_str()), is_host ? 1U : 0U) << text;
    EXPECT_EQ(ROQ_UTIL_ValidateMCastIpAddress(text.c_str()), first >= 224 && first <= 239 ? 1U : 0U) << text;
  }
}

TEST(ValidateIpByClass, TakesEveryModeButOneForHosts) {
  for (uint32_t mode : {0U, 2U, 255U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(ValidateIpByClass("192.168.1.1", mode), 1U) << mode;
    EXPECT_EQ(ValidateIpByClass("224.0.0.1", mode), 0U) << mode;
  }
}

TEST(ValidateIpByClass, RefusesANullPointer) {
  EXPECT_EQ(ROQ_UTIL_ValidateHostIpAddress(nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateMCastIpAddress(nullptr), 0U);
  EXPECT_EQ(ValidateIpByClass(nullptr, 0), 0U);
  EXPECT_EQ(ValidateIpByClass(nullptr, 1), 0U);
}

// ---- Shape, and names

constexpr TextCase kShapes[] = {
    {"1.2.3.4", 1, "four fields"},
    {"999.999.999.999", 1, "values are not tested"},
    {"001.002.003.004", 1, "leading zeros"},
    {"0.0.0.0", 1, "zeros"},
    {".1.2.3.4", 1, "a leading dot is skipped"},
    {"1.2.3.4.", 1, "a trailing dot is skipped"},
    {"1..2...3.4", 1, "empty fields are skipped"},
    {"...1.2.3.4....", 1, "all of it"},
    {"999999999.1.1.1", 1, "15 characters"},
    {"192.168.100.1000", 1, "the sixteenth character is lost"},
    {"192.168.100.100x", 1, "whatever it is"},
    {"192.168.100.100.", 1, "even a dot"},
    {"111.222.333.44.5", 1, "15 characters hold four fields and a dot"},
    {"1.2.3.444444444x", 1, "the letter is lost"},
    {"", 0, "empty"},
    {"....", 0, "no field at all"},
    {"1.2.3", 0, "three fields"},
    {"1.2.3.4.5", 0, "five fields"},
    {"1.2.3.a", 0, "a letter"},
    {"a.2.3.4", 0, "a letter in front"},
    {"1.2.3.4a", 0, "a letter behind"},
    {"1.2. 3.4", 0, "a blank"},
    {"-1.2.3.4", 0, "a sign"},
    {"1.2.3.\xb2", 0, "a byte above 0x7f"},
    {"myhost.local", 0, "a name"},
    {"192.168.100.10000", 0, "17 characters"},
    {"1234567890123.4.5", 0, "17 characters"},
    {"1234567890123.4.", 0, "16 characters with two fields"},
};

TEST(IsIpFormat, AcceptsFourFieldsOfDigits) { expect_verdicts(ROQ_UTIL_IsIpFormat, kShapes); }

TEST(IsIpFormat, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_IsIpFormat(nullptr), 0U); }

// The caller's text has a second token that its next call would give.
void expect_disturbed_by(uint32_t (*function)(const char*), const char* text) {
  char own[] = "first,second";
  ASSERT_STREQ(strtok(own, ","), "first");
  function(text);
  EXPECT_EQ(strtok(nullptr, ","), nullptr) << text;
}

TEST(IsIpFormat, DisturbsACallersTokenising) {
  for (const char* text : {"1.2.3.4", "1.2.3", "a.b.c.d", "1.x.3.4", "", "...."}) {
    expect_disturbed_by(ROQ_UTIL_IsIpFormat, text);
    expect_disturbed_by(ROQ_UTIL_ValidateDnsOrHostAddress, text);
  }
}

TEST(IsIpFormat, LeavesTokenisingAloneWhenTheTextIsTooLongOrMissing) {
  for (const char* text : {static_cast<const char*>(nullptr), "12345678901234567"}) {
    char own[] = "first,second";
    ASSERT_STREQ(strtok(own, ","), "first");
    ROQ_UTIL_IsIpFormat(text);
    EXPECT_STREQ(strtok(nullptr, ","), "second");
  }
}

TEST(IpAddressValidators, OtherThanIsIpFormatLeaveTokenisingAlone) {
  char own[] = "first,second";
  ASSERT_STREQ(strtok(own, ","), "first");
  uint32_t octets[4];
  ROQ_UTIL_ValidateIpAddress("1.2.3.4");
  ROQ_UTIL_ValidateHostIpAddress("1.2.3.4");
  ROQ_UTIL_ValidateSubnetMask("255.255.0.0");
  ROQ_UTIL_ValidateHostIpWithSubnetMask("1.2.3.4", "255.255.0.0");
  ROQ_UTIL_IpAddrSplit("1.2.3.4", octets);
  ROQ_IpMaskToCidrLen("255.0.0.0");
  ROQ_UTIL_ValidateMacAddress("0:1:2:3:4:5");
  EXPECT_STREQ(strtok(nullptr, ","), "second");
}

constexpr TextCase kNamesAndHosts[] = {
    {"myhost.local", 1, "a name"},
    {"", 1, "an empty name"},
    {"1.2.3", 1, "not shaped like an address"},
    {"1.2.3.4.5", 1, "not shaped like an address"},
    {"1.2.3.4a", 1, "not shaped like an address"},
    {"-1.2.3.4", 1, "not shaped like an address"},
    {"192.168.1.1", 1, "a host address"},
    {"1.0.0.0", 1, "a host address"},
    {"192.168.100.10000", 1, "17 characters are a name"},
    {"\xff\x01", 1, "a name is not examined"},
    {"0.0.0.0", 0, "no host"},
    {"127.0.0.1", 0, "loopback"},
    {"224.0.0.1", 0, "multicast"},
    {"192.168.1.255", 0, "last field 255"},
    {"999.999.999.999", 0, "shaped like an address, out of range"},
    {"192.168.001.001", 0, "leading zeros"},
    {"1.2.3.4.", 0, "shaped like an address, but four dots"},
    {".1.2.3.4", 0, "shaped like an address, but four dots"},
    {"1..2.3.4", 0, "shaped like an address, but four dots"},
    {"192.168.100.1000", 0, "16 characters are shaped like an address and too long for one"},
};

TEST(ValidateDnsOrHostAddress, TakesForANameWhatIsNotShapedLikeAnAddress) {
  expect_verdicts(ROQ_UTIL_ValidateDnsOrHostAddress, kNamesAndHosts);
}

TEST(ValidateDnsOrHostAddress, AcceptsANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateDnsOrHostAddress(nullptr), 1U); }

// ---- Masks

constexpr TextCase kMasks[] = {
    {"255.255.255.0", 1, "24 bits"},
    {"255.255.255.255", 1, "32 bits"},
    {"255.255.255.254", 1, "31 bits"},
    {"128.0.0.0", 1, "1 bit"},
    {"0.0.0.00", 1, "not the literal"},
    {"00.0.0.0", 1, "not the literal"},
    {"000.000.000.000", 1, "not the literal"},
    {"255.255.255.0.7", 1, "a fifth field is not examined"},
    {"255.255.255.0.xyz", 1, "a fifth field is not examined"},
    {"255.255.255.0...", 1, "trailing dots"},
    {"..255..255.255.0", 1, "empty fields are skipped"},
    {"0255.0255.0255.0", 1, "leading zeros"},
    {"0000000000255.0.0.0", 1, "19 characters"},
    {"255.255.255.0000000128", 1, "cut before the 128"},
    {"255.255.255.0000000x", 1, "cut before the letter"},
    {"255.255.255.000000x", 0, "not cut"},
    {"255.255.255.000000128", 0, "cut to 1"},
    {"255.255.255.00000128", 0, "cut to 12"},
    {"255.255.255.0000128", 1, "19 characters, not cut"},
    {"0.0.0.0", 0, "the literal"},
    {"", 0, "empty"},
    {"....", 0, "no field"},
    {"255", 0, "one field"},
    {"255.255.255", 0, "three fields"},
    {"255.255.255.", 0, "three fields"},
    {"255.255.0.255", 0, "ones behind zeros"},
    {"255.0.255.0", 0, "ones behind zeros"},
    {"0.255.0.0", 0, "ones behind zeros"},
    {"0.0.0.128", 0, "ones behind zeros"},
    {"255.128.128.0", 0, "a second partial field"},
    {"255.254.255.0", 0, "ones behind a partial field"},
    {"255.255.255.1", 0, "not a mask octet"},
    {"255.255.253.0", 0, "not a mask octet"},
    {"127.0.0.0", 0, "not a mask octet"},
    {"256.0.0.0", 0, "too large"},
    {"511.255.0.0", 0, "too large, its low byte is 255"},
    {"255.255.256.0", 0, "too large"},
    {"255.255.255.x", 0, "a letter"},
    {"255.255.255.-1", 0, "a sign"},
    {"255.255.255.0 ", 0, "a blank"},
    {" 255.255.255.0", 0, "a blank"},
    {"0xff.0.0.0", 0, "hexadecimal"},
    {"4294967551.0.0.0", 0, "would wrap to 255 in 32 bits"},
    {"2147483903.0.0.0", 0, "beyond the largest"},
    {"99999999999999999999.0", 0, "beyond 64 bits"},
    {"255.255.255.\xb2", 0, "a byte above 0x7f"},
};

TEST(ValidateSubnetMask, AcceptsOnesInFrontAndZerosBehind) { expect_verdicts(ROQ_UTIL_ValidateSubnetMask, kMasks); }

TEST(ValidateSubnetMask, RefusesANullPointer) { EXPECT_EQ(ROQ_UTIL_ValidateSubnetMask(nullptr), 0U); }

TEST(ValidateSubnetMask, KnowsEveryPrefixLength) {
  for (int bits = 0; bits <= 32; ++bits) {
    uint64_t mask = (0xFFFFFFFFULL << (32 - bits)) & 0xFFFFFFFF;
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
      text += (shift < 24 ? "." : "") + std::to_string(mask >> shift & 255);
    EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateSubnetMask, text), bits > 0 ? 1U : 0U) << text;
    EXPECT_EQ(judge_in_place(ROQ_IpMaskToCidrLen, text), static_cast<uint32_t>(bits)) << text;
  }
}

TEST(ValidateSubnetMask, AcceptsInEveryFieldExactlyTheMaskOctets) {
  for (uint32_t octet = 0; octet < 600; ++octet) {
    bool is_mask_octet = octet == 255 || ROQ_UTIL_CheckNum(octet) == 1;
    std::string text = std::to_string(octet);
    EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateSubnetMask, "255.255.255." + text), is_mask_octet ? 1U : 0U) << octet;
    EXPECT_EQ(judge_in_place(ROQ_UTIL_ValidateSubnetMask, "255." + text + ".0.00"), is_mask_octet ? 1U : 0U) << octet;
  }
}

TEST(ValidateSubnetMask, RefusesWhenTheHeapIsExhausted) {
  AllocationProbe probe(1);
  errno = 4711;
  uint32_t verdict = ROQ_UTIL_ValidateSubnetMask("255.255.255.0");
  int left_in_errno = errno;
  EXPECT_EQ(verdict, 0U);
  EXPECT_EQ(left_in_errno, 4711);
  EXPECT_EQ(probe.asked(), 1U);
}

TEST(ValidateSubnetMask, ReleasesItsCopyOnEveryWay) {
  for (const char* mask : {"255.255.255.0", "255.x.0.0", "1.2", "", "255.255.0.255"}) {
    AllocationProbe probe;
    ROQ_UTIL_ValidateSubnetMask(mask);
    EXPECT_EQ(probe.asked(), 1U) << mask;
    EXPECT_EQ(probe.held(), 0U) << mask;
  }
}

// Asks about texts on both sides of the cut at 19 characters.
template <typename Judge> void expect_copies_of_up_to_20_bytes(Judge judge) {
  for (size_t length : {0U, 1U, 7U, 18U, 19U, 20U, 21U, 1000U}) {
    std::string text = std::string("255.255.255.0.").substr(0, length);
    text.resize(length, '0');
    AllocationProbe probe;
    judge(text.c_str());
    EXPECT_EQ(probe.last_size(), std::min<size_t>(length + 1, 20)) << length;
  }
}

TEST(ValidateSubnetMask, CopiesUpTo20BytesOfTheTextAndItsEnd) {
  expect_copies_of_up_to_20_bytes(ROQ_UTIL_ValidateSubnetMask);
}

TEST(ValidateSubnetMask, AllocatesNothingForTheLiteralZero) {
  AllocationProbe probe;
  ROQ_UTIL_ValidateSubnetMask("0.0.0.0");
  EXPECT_EQ(probe.asked(), 0U);
}

TEST(CheckNum, KnowsTheEightPartialOctets) {
  for (uint32_t value = 0; value < 1000; ++value) {
    bool is_partial = value == 0 || value == 128 || value == 192 || value == 224 || value == 240 || value == 248 ||
                      value == 252 || value == 254;
    EXPECT_EQ(ROQ_UTIL_CheckNum(value), is_partial ? 1U : 0U) << value;
  }
}

TEST(CheckNum, LooksAtAll32Bits) {
  for (uint32_t value : {256U, 256U + 128U, 0x10000U, 0x10000U + 254U, 0x80000000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    EXPECT_EQ(ROQ_UTIL_CheckNum(value), 0U) << value;
  }
}

struct PairCase {
  const char* address;
  const char* mask;
  uint32_t expected;
  const char* why;
};

constexpr PairCase kHostsInSubnets[] = {
    {"192.168.1.1", "255.255.255.0", 1, "a host"},
    {"192.168.1.1", "255.255.255.0000000 x", 1, "cut before the blank, where the address ends, too"},
    {"192.168.1.254", "255.255.255.0", 1, "the last host"},
    {"10.0.0.1", "255.0.0.0", 1, "8 bits"},
    {"10.1.0.0", "255.0.0.0", 1, "a zero octet is no zero host part"},
    {"192.168.1.1", "255.255.255.252", 1, "30 bits"},
    {"192.168.1.2", "255.255.255.252", 1, "30 bits"},
    {"192.168.1.0", "255.255.255.0", 0, "host part all zeros"},
    {"192.168.1.255", "255.255.255.0", 0, "refused as an address already"},
    {"192.168.1.3", "255.255.255.252", 0, "host part all ones"},
    {"192.168.1.4", "255.255.255.252", 0, "host part all zeros"},
    {"192.168.127.254", "255.255.128.0", 1, "17 bits"},
    {"192.168.1.0", "255.255.0.0", 1, "16 bits: the last octet is not the host part"},
    {"192.168.1.1", "255.255.255.255", 0, "32 bits admit no host"},
    {"192.168.1.1", "255.255.255.254", 0, "31 bits admit no host"},
    {"192.168.1.2", "255.255.255.254", 0, "31 bits admit no host"},
    {"192.168.1.1", "0.0.0.0", 0, "refused as a mask"},
    {"192.168.1.1", "255.0.255.0", 0, "refused as a mask"},
    {"224.0.0.1", "255.255.255.0", 0, "refused as an address"},
    {"192.168.1.01", "255.255.255.0", 0, "refused as an address"},
    {"", "255.255.255.0", 0, "no address"},
    {"192.168.1.1", "", 0, "no mask"},
    {"192.168.1.1", "00.0.0.0", 1, "a mask of no bits admits hosts"},
    {"192.168.1.1", "0.0.0.00", 1, "a mask of no bits admits hosts"},
    {"192.168.1.1", "255.255.255.0240", 1, "octal 0240 is 160"},
    {"192.168.1.16", "255.255.255.0240", 1, "with 240 the host part would be zero"},
    {"192.168.1.160", "255.255.255.0240", 0, "with 160 the host part is zero"},
    {"192.168.1.33", "255.255.255.0254", 1, "octal 0254 is 172"},
    {"192.168.1.1", "255.255.255.0128", 0, "octal has no 8: all ones"},
    {"192.168.1.1", "255.255.255.0.7", 0, "five fields: all ones"},
    {"192.168.1.1", "255..255.255.0", 0, "an empty field: all ones"},
    {"192.168.1.1", "255.255.255.0.", 0, "a trailing dot: all ones"},
    {"192.168.1.1", "255.255.255.0000000128", 0, "the uncut text is octal with an 8: all ones"},
    {"192.168.1.1", "255.255.255.0000000100", 1, "the uncut text ends with octal 0100, which is 64"},
    {"192.168.1.64", "255.255.255.0000000100", 0, "with 64 the host part is zero"},
};

TEST(ValidateHostIpWithSubnetMask, AcceptsHostsWithinTheirSubnet) {
  for (const PairCase& each : kHostsInSubnets) {
    auto with_mask = [&](const char* address) { return ROQ_UTIL_ValidateHostIpWithSubnetMask(address, each.mask); };
    auto with_address = [&](const char* mask) { return ROQ_UTIL_ValidateHostIpWithSubnetMask(each.address, mask); };
    EXPECT_EQ(judge_in_place(with_mask, each.address), each.expected)
        << each.address << ' ' << each.mask << ": " << each.why;
    EXPECT_EQ(judge_in_place(with_address, each.mask), each.expected)
        << each.address << ' ' << each.mask << ": " << each.why;
  }
}

TEST(ValidateHostIpWithSubnetMask, RefusesNullPointers) {
  EXPECT_EQ(ROQ_UTIL_ValidateHostIpWithSubnetMask(nullptr, "255.255.255.0"), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateHostIpWithSubnetMask("192.168.1.1", nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateHostIpWithSubnetMask(nullptr, nullptr), 0U);
}

TEST(ValidateHostIpWithSubnetMask, NeverAdmitsAHostUnder31Or32Bits) {
  for (int last = 0; last < 256; ++last) {
    std::string address = "10.1.2." + std::to_string(last);
    EXPECT_EQ(ROQ_UTIL_ValidateHostIpWithSubnetMask(address.c_str(), "255.255.255.254"), 0U) << address;
    EXPECT_EQ(ROQ_UTIL_ValidateHostIpWithSubnetMask(address.c_str(), "255.255.255.255"), 0U) << address;
  }
}

TEST(ValidateHostIpWithSubnetMask, RefusesWhenTheHeapIsExhausted) {
  AllocationProbe probe(1);
  EXPECT_EQ(ROQ_UTIL_ValidateHostIpWithSubnetMask("192.168.1.1", "255.255.255.0"), 0U);
  EXPECT_EQ(probe.held(), 0U);
}

// ---- Octets

struct BroadcastCase {
  int32_t address[4];
  int32_t mask[4];
  uint32_t expected;
  const char* why;
};

constexpr int32_t kSmallest = std::numeric_limits<int32_t>::min();
constexpr int32_t kLargest = std::numeric_limits<int32_t>::max();

constexpr BroadcastCase kBroadcasts[] = {
    {{192, 168, 1, 255}, {255, 255, 255, 0}, 1, "24 bits"},
    {{192, 168, 1, 254}, {255, 255, 255, 0}, 0, "24 bits, a host"},
    {{192, 168, 1, 0}, {255, 255, 255, 0}, 0, "24 bits, the net"},
    {{192, 168, 1, 255}, {255, 255, 255, 254}, 1, "31 bits: 254 is below 255"},
    {{192, 168, 1, 254}, {255, 255, 255, 254}, 0, "31 bits, the host bit is zero"},
    {{10, 255, 255, 255}, {255, 0, 0, 0}, 1, "8 bits"},
    {{10, 1, 255, 255}, {255, 0, 0, 0}, 0, "8 bits, a host"},
    {{192, 168, 1, 1}, {255, 255, 255, 255}, 0, "no host bits"},
    {{192, 168, 1, 255}, {255, 255, 255, 255}, 0, "no host bits"},
    {{224, 0, 0, 1}, {255, 255, 255, 255}, 1, "224 and more, whatever the mask"},
    {{kLargest, 0, 0, 0}, {0, 0, 0, 0}, 1, "far above 224"},
    {{223, 0, 0, 1}, {255, 255, 255, 255}, 0, "223"},
    {{-1, 255, 255, 255}, {255, 255, 255, 255}, 0, "negative is below 224"},
    {{1, 2, 3, 4}, {127, 255, 255, 255}, 1, "127 in the mask"},
    {{127, 0, 0, 1}, {255, 255, 255, 0}, 0, "127 in the address means nothing"},
    {{192, 168, 1, 63}, {255, 255, 255, 192}, 1, "26 bits"},
    {{192, 168, 1, 127}, {255, 255, 255, 192}, 1, "26 bits, second subnet"},
    {{192, 168, 1, 62}, {255, 255, 255, 192}, 0, "26 bits, a host"},
    {{172, 16, 15, 255}, {255, 255, 240, 0}, 1, "20 bits"},
    {{172, 16, 15, 254}, {255, 255, 240, 0}, 0, "20 bits, octet behind not 255"},
    {{172, 16, 14, 255}, {255, 255, 240, 0}, 0, "20 bits, a host bit is zero"},
    {{172, 16, 15, 255}, {255, 255, 240, 1}, 0, "20 bits, the mask behind is not 0"},
    {{172, 31, 255, 255}, {255, 240, 0, 0}, 1, "12 bits"},
    {{172, 31, 254, 255}, {255, 240, 0, 0}, 0, "12 bits, third octet"},
    {{172, 31, 255, 254}, {255, 240, 0, 0}, 0, "12 bits, fourth octet"},
    {{172, 31, 255, 255}, {255, 240, 1, 0}, 0, "12 bits, the mask behind is not 0"},
    {{172, 31, 255, 255}, {255, 240, 0, 1}, 0, "12 bits, the mask behind is not 0"},
    {{15, 255, 255, 255}, {240, 0, 0, 0}, 1, "4 bits: the octet is 255 less the mask"},
    {{31, 255, 255, 255}, {240, 0, 0, 0}, 0, "4 bits: a net bit is set"},
    {{15, 255, 255, 255}, {240, 7, 8, 9}, 1, "4 bits: the mask behind is not looked at"},
    {{15, 254, 255, 255}, {240, 0, 0, 0}, 0, "4 bits, second octet"},
    {{15, 255, 254, 255}, {240, 0, 0, 0}, 0, "4 bits, third octet"},
    {{15, 255, 255, 254}, {240, 0, 0, 0}, 0, "4 bits, fourth octet"},
    {{14, 255, 255, 255}, {240, 0, 0, 0}, 0, "4 bits, a host bit is zero"},
    {{192, 168, 1, 255}, {255, 255, 255, -1}, 0, "a negative mask: 256 is a host bit, too"},
    {{192, 168, 1, 511}, {255, 255, 255, -256}, 1, "a negative mask: 511 has all host bits"},
    {{192, 168, 1, 255}, {255, 255, 256, 0}, 1, "256 is not below 255"},
    {{192, 168, 1, 256 + 255}, {255, 255, 255, 0}, 1, "bits beyond the octet do not matter at index 3"},
    {{kSmallest, 255, 255, 255}, {kSmallest, 0, 0, 0}, 0, "the smallest mask: 255 less it wraps"},
    {{kSmallest + 255, 255, 255, 255}, {kSmallest, 0, 0, 0}, 1, "the smallest mask: the octet is 255 less it"},
    {{192, 168, 1, -1}, {255, 255, 255, 0}, 1, "-1 has all bits"},
};

TEST(ValidateBroadcastIp, AcceptsWhatIsNoHostsAddress) {
  for (const BroadcastCase& each : kBroadcasts) {
    EXPECT_EQ(ROQ_UTIL_ValidateBroadcastIp(each.address, each.mask), each.expected) << each.why;
  }
}

TEST(ValidateBroadcastIp, RefusesNullPointers) {
  constexpr int32_t kOctets[4] = {224, 0, 0, 0};
  EXPECT_EQ(ROQ_UTIL_ValidateBroadcastIp(nullptr, kOctets), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateBroadcastIp(kOctets, nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateBroadcastIp(nullptr, nullptr), 0U);
}

TEST(ValidateIpSameSubNet, ComparesTheFourthElementToo) {
  constexpr uint32_t kMask[4] = {255, 255, 255, 252};
  constexpr uint32_t kOne[4] = {192, 168, 1, 5}, kNear[4] = {192, 168, 1, 6}, kFar[4] = {192, 168, 1, 9};
  EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(kOne, kMask, kNear, kMask), 1U);
  EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(kOne, kMask, kFar, kMask), 0U);
}

TEST(ValidateIpSameSubNet, ComparesEveryElementUnderItsMask) {
  constexpr uint32_t kMask[4] = {255, 255, 255, 0};
  constexpr uint32_t kOne[4] = {192, 168, 1, 1};
  EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(kOne, kMask, kOne, kMask), 1U);
  for (size_t i = 0; i < 4; ++i) {
    uint32_t other[4] = {192, 168, 1, 1};
    other[i] ^= 1;
    EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(kOne, kMask, other, kMask), i == 3 ? 1U : 0U) << i;
  }
}

TEST(ValidateIpSameSubNet, UsesEachAddressesOwnMask) {
  constexpr uint32_t kOne[4] = {10, 1, 2, 3}, kOther[4] = {10, 9, 9, 9};
  constexpr uint32_t kWide[4] = {255, 0, 0, 0}, kNarrow[4] = {255, 255, 0, 0};
  EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(kOne, kWide, kOther, kWide), 1U);
  EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(kOne, kNarrow, kOther, kWide), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(kOne, kWide, kOther, kNarrow), 0U);
}

TEST(ValidateIpSameSubNet, UsesAll32Bits) {
  constexpr uint32_t kOne[4] = {0x80000001, 0, 0, 0}, kOther[4] = {1, 0, 0, 0};
  constexpr uint32_t kAll[4] = {0xFFFFFFFF, 0, 0, 0}, kLow[4] = {0x7FFFFFFF, 0, 0, 0};
  EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(kOne, kAll, kOther, kAll), 0U);
  EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(kOne, kLow, kOther, kLow), 1U);
}

TEST(ValidateIpSameSubNet, RefusesNullPointers) {
  constexpr uint32_t kOctets[4] = {};
  for (int missing = 0; missing < 4; ++missing) {
    const uint32_t* arrays[4] = {kOctets, kOctets, kOctets, kOctets};
    arrays[missing] = nullptr;
    EXPECT_EQ(ROQ_UTIL_ValidateIpSameSubNet(arrays[0], arrays[1], arrays[2], arrays[3]), 0U) << missing;
  }
}

constexpr uint32_t kCanary = 0xA5A5A5A5;

struct SplitCase {
  const char* text;
  uint32_t expected;
  uint32_t octets[4];
  const char* why;
};

constexpr SplitCase kSplits[] = {
    {"192.168.1.254", 1, {192, 168, 1, 254}, "an address"},
    {"0.0.0.0", 1, {0, 0, 0, 0}, "zeros"},
    {"255.255.255.255", 1, {255, 255, 255, 255}, "ones"},
    {"001.002.003.004", 1, {1, 2, 3, 4}, "leading zeros"},
    {"010.011.012.013", 1, {10, 11, 12, 13}, "leading zeros are not octal"},
    {"1..2...3.4.", 1, {1, 2, 3, 4}, "empty fields are skipped"},
    {"1.2.3.4.5", 1, {1, 2, 3, 4}, "a fifth field is ignored"},
    {"1.2.3.4.x", 1, {1, 2, 3, 4}, "a fifth field is ignored"},
    {"1.2.3.0000000000000256", 1, {1, 2, 3, 0}, "cut after 19 characters"},
    {"00000000001.2.3.0045", 1, {1, 2, 3, 4}, "cut within the number"},
    {"0000000000000001.2.3.4", 0, {1, 2, kCanary, kCanary}, "the cut loses fields"},
    {"", 0, {kCanary, kCanary, kCanary, kCanary}, "empty"},
    {"...", 0, {kCanary, kCanary, kCanary, kCanary}, "no field"},
    {"1", 0, {1, kCanary, kCanary, kCanary}, "one field"},
    {"1.2.3", 0, {1, 2, 3, kCanary}, "three fields"},
    {"x.2.3.4", 0, {kCanary, kCanary, kCanary, kCanary}, "a bad first field"},
    {"1.x.3.4", 0, {1, kCanary, kCanary, kCanary}, "a bad second field"},
    {"1.2.256.4", 0, {1, 2, kCanary, kCanary}, "a third field that is too large"},
    {"1.2.3.4 ", 0, {1, 2, 3, kCanary}, "a blank in the fourth field"},
    {"1.2.3.4294967301", 0, {1, 2, 3, kCanary}, "would wrap to 5"},
    {"1.2.-3.4", 0, {1, 2, kCanary, kCanary}, "a sign"},
};

TEST(IpAddrSplit, StoresOctetsAsItReadsThem) {
  for (const SplitCase& each : kSplits) {
    uint32_t octets[5];
    auto split = [&](const char* text) {
      std::fill(std::begin(octets), std::end(octets), kCanary);
      return ROQ_UTIL_IpAddrSplit(text, octets);
    };
    EXPECT_EQ(judge_in_place(split, each.text), each.expected) << '"' << each.text << "\": " << each.why;
    for (size_t i = 0; i < 4; ++i)
      EXPECT_EQ(octets[i], each.octets[i]) << '"' << each.text << "\": " << i;
    EXPECT_EQ(octets[4], kCanary);
  }
}

TEST(IpAddrSplit, RefusesNullPointers) {
  uint32_t octets[4] = {kCanary, kCanary, kCanary, kCanary};
  EXPECT_EQ(ROQ_UTIL_IpAddrSplit(nullptr, octets), 0U);
  EXPECT_EQ(octets[0], kCanary);
  EXPECT_EQ(ROQ_UTIL_IpAddrSplit("1.2.3.4", nullptr), 0U);
}

TEST(IpAddrSplit, RefusesAndStoresNothingWhenTheHeapIsExhausted) {
  uint32_t octets[4] = {kCanary, kCanary, kCanary, kCanary};
  AllocationProbe probe(1);
  errno = 4711;
  uint32_t verdict = ROQ_UTIL_IpAddrSplit("1.2.3.4", octets);
  int left_in_errno = errno;
  EXPECT_EQ(verdict, 0U);
  EXPECT_EQ(left_in_errno, 4711);
  EXPECT_EQ(octets[0], kCanary);
}

TEST(IpAddrSplit, CopiesUpTo20BytesOfTheTextAndItsEnd) {
  uint32_t octets[4];
  expect_copies_of_up_to_20_bytes([&](const char* text) { ROQ_UTIL_IpAddrSplit(text, octets); });
}

TEST(IpAddrSplit, ReadsATextThatLiesInItsOutput) {
  uint32_t octets[4];
  strcpy(reinterpret_cast<char*>(octets), "192.168.10.254");
  EXPECT_EQ(ROQ_UTIL_IpAddrSplit(reinterpret_cast<char*>(octets), octets), 1U);
  EXPECT_EQ(octets[0], 192U);
  EXPECT_EQ(octets[1], 168U);
  EXPECT_EQ(octets[2], 10U);
  EXPECT_EQ(octets[3], 254U);
}

TEST(IpAddrSplit, ReleasesItsCopyOnEveryWay) {
  for (const char* text : {"1.2.3.4", "1.x", "", "1.2.3.4.5.6.7.8.9.10.11.12"}) {
    uint32_t octets[4];
    AllocationProbe probe;
    ROQ_UTIL_IpAddrSplit(text, octets);
    EXPECT_EQ(probe.asked(), 1U) << text;
    EXPECT_EQ(probe.held(), 0U) << text;
  }
}

constexpr TextCase kPrefixLengths[] = {
    {"255.255.255.0", 24, "24 bits"},
    {"0.0.0.0", 0, "none"},
    {"255.255.255.255", 32, "all"},
    {"255.0.255.0", 8, "counting stops at the first zero"},
    {"128.0.0.0", 1, "one"},
    {"127.255.255.255", 0, "the first bit is zero"},
    {"255.255.255.1", 24, "a stray one"},
    {"255.0", 8, "two fields"},
    {"255.255.0", 16, "three fields"},
    {"255.16777215", 32, "two fields, the last of 24 bits"},
    {"255.255.65280", 24, "three fields, the last of 16 bits"},
    {"4294967040", 24, "one field"},
    {"4294967295", 32, "one field, all ones"},
    {"4294967296", 0, "one beyond"},
    {"18446744073709551615", 0, "all ones in 64 bits"},
    {"0xffffff00", 24, "hexadecimal"},
    {"0XFF.0xFf.0", 16, "hexadecimal fields"},
    {"0377.0377.0.0", 16, "octal"},
    {"0377.0378.0.0", 0, "no octal"},
    {"0240", 0, "a small number"},
    {"255.255.255.0junk", 0, "anything else behind"},
    {" 255.255.255.0", 0, "a leading blank"},
    {"255.255.255.256", 0, "too large"},
    {"256.0.0.0", 0, "too large"},
    {"255.16777216", 0, "too large for 24 bits"},
    {"255.255.65536", 0, "too large for 16 bits"},
    {"255.255.255.0.0", 0, "five fields"},
    {"255..255.0", 0, "an empty field"},
    {"255.255.255.", 0, "an empty last field"},
    {"-1", 0, "a sign"},
    {"+255.0.0.0", 0, "a sign"},
    {"0x", 0, "no digit"},
    {"", 0, "empty"},
    {"mask", 0, "a word"},
    {"\xff", 0, "a byte above 0x7f"},
};

TEST(IpMaskToCidrLen, CountsLeadingOnesOfWhatThePermissiveParserReads) {
  expect_verdicts(ROQ_IpMaskToCidrLen, kPrefixLengths);
}

TEST(IpMaskToCidrLen, IgnoresWhiteSpaceBehindTheMaskAndWhatFollowsIt) {
  EXPECT_EQ(judge_in_place(ROQ_IpMaskToCidrLen, "255.255.255.0 "), 24U);
  EXPECT_EQ(judge_in_place(ROQ_IpMaskToCidrLen, "255.255.255.0\tjunk"), 24U);
}

TEST(IpMaskToCidrLen, NeedsNoHeap) {
  AllocationProbe probe(1, roq::test::Fails::from_there_on);
  EXPECT_EQ(ROQ_IpMaskToCidrLen("255.255.255.0 junk"), 24U);
  EXPECT_EQ(probe.asked(), 0U);
}

TEST(IpMaskToCidrLen, IsZeroForANullPointer) { EXPECT_EQ(ROQ_IpMaskToCidrLen(nullptr), 0U); }

} // namespace
