#include "dns/srv.h"
#include "support/dns_message.h"
#include "support/guarded_bytes.h"
#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace roq::dns;
using namespace roq::tests;

constexpr unsigned kId = 0x0929;

void set_text(std::span<char> place, std::string_view text) {
  memset(place.data(), 0, place.size());
  memcpy(place.data(), text.data(), std::min(text.size(), place.size()));
}

// ---- constructpacket

Bytes constructed(std::string_view name, int32_t capacity = 256) {
  set_text(g_resolvename, name);
  uint8_t packet[300];
  memset(packet, 0xEE, sizeof packet);
  int32_t length = capacity;
  EXPECT_EQ(constructpacket(packet, &length), 0);
  for (size_t i = static_cast<size_t>(length); i < sizeof packet; ++i)
    EXPECT_EQ(packet[i], 0xEE);
  return Bytes(packet, packet + length);
}

Bytes expected_query(const Bytes& name) { return header(kId, 0x0100, 1, 0) + question(name, kSrv); }

TEST(SrvQueryPacket, HasTheFixedIdTheLabelsTypeAndClass) {
  EXPECT_EQ(constructed("_sip._udp"), (Bytes{0x09, 0x29, 1,   0, 0,   1,   0,   0,   0, 0, 0,  0, 4, '_',
                                             's',  'i',  'p', 4, '_', 'u', 'd', 'p', 0, 0, 33, 0, 1}));
}

TEST(SrvQueryPacket, DropsEmptyLabels) {
  for (const char* name : {"a..b.", "a.b", ".a.b", "..a...b.."}) {
    EXPECT_EQ(constructed(name), expected_query(wire_name("a.b"))) << name;
  }
  EXPECT_EQ(constructed("..."), expected_query({0}));
}

TEST(SrvQueryPacket, TakesANameWithoutADotForOneLabel) {
  EXPECT_EQ(constructed("gateway"), expected_query(wire_name("gateway")));
  EXPECT_EQ(constructed(""), expected_query({0, 0}));
}

TEST(SrvQueryPacket, DoesNotHoldLabelsTo63Bytes) {
  const std::string name(200, 'x');
  EXPECT_EQ(constructed(name), expected_query(wire_name(name)));
}

TEST(SrvQueryPacket, LeavesTheNameAlone) {
  constructed("a..b.");
  EXPECT_STREQ(g_resolvename, "a..b.");
}

TEST(SrvQueryPacket, WritesNothingBeyondTheCapacityAndLeavesTheLengthAlone) {
  set_text(g_resolvename, "a.bc");
  const int32_t needed = 12 + 6 + 4;
  EXPECT_EQ(constructed("a.bc", needed).size(), static_cast<size_t>(needed));
  for (int32_t capacity = 0; capacity < needed; ++capacity) {
    GuardedRoom room(64);
    int32_t length = capacity;
    EXPECT_EQ(constructpacket(room.room(static_cast<size_t>(capacity)).data(), &length), -1);
    EXPECT_EQ(length, capacity);
  }
  uint8_t byte = 0xEE;
  int32_t negative = -1;
  EXPECT_EQ(constructpacket(&byte, &negative), -1);
  EXPECT_EQ(byte, 0xEE);
  EXPECT_EQ(negative, -1);
}

TEST(SrvQueryPacket, OfTheLongestNamesDoesNotFit256Bytes) {
  uint8_t packet[256];
  int32_t length = 256;
  set_text(g_resolvename, std::string(239, 'x'));
  EXPECT_EQ(constructpacket(packet, &length), -1);
  set_text(g_resolvename, std::string(238, 'x'));
  EXPECT_EQ(constructpacket(packet, &length), 0);
  EXPECT_EQ(length, 256);
  set_text(g_resolvename, std::string(256, 'x'));
  EXPECT_EQ(constructpacket(packet, &length), -1) << "a name without terminator";
}

