#include "netinfo/route.h"
#include "unit/netinfo/table.h"
#include <cstring>

using namespace roq::netinfo;

namespace {

constexpr char kHeader[] = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";

std::string default_route(std::string_view table) {
  char name[32];
  memset(name, 0x5a, sizeof name);
  name[0] = '\0';
  LineReader reader = table_of(table);
  find_default_route(reader, name);
  size_t used = strlen(name) + 1;
  for (size_t i = used; i < sizeof name; ++i)
    EXPECT_EQ(name[i], 0x5a) << "written behind the terminator: " << i;
  return name;
}

std::string route(std::string_view name, std::string_view destination = "00000000", std::string_view mask = "00000000",
                  std::string_view metric = "0") {
  std::string line(name);
  for (std::string_view column : {destination, std::string_view("0100A8C0"), std::string_view("0003"),
                                  std::string_view("0"), std::string_view("0"), metric, mask}) {
    line += '\t';
    line += column;
  }
  return line + "\t0\t0\t0\n";
}

constexpr char kAny[] = "00000000000000000000000000000000";

std::string ipv6_route(std::string_view device, std::string_view metric, std::string_view destination = kAny,
                       std::string_view destination_length = "00", std::string_view source = kAny,
                       std::string_view source_length = "00") {
  std::string line;
  for (std::string_view column :
       {destination, destination_length, source, source_length, std::string_view(kAny), metric,
        std::string_view("00000001"), std::string_view("00000000"), std::string_view("00000003"), device}) {
    line += column;
    line += ' ';
  }
  return line + "\n";
}

struct Ipv6Name {
  char bytes[96];
  std::string text() const { return {bytes, strnlen(bytes, sizeof bytes)}; }
};

// The whole buffer, filled with 'Z' before the search.
Ipv6Name ipv6_default_route(std::string_view table, uint32_t size) {
  Ipv6Name name;
  memset(name.bytes, 'Z', sizeof name.bytes);
  LineReader reader = table_of(table);
  find_ipv6_default_route(reader, name.bytes, size);
  return name;
}

std::string printed_by(void (*action)()) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

} // namespace

TEST(DefaultRoute, IsTheFirstLineWithoutDestinationAndMask) {
  EXPECT_EQ(default_route(kHeader + route("eth1", "0000A8C0", "00FFFFFF") + route("ppp0") + route("eth2")), "ppp0");
}

TEST(DefaultRoute, IsTheFirstOneWhateverTheMetrics) {
  EXPECT_EQ(default_route(kHeader + route("eth0", "00000000", "00000000", "900") +
                          route("eth1", "00000000", "00000000", "1")),
            "eth0");
}

TEST(DefaultRoute, NeedsBothDestinationAndMask) {
  EXPECT_EQ(default_route(kHeader + route("eth0", "00000000", "000000FF") + route("eth1", "0000000A", "00000000")), "");
}

TEST(DefaultRoute, IsComparedWithAllEightDigits) {
  EXPECT_EQ(default_route(kHeader + route("eth0", "0000000", "00000000") + route("eth1", "000000000", "00000000")), "");
}

TEST(DefaultRoute, IsNotSoughtInTheFirstLine) {
  EXPECT_EQ(default_route(route("eth0")), "");
  EXPECT_EQ(default_route(route("eth0") + route("eth1")), "eth1");
}

TEST(DefaultRoute, IsNotInAnEmptyTable) {
  EXPECT_EQ(default_route(""), "");
  EXPECT_EQ(default_route(kHeader), "");
  EXPECT_EQ(default_route("\n\n\n"), "");
}

TEST(DefaultRoute, IsFoundInALineWithoutLineEnd) {
  std::string table = kHeader + route("eth0");
  table.pop_back();
  EXPECT_EQ(default_route(table), "eth0");
}

TEST(DefaultRoute, OfAShortLineHasTheMaskOfTheLineBefore) {
  EXPECT_EQ(default_route(kHeader + route("eth0", "0000000A", "00000000") + "eth1 00000000\n"), "eth1");
  EXPECT_EQ(default_route(kHeader + route("eth0", "0000000A", "000000FF") + "eth1 00000000\n"), "");
}

TEST(DefaultRoute, HasAnInterfaceOfAtMost31Characters) {
  std::string name(40, 'n');
  EXPECT_EQ(default_route(kHeader + route(name)), name.substr(0, 31));
  EXPECT_EQ(default_route(kHeader + route(name.substr(0, 31))), name.substr(0, 31));
}

TEST(DefaultRoute, IsNotFoundThroughColumnsCutToTheRightText) {
  // 31 characters are left of the destination: still not the eight zeros.
  EXPECT_EQ(default_route(kHeader + route("eth0", std::string(40, '0'), "00000000")), "");
}

