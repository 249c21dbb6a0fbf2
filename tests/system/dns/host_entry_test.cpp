// Host entries out of replies, switch files and static storage.
#include "system/dns/files.h"
#include "system/dns/scenario.h"
#include "system/dns/scripted_server.h"
#include <arpa/inet.h>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <roqutil/dns.h>
#include <unistd.h>

namespace {

using namespace roq::tests;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

constexpr char kName[] = "www.example.net";
constexpr bool k64Bit = sizeof(char*) == 8;

std::vector<Bytes> ipv4_records(size_t count) {
  std::vector<Bytes> records;
  for (size_t i = 1; i <= count; ++i)
    records.push_back(a_record(kAskedName, {192, 0, 2, static_cast<uint8_t>(i)}));
  return records;
}

std::vector<Bytes> ipv6_records(size_t count) {
  std::vector<Bytes> records;
  for (size_t i = 1; i <= count; ++i)
    records.push_back(aaaa_record(kAskedName, static_cast<uint8_t>(i)));
  return records;
}

std::vector<std::string> addresses_of(const hostent& host) {
  std::vector<std::string> texts;
  for (char** at = host.h_addr_list; *at != nullptr; ++at) {
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(host.h_addrtype, *at, text, sizeof text);
    texts.push_back(text);
  }
  return texts;
}

// A caller's record and buffer; the bytes behind the buffer must stay as they are.
class HostEntry : public testing::Test {
protected:
  HostEntry() {
    memset(buffer_, 0x5A, sizeof buffer_);
    memset(&record_, 0x5A, sizeof record_);
  }
  ~HostEntry() override {
    unlink("/var/dns/ipv4");
    unlink("/var/dns/ipv6");
  }

  int32_t resolve(int32_t family, size_t size = 1000, size_t shift = 0, const char* name = kName) {
    result_ = &marker_;
    const int32_t code =
        handy_gethostbyname2_r(name, family, &record_, buffer_ + shift, static_cast<uint32_t>(size), &result_, nullptr);
    for (size_t i = shift + size; i < sizeof buffer_; ++i)
      EXPECT_EQ(buffer_[i], 0x5A) << "behind the end";
    for (size_t i = 0; i < shift; ++i)
      EXPECT_EQ(buffer_[i], 0x5A) << "before the start";
    return code;
  }

  bool record_untouched() const {
    hostent untouched;
    memset(&untouched, 0x5A, sizeof untouched);
    return memcmp(&record_, &untouched, sizeof untouched) == 0;
  }

  template <typename T> ptrdiff_t at(T* place) const { return reinterpret_cast<const char*>(place) - buffer_; }