TEST(SrvQueryPacket, IsRefusedForNullPointers) {
  uint8_t packet[256];
  int32_t length = 256;
  EXPECT_EQ(constructpacket(nullptr, &length), -1);
  EXPECT_EQ(constructpacket(packet, nullptr), -1);
  EXPECT_EQ(length, 256);
}

// ---- DnsSrvParseQueryName, tracename

std::string target_of(const Bytes& wire) {
  uint8_t input[128] = {};
  memcpy(input, wire.data(), wire.size());
  char out[64] = {};
  DnsSrvParseQueryName(input, out);
  return out;
}

TEST(SrvTargetName, IsWrittenWithDots) { EXPECT_EQ(target_of(wire_name("sip.example.net")), "sip.example.net"); }

TEST(SrvTargetName, OfTheRootIsEmpty) { EXPECT_EQ(target_of({0, 'x', 'y'}), ""); }

TEST(SrvTargetName, LosesItsFirstByteWhateverItIs) { EXPECT_EQ(target_of({'x', 'y', 'z', 0}), "yz"); }

TEST(SrvTargetName, ShowsPointersAndOtherOddBytesAsDots) {
  EXPECT_EQ(target_of({3, 's', 'i', 'p', 0xC0, 0x0C}), "sip..");
  EXPECT_EQ(target_of({9, 31, 32, 126, 127, 128, 255, 1, 0}), std::string(". ~\x7F..."));
}

TEST(SrvTargetName, ShowsTheLengthOfALongLabelAsACharacter) {
  EXPECT_EQ(target_of(wire_name("a." + std::string(45, 'b'))), "a-" + std::string(45, 'b'));
}

TEST(SrvTargetName, IsTakenFromAtMost63Bytes) {
  EXPECT_EQ(target_of(Bytes{100} + raw(std::string(100, 'x')) + Bytes{0}), std::string(62, 'x'));
}

TEST(SrvTargetName, IsNotTerminated) {
  char out[8];
  memset(out, 'E', sizeof out);
  const uint8_t wire[] = {2, 'a', 'b', 0};
  DnsSrvParseQueryName(wire, out);
  EXPECT_EQ(std::string(out, 8), "abEEEEEE");
}

TEST(Tracename, DropsTrailingSpacesOnly) {
  char text[] = "  a b \t  ";
  tracename(text);
  EXPECT_STREQ(text, "  a b \t");
  char blank[] = "   ";
  tracename(blank);
  EXPECT_STREQ(blank, "");
  char line[] = "a \n";
  tracename(line);
  EXPECT_STREQ(line, "a \n");
  tracename(nullptr);
}

TEST(WriteDns, OfNoTextLeavesTheFileAlone) {
  const bool there = access("/var/voice_dns", F_OK) == 0;
  write_dns(nullptr);
  EXPECT_EQ(access("/var/voice_dns", F_OK) == 0, there);
}

// ---- analyse_dns_response

std::vector<std::string> asked_targets;
bool targets_are_known;

hostent* resolve_from_table(const char* name, int32_t family, const char* source) {
  asked_targets.emplace_back(name);
  EXPECT_EQ(family, 2);
  EXPECT_EQ(source, nullptr);
  if (!targets_are_known) return nullptr;
  static char address[4] = {static_cast<char>(203), 0, 113, 9};
  static char* addresses[] = {address, nullptr};
  static hostent host{};
  host.h_addr_list = addresses;
  return &host;
}

class SrvReply : public testing::Test {
protected:
  SrvReply() {
    asked_targets.clear();
    targets_are_known = true;
    g_resolvenums = 0;
    memset(g_resolveaddr, 0, sizeof g_resolveaddr);
    memset(g_ttl, 0, sizeof g_ttl);
    memset(srv_record_table, 0xEE, sizeof srv_record_table);
  }
  ~SrvReply() override { g_resolvenums = 0; }

  int32_t analyse(const Bytes& reply) {
    table_ = &marker_;
    const std::span<uint8_t> held = guarded_.hold(reply);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    const int32_t result =
        analyse_response(held.data(), static_cast<int32_t>(held.size()), &table_, resolve_from_table);
    printed_ = testing::internal::GetCapturedStderr();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    return result;
  }