TEST(DefaultRoute, IsFoundInTheRestOfAnOverLongLine) {
  std::string long_line(1023, 'x');
  EXPECT_EQ(default_route(kHeader + long_line + route("rest0")), "rest0");
  EXPECT_EQ(default_route(kHeader + long_line.substr(1) + route("rest0")), "est0");
}

TEST(DefaultRoute, IsFoundInTheRestOfAnOverLongHeader) {
  EXPECT_EQ(default_route(std::string(1023, 'x') + route("rest0")), "rest0");
}

TEST(DefaultRoute, MayHaveBytesAboveSevenBitsInItsName) {
  EXPECT_EQ(default_route(kHeader + route("\xe4th\xff")), "\xe4th\xff");
}

TEST(DefaultRoute, StopsReadingAtTheHit) {
  roq::UniqueFd file = file_of(kHeader + route("eth0") + std::string(9000, 'x'));
  roq::UniqueFd same_offset(dup(file.get()));
  LineReader table(std::move(file));
  char name[32];
  find_default_route(table, name);
  EXPECT_STREQ(name, "eth0");
  EXPECT_EQ(lseek(same_offset.get(), 0, SEEK_CUR), 1024);
}

TEST(Ipv6DefaultRoute, IsTheOneWithTheLowestMetric) {
  EXPECT_EQ(ipv6_default_route(ipv6_route("eth0", "00000400") + ipv6_route("eth1", "00000100"), 32).text(), "eth1");
  EXPECT_EQ(ipv6_default_route(ipv6_route("eth0", "00000100") + ipv6_route("eth1", "00000400"), 32).text(), "eth0");
}

TEST(Ipv6DefaultRoute, IsTheFirstOfEqualMetrics) {
  EXPECT_EQ(ipv6_default_route(ipv6_route("eth0", "00000100") + ipv6_route("eth1", "00000100"), 32).text(), "eth0");
}

TEST(Ipv6DefaultRoute, IsFoundInTheFirstLine) {
  EXPECT_EQ(ipv6_default_route(ipv6_route("eth0", "00000100"), 32).text(), "eth0");
}

TEST(Ipv6DefaultRoute, ComparesMetricsAsUnsignedNumbers) {
  EXPECT_EQ(ipv6_default_route(ipv6_route("eth0", "fffffffe") + ipv6_route("eth1", "7fffffff"), 32).text(), "eth1");
}

TEST(Ipv6DefaultRoute, IsNeverOneWithTheLargestMetric) {
  EXPECT_EQ(ipv6_default_route(ipv6_route("lo", "ffffffff"), 32).text(), std::string(96, 'Z'));
}

TEST(Ipv6DefaultRoute, ConvertsTheMetricOfDefaultRoutesOnly) {
  EXPECT_EQ(printed_by([] { ipv6_default_route(ipv6_route("eth1", "12g", kAny, "40"), 16); }), "");
  EXPECT_EQ(printed_by([] { ipv6_default_route(ipv6_route("eth0", "12g"), 16); }), "Invalid string\n");
}

TEST(Ipv6DefaultRoute, NeedsAllFourColumns) {
  constexpr char kNetwork[] = "20010db8000000000000000000000000";
  EXPECT_EQ(ipv6_default_route(ipv6_route("a", "00000001", kNetwork) + ipv6_route("b", "00000001", kAny, "40") +
                                   ipv6_route("c", "00000001", kAny, "00", kNetwork) +
                                   ipv6_route("d", "00000001", kAny, "00", kAny, "80") +
                                   ipv6_route("e", "00000001", kAny, "0") + ipv6_route("f", "00000001", "0"),
                               32)
                .text()[0],
            'Z');
}

TEST(Ipv6DefaultRoute, LeavesTheNameAloneWhenThereIsNone) {
  for (std::string_view table : {"", "\n", "text\n"}) {
    EXPECT_EQ(std::string(ipv6_default_route(table, 32).bytes, 96), std::string(96, 'Z'));
  }
}

TEST(Ipv6DefaultRoute, PadsTheNameWithZerosUpToTheLastByte) {
  Ipv6Name name = ipv6_default_route(ipv6_route("eth0", "00000100"), 16);
  EXPECT_EQ(std::string(name.bytes, 16), "eth0" + std::string(11, '\0') + "Z");
  EXPECT_EQ(name.bytes[16], 'Z');
}