  alignas(16) char buffer_[1100];
  hostent record_, marker_{};
  hostent* result_ = nullptr;
};

TEST_F(HostEntry, OfOneIpv4AddressIsFilledInside) {
  ScriptedServer relay(always(ipv4_records(1)));
  ASSERT_EQ(resolve(AF_INET), 0);
  EXPECT_EQ(result_, &record_);
  EXPECT_STREQ(record_.h_name, kName);
  EXPECT_EQ(record_.h_addrtype, 2);
  EXPECT_EQ(record_.h_length, 4);
  EXPECT_THAT(addresses_of(record_), ElementsAre("192.0.2.1"));
  EXPECT_EQ(record_.h_aliases[0], record_.h_name);
  EXPECT_EQ(record_.h_aliases[1], nullptr);
  EXPECT_EQ(at(record_.h_addr_list[0]), 0);
  EXPECT_EQ(at(record_.h_addr_list), k64Bit ? 8 : 4);
  EXPECT_EQ(at(record_.h_aliases), k64Bit ? 24 : 12);
  EXPECT_EQ(at(record_.h_name), k64Bit ? 88 : 44);
}

TEST_F(HostEntry, OfThreeIpv4AddressesListsThemInOrder) {
  ScriptedServer relay(always(ipv4_records(3)));
  ASSERT_EQ(resolve(AF_INET), 0);
  EXPECT_THAT(addresses_of(record_), ElementsAre("192.0.2.1", "192.0.2.2", "192.0.2.3"));
  EXPECT_STREQ(record_.h_name, kName);
  EXPECT_EQ(at(record_.h_addr_list[1]), k64Bit ? 72 : 36);
  EXPECT_EQ(at(record_.h_addr_list), k64Bit ? 80 : 44);
  EXPECT_EQ(at(record_.h_name), k64Bit ? 112 : 60);
  EXPECT_EQ(at(record_.h_aliases[0]), k64Bit ? 88 : 44) << "still the old start of the name area";
  EXPECT_EQ(record_.h_aliases[1], nullptr);
}

TEST_F(HostEntry, OfIpv6LeavesTheAliases) {
  ScriptedServer relay(always(ipv6_records(1)));
  char** const before = record_.h_aliases;
  ASSERT_EQ(resolve(AF_INET6), 0);
  EXPECT_EQ(record_.h_aliases, before);
  EXPECT_EQ(record_.h_addrtype, 10);
  EXPECT_EQ(record_.h_length, 16);
  EXPECT_STREQ(record_.h_name, kName);
  EXPECT_THAT(addresses_of(record_), ElementsAre("2001:db8::1"));
  EXPECT_EQ(at(record_.h_addr_list), 16);
  EXPECT_EQ(at(record_.h_name), k64Bit ? 32 : 24);
}

TEST_F(HostEntry, OfThreeIpv6AddressesListsThemInOrder) {
  ScriptedServer relay(always(ipv6_records(3)));
  ASSERT_EQ(resolve(AF_INET6), 0);
  EXPECT_THAT(addresses_of(record_), ElementsAre("2001:db8::1", "2001:db8::2", "2001:db8::3"));
  EXPECT_EQ(at(record_.h_addr_list[1]), 16);
  EXPECT_EQ(at(record_.h_addr_list), 48);
  EXPECT_EQ(at(record_.h_name), k64Bit ? 80 : 64);
}

TEST_F(HostEntry, HoldsAtMostEightAddresses) {
  ScriptedServer relay([](const Query& query) {
    const bool ipv6 = query.bytes[query.bytes.size() - 3] == kAaaa;
    return std::vector<Bytes>{reply_to(query.bytes, ipv6 ? ipv6_records(12) : ipv4_records(12))};
  });
  ASSERT_EQ(resolve(AF_INET), 0);
  EXPECT_THAT(addresses_of(record_), SizeIs(8));
  EXPECT_EQ(addresses_of(record_)[7], "192.0.2.8");
  ASSERT_EQ(resolve(AF_INET6), 0);
  EXPECT_THAT(addresses_of(record_), SizeIs(8));
  EXPECT_EQ(addresses_of(record_)[7], "2001:db8::8");
}

TEST_F(HostEntry, IsNamedAfterTheFirstAddressNotAfterWhatWasAsked) {
  const Bytes owner = wire_name("host.example.org");
  ScriptedServer relay(always(
      {record(kAskedName, kCname, 60, owner), a_record(owner, {192, 0, 2, 1}), a_record(owner, {192, 0, 2, 2})}));
  ASSERT_EQ(resolve(AF_INET), 0);
  EXPECT_STREQ(record_.h_name, "host.example.org");
  EXPECT_THAT(addresses_of(record_), ElementsAre("192.0.2.1", "192.0.2.2"));
}

TEST_F(HostEntry, IsNotMadeFromALoneAlias) {
  ScriptedServer relay(always({record(kAskedName, kCname, 60, wire_name("host.example.org"))}));
  EXPECT_EQ(resolve(AF_INET), 2);
  EXPECT_EQ(result_, nullptr);
  EXPECT_TRUE(record_untouched());
  EXPECT_THAT(relay.queries(), SizeIs(1)) << "the alias is not followed, and nothing is tried again";
}

TEST_F(HostEntry, IsNotMadeFromAddressesOfOddLength) {
  for (size_t length : {0U, 3U, 5U, 16U}) {
    ScriptedServer relay(always({record(kAskedName, kA, 1, Bytes(length, 1))}));
    EXPECT_EQ(resolve(AF_INET), 2) << length;
    EXPECT_EQ(result_, nullptr);
    EXPECT_THAT(relay.queries(), SizeIs(1));
  }
  ScriptedServer relay(always({record(kAskedName, kAaaa, 1, Bytes(4, 1)), record(kAskedName, kAaaa, 1, Bytes(4, 1))}));
  EXPECT_EQ(resolve(AF_INET6), 2);
  EXPECT_TRUE(record_untouched());
}

TEST_F(HostEntry, NeedsRoomForTheFixedLayout) {
  ScriptedServer relay(always(ipv4_records(1)));
  EXPECT_EQ(resolve(AF_INET, k64Bit ? 343 : 299), 34);
  EXPECT_EQ(result_, nullptr);
  EXPECT_THAT(relay.queries(), SizeIs(0));
  EXPECT_EQ(resolve(AF_INET, k64Bit ? 344 : 300), 0);
  EXPECT_THAT(relay.queries(), SizeIs(1));
}

TEST_F(HostEntry, OfIpv6NeedsRoomForTheFixedLayout) {
  ScriptedServer relay(always(ipv6_records(1)));
  EXPECT_EQ(resolve(AF_INET6, k64Bit ? 287 : 279), 34);
  EXPECT_EQ(result_, nullptr);
  EXPECT_EQ(resolve(AF_INET6, k64Bit ? 288 : 280), 0);
  EXPECT_THAT(relay.queries(), SizeIs(1));
}

TEST_F(HostEntry, NeedsRoomForEveryAddress) {
  ScriptedServer relay(always(ipv4_records(3)));
  // What the layout takes and 256 bytes for the name.
  const size_t needed = (k64Bit ? 112 : 60) + 256;
  EXPECT_EQ(resolve(AF_INET, needed), 0);
  EXPECT_THAT(addresses_of(record_), SizeIs(3));
  memset(&record_, 0x5A, sizeof record_);
  memset(buffer_, 0x5A, sizeof buffer_);
  EXPECT_EQ(resolve(AF_INET, needed - 1), 34);
  EXPECT_EQ(result_, nullptr);
  EXPECT_TRUE(record_untouched());
  EXPECT_EQ(resolve(AF_INET, k64Bit ? 344 : 300), 34);
  EXPECT_THAT(relay.queries(), SizeIs(3)) << "a shortage is not tried again";
}

TEST_F(HostEntry, OfIpv6NeedsRoomForEveryAddress) {
  ScriptedServer relay(always(ipv6_records(8)));
  const size_t needed = (k64Bit ? 200 : 164) + 256;
  EXPECT_EQ(resolve(AF_INET6, needed), 0);
  EXPECT_THAT(addresses_of(record_), SizeIs(8));
  memset(buffer_, 0x5A, sizeof buffer_);
  EXPECT_EQ(resolve(AF_INET6, needed - 1), 34);
}

TEST_F(HostEntry, InAMisalignedBufferBeginsAtTheFirstAlignedByte) {
  ScriptedServer relay(always(ipv4_records(3)));
  for (size_t shift = 1; shift < sizeof(char*); ++shift) {
    memset(buffer_, 0x5A, sizeof buffer_);
    ASSERT_EQ(resolve(AF_INET, 900, shift), 0) << shift;
    EXPECT_THAT(addresses_of(record_), ElementsAre("192.0.2.1", "192.0.2.2", "192.0.2.3"));
    EXPECT_EQ(at(record_.h_addr_list[0]), static_cast<ptrdiff_t>(sizeof(char*)));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(record_.h_addr_list) % sizeof(char*), 0U);
  }
}