  static bool table_untouched() {
    const auto* bytes = reinterpret_cast<const uint8_t*>(srv_record_table);
    return std::all_of(bytes, bytes + sizeof srv_record_table, [](uint8_t byte) { return byte == 0xEE; });
  }

  static size_t stored() {
    size_t count = 0;
    for (const RoqSrvRecord& record : srv_record_table)
      count += record.valid == 1 ? 1 : 0;
    return count;
  }

  GuardedRoom guarded_{4096};
  RoqSrvRecord marker_{};
  RoqSrvRecord* table_ = nullptr;
  std::string printed_;
};

const Bytes kQuestion = question(wire_name("_sip._udp.example.net"), kSrv);
const Bytes kService = srv_record(kAskedName, 10, 20, 5060, wire_name("sip1.example.net"));
const Bytes kAddress = a_record(kAskedName, {192, 0, 2, 1}, 0xFFFFFFFE);
const Bytes kText = record(kAskedName, kTxt, 1, raw("hello"));

Bytes reply_with(const std::vector<Bytes>& records, unsigned flags = kReplyFlags) {
  Bytes reply = header(kId, flags, 1, static_cast<unsigned>(records.size())) + kQuestion;
  for (const Bytes& one : records)
    reply = reply + one;
  return reply;
}

TEST_F(SrvReply, FillsARecordOfTheTable) {
  ASSERT_EQ(analyse(reply_with({kService})), 0);
  EXPECT_EQ(table_, srv_record_table);
  const RoqSrvRecord& record = srv_record_table[0];
  EXPECT_EQ(record.valid, 1U);
  EXPECT_STREQ(record.name, "");
  EXPECT_EQ(record.type, 33);
  EXPECT_EQ(record.class_, 0);
  EXPECT_EQ(record.ttl, 0U);
  EXPECT_EQ(record.rdlength, 0);
  EXPECT_EQ(record.priority, htons(10));
  EXPECT_EQ(record.weight, htons(20));
  EXPECT_EQ(record.port, htons(5060));
  EXPECT_STREQ(record.target, "sip1.example.net");
  EXPECT_STREQ(record.address, "203.0.113.9");
  EXPECT_EQ(asked_targets, std::vector<std::string>{"sip1.example.net"});
  EXPECT_EQ(srv_record_table[1].valid, 0U);
  EXPECT_EQ(printed_, "");
}

TEST_F(SrvReply, KeepsTheAddressEmptyWhenTheTargetIsUnknown) {
  targets_are_known = false;
  ASSERT_EQ(analyse(reply_with({kService})), 0);
  EXPECT_STREQ(srv_record_table[0].address, "");
  EXPECT_EQ(srv_record_table[0].valid, 1U);
}

TEST_F(SrvReply, ClearsTheWholeTableFirst) {
  ASSERT_EQ(analyse(reply_with({kService})), 0);
  for (size_t i = 1; i < 8; ++i) {
    const RoqSrvRecord empty{};
    EXPECT_EQ(memcmp(&srv_record_table[i], &empty, sizeof empty), 0) << i;
  }
  EXPECT_EQ(analyse(reply_with({}) + Bytes{0}), -1);
  EXPECT_EQ(stored(), 0U);
}

TEST_F(SrvReply, WithTenServicesFillsEight) {
  EXPECT_EQ(analyse(reply_with(std::vector<Bytes>(10, kService))), 0);
  EXPECT_EQ(stored(), 8U);
  EXPECT_EQ(asked_targets.size(), 8U);
}

TEST_F(SrvReply, KeepsTheOrderOfTheRecords) {
  const Bytes other = srv_record(kAskedName, 1, 2, 3, wire_name("sip2.example.net"));
  ASSERT_EQ(analyse(reply_with({kText, kService, kText, other})), 0);
  EXPECT_STREQ(srv_record_table[0].target, "sip1.example.net");
  EXPECT_STREQ(srv_record_table[1].target, "sip2.example.net");
  EXPECT_EQ(srv_record_table[1].port, htons(3));
}