TEST(Ipv6DefaultRoute, FillsASmallBufferWithoutATerminator) {
  EXPECT_EQ(ipv6_default_route(ipv6_route("wlan0", "00000100"), 6).text().substr(0, 7), "wlan0ZZ");
  EXPECT_EQ(ipv6_default_route(ipv6_route("wlan0", "00000100"), 5).text().substr(0, 7), "wlanZZZ");
  EXPECT_EQ(ipv6_default_route(ipv6_route("wlan0", "00000100"), 2).text().substr(0, 7), "wZZZZZZ");
}

TEST(Ipv6DefaultRoute, WritesNothingToABufferOfSizeOneOrNone) {
  EXPECT_EQ(ipv6_default_route(ipv6_route("eth0", "00000100"), 1).bytes[0], 'Z');
  EXPECT_EQ(ipv6_default_route(ipv6_route("eth0", "00000100"), 0).bytes[0], 'Z');
}

TEST(Ipv6DefaultRoute, LeavesNothingOfALongerWorseName) {
  Ipv6Name name = ipv6_default_route(ipv6_route("interface0", "00000400") + ipv6_route("e1", "00000100"), 16);
  EXPECT_EQ(std::string(name.bytes, 16), "e1" + std::string(13, '\0') + "Z");
}

TEST(Ipv6DefaultRoute, HasADeviceOfAtMost63Characters) {
  std::string device(80, 'd');
  EXPECT_EQ(ipv6_default_route(ipv6_route(device, "00000100"), 90).text(), device.substr(0, 63));
}

TEST(Ipv6DefaultRoute, OfAShortLineHasTheLaterColumnsOfTheLineBefore) {
  std::string before = ipv6_route("before", "00000200", "fe80");
  EXPECT_EQ(ipv6_default_route(before + kAny + " 00 " + kAny + " 00\n", 32).text(), "before");
}

TEST(Ipv6DefaultRoute, OfAShortFirstLineHasAnEmptyNameAndMetricZero) {
  Ipv6Name name = ipv6_default_route(std::string(kAny) + " 00 " + kAny + " 00\n" + ipv6_route("eth0", "00000000"), 8);
  EXPECT_EQ(std::string(name.bytes, 8), std::string(7, '\0') + "Z");
}

TEST(Ipv6DefaultRoute, CutsAnOverLongMetricBeforeItIsConverted) {
  // 64 digits: the last one does not count, and the value wraps to its last eight digits.
  std::string metric = std::string(55, '0') + "000001239";
  ASSERT_EQ(metric.size(), 64U);
  EXPECT_EQ(ipv6_default_route(ipv6_route("eth0", metric) + ipv6_route("eth1", "00000123"), 32).text(), "eth0");
  EXPECT_EQ(ipv6_default_route(ipv6_route("eth0", metric) + ipv6_route("eth1", "00000122"), 32).text(), "eth1");
}

TEST(Ipv6DefaultRoute, IsFoundInTheRestOfAnOverLongLine) {
  EXPECT_EQ(ipv6_default_route(std::string(1023, 'x') + ipv6_route("eth0", "00000001"), 32).text(), "eth0");
}

TEST(Hexadecimal, HasTheValueOfItsDigits) {
  EXPECT_EQ(atoi_16("00000400"), 0x400U);
  EXPECT_EQ(atoi_16("deadbeef"), 0xdeadbeefU);
  EXPECT_EQ(atoi_16("f"), 15U);
}

TEST(Hexadecimal, IsZeroForNoText) {
  EXPECT_EQ(atoi_16(nullptr), 0U);
  EXPECT_EQ(atoi_16(""), 0U);
}

TEST(Hexadecimal, ReadsUpperCaseAlike) { EXPECT_EQ(atoi_16("DEADbeef"), 0xdeadbeefU); }

TEST(Hexadecimal, WrapsAbove32Bits) {
  EXPECT_EQ(atoi_16("100000001"), 1U);
  EXPECT_EQ(atoi_16("123456789abcdef0"), 0x9abcdef0U);
}

TEST(Hexadecimal, StopsAtAnyOtherCharacterAndSaysSo) {
  EXPECT_EQ(printed_by([] { EXPECT_EQ(atoi_16("12g4"), 0x12U); }), "Invalid string\n");
  EXPECT_EQ(printed_by([] { EXPECT_EQ(atoi_16("0x12"), 0U); }), "Invalid string\n");
  EXPECT_EQ(printed_by([] { EXPECT_EQ(atoi_16(" 12"), 0U); }), "Invalid string\n");
  EXPECT_EQ(printed_by([] { EXPECT_EQ(atoi_16("1\xff"), 1U); }), "Invalid string\n");
}

TEST(Hexadecimal, PrintsNothingForGoodDigits) {
  EXPECT_EQ(printed_by([] { atoi_16("0123456789abcdefABCDEF"); }), "");
}