TEST_F(HostEntry, OfANumericNameIsMadeWithoutAQuery) {
  ScriptedServer relay(always(ipv4_records(1)));
  ASSERT_EQ(resolve(AF_INET, 1000, 0, "10.0.0.1"), 0);
  EXPECT_THAT(addresses_of(record_), ElementsAre("10.0.0.1"));
  EXPECT_STREQ(record_.h_name, "10.0.0.1");
  ASSERT_EQ(resolve(AF_INET6, 1000, 0, "fe80::1"), 0);
  EXPECT_THAT(addresses_of(record_), ElementsAre("fe80::1"));
  EXPECT_STREQ(record_.h_name, "fe80::1");
  EXPECT_EQ(record_.h_length, 16);
  EXPECT_THAT(relay.queries(), SizeIs(0));
}

TEST_F(HostEntry, OfANumericNameOfTheOtherFamilyIsAskedFor) {
  ScriptedServer relay([](const Query& query) { return std::vector<Bytes>{reply_to(query.bytes, {}, 0x8183)}; });
  EXPECT_EQ(resolve(AF_INET6, 1000, 0, "10.0.0.1"), 2);
  EXPECT_EQ(resolve(AF_INET, 1000, 0, "fe80::1"), 2);
  EXPECT_THAT(relay.queries(), SizeIs(8));
}