TEST_F(SrvReply, WithAnAddressOnlySucceedsAndLeavesTheTablePointer) {
  EXPECT_EQ(analyse(reply_with({kAddress})), 0);
  EXPECT_EQ(table_, &marker_);
  EXPECT_EQ(g_resolvenums, 1);
  EXPECT_STREQ(g_resolveaddr[0], "192.0.2.1");
  EXPECT_EQ(g_ttl[0], 0xFFFFFFFEU);
  EXPECT_EQ(stored(), 0U);
}

TEST_F(SrvReply, KeepsOnlyTheFirstAddressAndStopsThere) {
  EXPECT_EQ(analyse(reply_with({kService, kAddress, kService, a_record(kAskedName, {9, 9, 9, 9})})), 0);
  EXPECT_EQ(g_resolvenums, 1);
  EXPECT_EQ(stored(), 1U);
  EXPECT_EQ(table_, srv_record_table);
}

TEST_F(SrvReply, AddsItsAddressBehindThoseOfEarlierReplies) {
  for (uint8_t i = 1; i <= 5; ++i) {
    EXPECT_EQ(analyse(reply_with({a_record(kAskedName, {10, 0, 0, i}, i)})), 0);
    EXPECT_EQ(g_resolvenums, i);
  }
  EXPECT_STREQ(g_resolveaddr[4], "10.0.0.5");
  EXPECT_EQ(g_ttl[4], 5U);
}

TEST_F(SrvReply, WithAnAddressTooManyStoresNothingAndSucceeds) {
  g_resolvenums = 5;
  g_ttl[4] = 77;
  EXPECT_EQ(analyse(reply_with({kAddress, kService})), 0);
  EXPECT_EQ(g_resolvenums, 5);
  EXPECT_EQ(g_ttl[4], 77U);
  EXPECT_EQ(stored(), 0U);
  EXPECT_EQ(table_, &marker_);
  g_resolvenums = -1;
  EXPECT_EQ(analyse(reply_with({kAddress})), 0);
  EXPECT_EQ(g_resolvenums, -1);
}

TEST_F(SrvReply, PassesOverAnAddressOfOddLengthButKeepsItsTtl) {
  EXPECT_EQ(analyse(reply_with({record(kAskedName, kA, 99, Bytes(16, 1)), kService})), 0);
  EXPECT_EQ(g_resolvenums, 0);
  EXPECT_EQ(g_ttl[0], 99U);
  EXPECT_STREQ(g_resolveaddr[0], "");
  EXPECT_EQ(stored(), 1U);
  EXPECT_EQ(analyse(reply_with({record(kAskedName, kA, 99, Bytes(3, 1))})), -1);
}

TEST_F(SrvReply, PassesOverARecordWhoseOwnerIsNoPointer) {
  // Taken for a two-byte owner all the same: this one's "length" field lies where the RDATA begins.
  const Bytes odd = Bytes{0x01, 'x'} + Bytes(8, 0) + big_endian16(3) + raw("abc");
  EXPECT_EQ(analyse(reply_with({odd, kService})), 0);
  EXPECT_EQ(stored(), 1U);
  Bytes service_with_odd_owner = kService;
  service_with_odd_owner[0] = 0x80;
  EXPECT_EQ(analyse(reply_with({service_with_odd_owner})), -1);
  EXPECT_EQ(stored(), 0U);
}

TEST_F(SrvReply, WithOtherRecordsOnlyFails) {
  EXPECT_EQ(analyse(reply_with({kText, record(kAskedName, kAaaa, 1, Bytes(16, 0))})), -1);
  EXPECT_EQ(table_, &marker_);
  EXPECT_EQ(printed_, "");
}