TEST_F(HostEntry, OfIpv6AsksForTheNameCutToTheBuffer) {
  ScriptedServer relay([](const Query& query) { return std::vector<Bytes>{reply_to(query.bytes, {}, 0x8183)}; });
  const std::string name(300, 'x');
  // A name area of 256 bytes, which holds 255 characters.
  EXPECT_EQ(resolve(AF_INET6, k64Bit ? 288 : 280, 0, name.c_str()), 2);
  EXPECT_EQ(resolve(AF_INET, k64Bit ? 344 : 300, 0, name.c_str()), 2);
  const std::vector<Query> queries = relay.queries();
  ASSERT_THAT(queries, SizeIs(8));
  EXPECT_EQ(queries[0].bytes.size(), 12U + 1 + 255 + 1 + 4);
  EXPECT_EQ(queries[4].bytes.size(), 12U + 1 + 300 + 1 + 4) << "IPv4 asks for the whole name";
}

TEST_F(HostEntry, IsRefusedForOtherFamiliesAndNullNames) {
  for (int32_t family : {0, 1, 3, 9, 11, -1}) {
    EXPECT_EQ(resolve(family), 22) << family;
    EXPECT_EQ(result_, nullptr);
  }
  EXPECT_EQ(resolve(AF_INET, 1000, 0, nullptr), 22);
  EXPECT_EQ(result_, nullptr);
  EXPECT_EQ(resolve(AF_INET6, 1000, 0, nullptr), 22);
  EXPECT_EQ(result_, nullptr);
  EXPECT_EQ(resolve(AF_INET6, 10, 0, nullptr), 22) << "the name is looked at before the buffer";
  EXPECT_TRUE(record_untouched());
}

TEST_F(HostEntry, IsRefusedForNullPlaces) {
  for (int32_t family : {AF_INET, AF_INET6}) {
    result_ = &marker_;
    EXPECT_EQ(handy_gethostbyname2_r("::1", family, nullptr, buffer_, 1000, &result_, nullptr), 22);
    EXPECT_EQ(result_, nullptr);
    EXPECT_EQ(handy_gethostbyname2_r("::1", family, &record_, nullptr, 1000, &result_, nullptr), 22);
    EXPECT_EQ(handy_gethostbyname2_r("::1", family, &record_, buffer_, 1000, nullptr, nullptr), 22);
  }
  EXPECT_TRUE(record_untouched());
}

TEST_F(HostEntry, OfIpv4IsSwitchedOffWithoutTouchingTheResult) {
  write_file("/var/dns/ipv4", "0");
  EXPECT_EQ(resolve(AF_INET, 1000, 0, "10.0.0.1"), 22);
  EXPECT_EQ(result_, &marker_);
  EXPECT_EQ(resolve(AF_INET, 1000, 0, nullptr), 22);
  EXPECT_EQ(result_, &marker_);
  EXPECT_TRUE(record_untouched());
  EXPECT_EQ(resolve(AF_INET6, 1000, 0, "fe80::1"), 0) << "the other family is not concerned";
}

TEST_F(HostEntry, OfIpv6IsSwitchedOffWithANullResult) {
  write_file("/var/dns/ipv6", "0");
  EXPECT_EQ(resolve(AF_INET6, 1000, 0, "fe80::1"), 22);
  EXPECT_EQ(result_, nullptr);
  EXPECT_EQ(resolve(AF_INET6, 10, 0, "fe80::1"), 22) << "the switch is asked before the buffer is looked at";
  EXPECT_EQ(resolve(AF_INET, 1000, 0, "10.0.0.1"), 0);
}

TEST_F(HostEntry, IsMadeWhenTheSwitchIsExactlyOne) {
  const std::pair<const char*, int32_t> switches[] = {{"1", 0},
                                                      {"1\n", 0},
                                                      {"1\n0\n", 0},
                                                      {" 1", 0},
                                                      {"+1", 0},
                                                      {"01", 0},
                                                      {"1abc", 0},
                                                      {"1 0", 0},
                                                      {"\t1\n", 0},
                                                      {"0", 22},
                                                      {"2", 22},
                                                      {"-1", 22},
                                                      {"", 22},
                                                      {"\n1\n", 22},
                                                      {"on", 22},
                                                      {"11", 22},
                                                      {"0x1", 22},
                                                      {"x1", 22},
                                                      {"4294967297", 22},
                                                      {"18446744073709551617", 22},
                                                      {"10000000000000000000000000000001", 22}};
  for (const auto& [content, code] : switches) {
    write_file("/var/dns/ipv4", content);
    write_file("/var/dns/ipv6", content);
    EXPECT_EQ(resolve(AF_INET, 1000, 0, "10.0.0.1"), code) << content;
    EXPECT_EQ(resolve(AF_INET6, 1000, 0, "fe80::1"), code) << content;
  }
}