TEST_F(SrvReply, OfFewerThanTwelveBytesIsReported) {
  for (size_t length = 0; length < 12; ++length) {
    EXPECT_EQ(analyse(Bytes(length, 9)), -1);
    EXPECT_EQ(printed_, "ifdns:invalid feedback.\n");
  }
  uint8_t byte = 0;
  testing::internal::CaptureStderr();
  EXPECT_EQ(analyse_dns_response(&byte, -1, &table_), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "ifdns:invalid feedback.\n");
  EXPECT_TRUE(table_untouched());
}

TEST_F(SrvReply, ThatIsNullFailsSilently) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(analyse_dns_response(nullptr, 100, &table_), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(table_untouched());
}

TEST_F(SrvReply, OfAnotherIdFailsSilently) {
  Bytes reply = reply_with({kService});
  reply[1] = 0x28;
  EXPECT_EQ(analyse(reply), -1);
  EXPECT_EQ(printed_, "");
  EXPECT_TRUE(table_untouched());
}

TEST_F(SrvReply, WithAnErrorCodeFailsSilently) {
  for (unsigned code = 1; code < 16; ++code)
    EXPECT_EQ(analyse(reply_with({kService}, 0x8180 | code)), -1) << code;
  EXPECT_EQ(printed_, "");
  EXPECT_TRUE(table_untouched());
}

TEST_F(SrvReply, IsTakenWhateverTheOtherFlagsSay) {
  EXPECT_EQ(analyse(reply_with({kService}, 0x0000)), 0);
  EXPECT_EQ(analyse(reply_with({kService}, 0xFFF0)), 0);
}

TEST_F(SrvReply, ThatEndsWithItsQuestionsIsReported) {
  EXPECT_EQ(analyse(reply_with({})), -1);
  EXPECT_EQ(printed_, "ifdns:got bad packet from server.\n");
  EXPECT_EQ(analyse(header(kId, kReplyFlags, 0, 1)), -1);
  EXPECT_EQ(printed_, "ifdns:got bad packet from server.\n");
  Bytes lie = reply_with({kService});
  lie[4] = lie[5] = 0xFF;
  EXPECT_EQ(analyse(lie), -1);
  EXPECT_EQ(printed_, "ifdns:got bad packet from server.\n");
  EXPECT_TRUE(table_untouched());
}

TEST_F(SrvReply, WithoutAnswersFailsSilently) {
  EXPECT_EQ(analyse(reply_with({}) + Bytes{0}), -1);
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(stored(), 0U);
}

TEST_F(SrvReply, TakesAPointerInTheQuestionForALength) {
  const Bytes reply = header(kId, kReplyFlags, 1, 1) + Bytes{0xC0} + Bytes(0xC0, 'x') + Bytes(5, 0) + kService;
  EXPECT_EQ(analyse(reply), 0);
  EXPECT_EQ(stored(), 1U);
}

TEST_F(SrvReply, TruncatedAnywhereKeepsTheCompleteRecords) {
  const Bytes reply = reply_with({kService, kText, kService});
  const size_t first = reply_with({kService}).size(), second = first + kText.size();
  for (size_t length = 12; length < reply.size(); ++length) {
    const int32_t result = analyse(Bytes(reply.begin(), reply.begin() + static_cast<ptrdiff_t>(length)));
    EXPECT_EQ(result, length < first ? -1 : 0) << length;
    if (length > reply_with({}).size()) {
      EXPECT_EQ(stored(), length < first ? 0U : 1U) << length;
    }
    EXPECT_EQ(printed_, length <= reply_with({}).size() ? "ifdns:got bad packet from server.\n" : "") << length;
  }
  EXPECT_LT(second, reply.size());
  EXPECT_EQ(analyse(reply), 0);
  EXPECT_EQ(stored(), 2U);
}

TEST_F(SrvReply, WithAnRdataLengthThatLiesEndsThere) {
  const Bytes too_long = record(kAskedName, kSrv, 1, 65535, Bytes(20, 1));
  EXPECT_EQ(analyse(reply_with({kService, too_long, kService})), 0);
  EXPECT_EQ(stored(), 1U);
}

TEST_F(SrvReply, NeverReadsATargetBeyondWhatWasReceived) {
  const Bytes endless = srv_record(kAskedName, 1, 2, 3, Bytes{40} + raw(std::string(20, 'x')));
  EXPECT_EQ(analyse(reply_with({endless})), 0);
  EXPECT_STREQ(srv_record_table[0].target, std::string(20, 'x').c_str());
  EXPECT_EQ(analyse(reply_with({srv_record(kAskedName, 1, 2, 3, {})})), 0);
  EXPECT_STREQ(srv_record_table[0].target, "");
  EXPECT_EQ(srv_record_table[0].port, htons(3));
  EXPECT_EQ(analyse(reply_with({record(kAskedName, kSrv, 1, Bytes(5, 1))})), -1) << "the port is cut off";
}

TEST_F(SrvReply, DoesNotFollowAPointerInATarget) {
  EXPECT_EQ(analyse(reply_with({srv_record(kAskedName, 1, 2, 3, label("sip") + pointer_to(12))})), 0);
  EXPECT_STREQ(srv_record_table[0].target, "sip..");
}

TEST_F(SrvReply, WithAnyByteChangedIsReadInsideItsBounds) {
  const Bytes reply = reply_with({kService, kText, kService, kAddress});
  testing::internal::CaptureStderr();
  for (size_t at = 0; at < reply.size(); ++at) {
    for (unsigned value = 0; value < 256; value += 5) {
      Bytes bent = reply;
      bent[at] = static_cast<uint8_t>(value);
      g_resolvenums = 0;
      const std::span<uint8_t> held = guarded_.hold(bent);
      analyse_response(held.data(), static_cast<int32_t>(held.size()), &table_, resolve_from_table);
      EXPECT_LE(stored(), 8U);
      EXPECT_GE(g_resolvenums, 0);
      EXPECT_LE(g_resolvenums, 1);
    }
  }
  testing::internal::GetCapturedStderr();
}

TEST_F(SrvReply, IsExaminedOnlyAsFarAsItsAnswerCount) {
  Bytes reply = reply_with({kService});
  reply[11] = 2; // additional records
  EXPECT_EQ(analyse(reply + kService + kAddress), 0);
  EXPECT_EQ(stored(), 1U);
  EXPECT_EQ(g_resolvenums, 0);
}

TEST_F(SrvReply, IsNotExaminedBehindTheEighthService) {
  std::vector<Bytes> records(8, kService);
  records.push_back(kAddress);
  EXPECT_EQ(analyse(reply_with(records)), 0);
  EXPECT_EQ(g_resolvenums, 0);
  EXPECT_EQ(g_ttl[0], 0U);
}

TEST_F(SrvReply, DoesNotEndAServiceWithItsRdata) {
  const Bytes compressed = srv_record(kAskedName, 1, 2, 3, label("sip") + pointer_to(12));
  EXPECT_EQ(analyse(reply_with({compressed, kService})), 0);
  EXPECT_STREQ(srv_record_table[0].target, "sip....") << "up to the next record's first zero byte";
  EXPECT_EQ(analyse(reply_with({record(kAskedName, kSrv, 1, Bytes{0, 1, 0, 2, 7}), kService})), 0);
  EXPECT_EQ(srv_record_table[0].port, htons(0x07C0)) << "the second byte is the next record's";
  EXPECT_EQ(stored(), 2U);
}

TEST_F(SrvReply, PassesOverAnAddressWhoseOwnerIsNoPointer) {
  Bytes odd = kAddress;
  odd[0] = 0x40;
  EXPECT_EQ(analyse(reply_with({odd, kService})), 0);
  EXPECT_EQ(g_resolvenums, 0);
  EXPECT_EQ(stored(), 1U);
}

TEST_F(SrvReply, IsTakenWhateverTheClassesSay) {
  Bytes service = kService, address = kAddress;
  service[5] = 3;
  address[4] = 0xFF;
  EXPECT_EQ(analyse(reply_with({service, address})), 0);
  EXPECT_EQ(stored(), 1U);
  EXPECT_EQ(g_resolvenums, 1);
}

} // namespace