TEST_F(HostEntry, ReadsAtMost31CharactersOfASwitch) {
  write_file("/var/dns/ipv4", std::string(30, ' ') + "12");
  EXPECT_EQ(resolve(AF_INET, 1000, 0, "10.0.0.1"), 0) << "the 2 is not read";
  write_file("/var/dns/ipv4", std::string(31, ' ') + "1");
  EXPECT_EQ(resolve(AF_INET, 1000, 0, "10.0.0.1"), 22);
}

TEST_F(HostEntry, ReadsTheSwitchOnEveryCall) {
  write_file("/var/dns/ipv4", "0");
  EXPECT_EQ(resolve(AF_INET, 1000, 0, "10.0.0.1"), 22);
  write_file("/var/dns/ipv4", "1");
  EXPECT_EQ(resolve(AF_INET, 1000, 0, "10.0.0.1"), 0);
  unlink("/var/dns/ipv4");
  EXPECT_EQ(resolve(AF_INET, 1000, 0, "10.0.0.1"), 0);
}

// The kernel's switch lies in /proc, which these replace in processes of their own.
class KernelSwitch : public Scenarios {};

int32_t resolve_ipv6() {
  hostent record, *result = nullptr;
  alignas(16) char buffer[1000];
  return handy_gethostbyname2_r("fe80::1", AF_INET6, &record, buffer, sizeof buffer, &result, nullptr);
}

constexpr char kKernelSwitch[] = "/proc/sys/net/ipv6/conf/all/enable";

ROQ_SCENARIO(KernelSwitch, ComesBeforeTheSwitchOfIpv6) {
  enter_empty_proc();
  EXPECT_EQ(resolve_ipv6(), 0) << "a missing file counts as 1";
  write_file(kKernelSwitch, "1");
  EXPECT_EQ(resolve_ipv6(), 0);
  write_file("/var/dns/ipv6", "0");
  EXPECT_EQ(resolve_ipv6(), 22);
  write_file("/var/dns/ipv6", "1");
  write_file(kKernelSwitch, "0\n");
  EXPECT_EQ(resolve_ipv6(), 22);
  write_file(kKernelSwitch, "");
  EXPECT_EQ(resolve_ipv6(), 22);
}

ROQ_SCENARIO(KernelSwitch, DoesNotConcernIpv4) {
  enter_empty_proc();
  write_file(kKernelSwitch, "0");
  EXPECT_NE(ROQ_UTIL_Gethostbyname("10.0.0.1", AF_INET, nullptr), nullptr);
}

class StaticHostEntry : public HostEntry {};

TEST_F(StaticHostEntry, OfRoqGethostbynameIgnoresTheSwitch) {
  ScriptedServer relay(always(ipv4_records(3)));
  write_file("/var/dns/ipv4", "0");
  const hostent* host = roq_gethostbyname(kName, htonl(0x7F000009));
  ASSERT_NE(host, nullptr);
  EXPECT_THAT(addresses_of(*host), ElementsAre("192.0.2.1", "192.0.2.2", "192.0.2.3"));
  EXPECT_THAT(relay.clients(), ElementsAre("127.0.0.9"));
  EXPECT_EQ(ROQ_UTIL_Gethostbyname(kName, AF_INET, nullptr), nullptr);
}

TEST_F(StaticHostEntry, OfRoqGethostbynameWithSource0AsksOnlyTheIpv4Relay) {
  ScriptedServer relay([](const Query& query) { return std::vector<Bytes>{reply_to(query.bytes, {}, 0x8183)}; });
  EXPECT_EQ(roq_gethostbyname(kName, 0), nullptr);
  EXPECT_THAT(relay.queries(), SizeIs(4));
  EXPECT_THAT(relay.asked_servers(), Each("127.0.0.1"));
  EXPECT_THAT(relay.clients(), Each("127.0.0.1"));
}

TEST_F(StaticHostEntry, IsNullOnFailure) {
  EXPECT_EQ(roq_gethostbyname(nullptr, 0), nullptr);
  EXPECT_EQ(ROQ_UTIL_Gethostbyname(nullptr, AF_INET, nullptr), nullptr);
  EXPECT_EQ(ROQ_UTIL_Gethostbyname("10.0.0.1", 3, nullptr), nullptr);
  ASSERT_NE(ROQ_UTIL_Gethostbyname("10.0.0.1", AF_INET, nullptr), nullptr);
  write_file("/var/dns/ipv4", "0");
  EXPECT_EQ(ROQ_UTIL_Gethostbyname("10.0.0.1", AF_INET, nullptr), nullptr) << "also when it succeeded before";
}

TEST_F(StaticHostEntry, IsOverwrittenByTheNextCallOfTheSameFunctionOnly) {
  const hostent* first = ROQ_UTIL_Gethostbyname("10.0.0.1", AF_INET, nullptr);
  const hostent* other = roq_gethostbyname("10.0.0.2", 0);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(other, nullptr);
  EXPECT_THAT(addresses_of(*first), ElementsAre("10.0.0.1"));
  EXPECT_EQ(ROQ_UTIL_Gethostbyname("10.0.0.3", AF_INET, nullptr), first);
  EXPECT_THAT(addresses_of(*first), ElementsAre("10.0.0.3"));
  EXPECT_THAT(addresses_of(*other), ElementsAre("10.0.0.2"));
}

TEST_F(StaticHostEntry, HoldsEightAddressesOfEitherFamily) {
  ScriptedServer relay([](const Query& query) {
    const bool ipv6 = query.bytes[query.bytes.size() - 3] == kAaaa;
    return std::vector<Bytes>{reply_to(query.bytes, ipv6 ? ipv6_records(8) : ipv4_records(8))};
  });
  for (int32_t family : {AF_INET, AF_INET6}) {
    const hostent* host = ROQ_UTIL_Gethostbyname(kName, family, nullptr);
    ASSERT_NE(host, nullptr) << family;
    EXPECT_THAT(addresses_of(*host), SizeIs(8));
    EXPECT_STREQ(host->h_name, kName);
  }
  const hostent* host = roq_gethostbyname(kName, 0);
  ASSERT_NE(host, nullptr);
  EXPECT_THAT(addresses_of(*host), SizeIs(8));
}

TEST_F(HostEntry, ThatIsTooSmallIsReportedBeforeAddressesOfOddLength) {
  ScriptedServer relay(always(std::vector<Bytes>(4, record(kAskedName, kA, 1, Bytes(16, 1)))));
  EXPECT_EQ(resolve(AF_INET, k64Bit ? 344 : 300), 34);
  EXPECT_EQ(resolve(AF_INET), 2);
}

TEST_F(StaticHostEntry, IsAskedForFromTheSource) {
  ScriptedServer relay([](const Query& query) { return std::vector<Bytes>{reply_to(query.bytes, {}, 0x8183)}; });
  EXPECT_EQ(ROQ_UTIL_Gethostbyname(kName, AF_INET, "127.0.0.9"), nullptr);
  EXPECT_THAT(relay.queries(), SizeIs(4));
  EXPECT_THAT(relay.clients(), Each("127.0.0.9"));
}

TEST_F(StaticHostEntry, HasBuffersOf460And472Bytes) {
  // Eight addresses come, and as many records are announced as fit the name area; one more is a shortage.
  const auto announce = [](size_t count, auto resolve) {
    ScriptedServer relay([count](const Query& query) {
      const bool ipv6 = query.bytes[query.bytes.size() - 3] == kAaaa;
      Bytes reply = reply_to(query.bytes, ipv6 ? ipv6_records(8) : ipv4_records(8));
      reply[7] = static_cast<uint8_t>(count);
      return std::vector<Bytes>{reply};
    });
    return resolve() != nullptr;
  };
  const auto old = [] { return roq_gethostbyname(kName, 0); };
  const auto ipv4 = [] { return ROQ_UTIL_Gethostbyname(kName, AF_INET, nullptr); };
  const auto ipv6 = [] { return ROQ_UTIL_Gethostbyname(kName, AF_INET6, nullptr); };
  const size_t most_old = 1 + (460 - (k64Bit ? 88 : 44)) / 8, most_ipv4 = 1 + (472 - (k64Bit ? 88 : 44)) / 8;
  const size_t most_ipv6 = 1 + (472 - (k64Bit ? 32 : 24)) / 20;
  EXPECT_TRUE(announce(most_old, old));
  EXPECT_FALSE(announce(most_old + 1, old));
  EXPECT_TRUE(announce(most_ipv4, ipv4));
  EXPECT_FALSE(announce(most_ipv4 + 1, ipv4));
  EXPECT_TRUE(announce(most_ipv6, ipv6));
  EXPECT_FALSE(announce(most_ipv6 + 1, ipv6));
}

} // namespace
