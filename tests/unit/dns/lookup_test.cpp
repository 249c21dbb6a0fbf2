#include "dns/lookup.h"
#include "support/dns_message.h"
#include "support/guarded_bytes.h"
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

using namespace roq::dns;
using namespace roq::tests;

constexpr uint16_t kId = 0x4711;

struct Packet {
  uint8_t bytes[kPacketSize] = {};
  size_t length;
  Packet(const char* name, int32_t type) { length = write_query(bytes, kId, name, type); }
  Bytes written() const { return Bytes(bytes, bytes + length); }
};

Bytes expected_query(const Bytes& name, unsigned type) { return header(kId, 0x0100, 1, 0) + question(name, type); }

TEST(DnsQuery, HasHeaderLabelsTypeAndClass) {
  EXPECT_EQ(Packet("www.example.net", 1).written(),
            (Bytes{0x47, 0x11, 1,   0,   0,   1,   0,   0, 0,   0,   0,   0, 3, 'w', 'w', 'w', 7,
                   'e',  'x',  'a', 'm', 'p', 'l', 'e', 3, 'n', 'e', 't', 0, 0, 1,   0,   1}));
  EXPECT_EQ(Packet("a", 28).written(), expected_query(wire_name("a"), 28));
}

TEST(DnsQuery, KeepsTheIdsLowAndHighByteInOrder) {
  uint8_t bytes[kPacketSize] = {};
  ASSERT_GT(write_query(bytes, 0x0102, "a", 1), 0U);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(bytes[1], 2);
}

TEST(DnsQuery, OfTheEmptyNameHasAnEmptyLabelAndTheEnd) {
  EXPECT_EQ(Packet("", 1).written(), expected_query({0, 0}, 1));
  EXPECT_EQ(Packet(".", 1).written(), expected_query({0, 0}, 1));
}

TEST(DnsQuery, DropsATrailingDotAndKeepsEmptyLabels) {
  EXPECT_EQ(Packet("a.b.", 1).written(), expected_query(wire_name("a.b"), 1));
  EXPECT_EQ(Packet("a..b", 1).written(), expected_query({1, 'a', 0, 1, 'b', 0}, 1));
  EXPECT_EQ(Packet(".a", 1).written(), expected_query({0, 1, 'a', 0}, 1));
  EXPECT_EQ(Packet("a..", 1).written(), expected_query({1, 'a', 0, 0}, 1));
}

TEST(DnsQuery, DoesNotHoldLabelsTo63Bytes) {
  for (size_t length : {1U, 63U, 64U, 253U}) {
    const std::string name(length, 'x');
    EXPECT_EQ(Packet(name.c_str(), 1).written(), expected_query(wire_name(name), 1)) << length;
  }
  const std::string name(300, 'x');
  EXPECT_EQ(Packet(name.c_str(), 1).written(), expected_query(Bytes{300 & 0xFF} + raw(name) + Bytes{0}, 1));
}

TEST(DnsQuery, HoldsNamesOfUpTo494Bytes) {
  EXPECT_EQ(Packet(std::string(494, 'x').c_str(), 1).length, 12U + 496 + 4);
  EXPECT_EQ(Packet((std::string(494, 'x') + ".").c_str(), 1).length, 12U + 496 + 4);
  for (size_t length : {495U, 496U, 498U, 499U, 500U, 1024U, 1025U, 2000U}) {
    EXPECT_EQ(Packet(std::string(length, 'x').c_str(), 1).length, 0U) << length;
  }
}

TEST(DnsQuery, HoldsManyLabelsOfUpTo494BytesInAll) {
  std::string name;
  while (name.size() < 493)
    name += "a.";
  EXPECT_EQ(Packet((name + "b").substr(0, 494).c_str(), 1).length, 12U + 495 + 4);
  EXPECT_EQ(Packet((name + "bb").c_str(), 1).length, 0U);
}

TEST(DnsLookup, OfANameThatCannotBeEncodedFailsAndLeavesTheOutputs) {
  uint8_t marker;
  uint8_t* packet = &marker;
  dns_answer answer{};
  answer.dotted = reinterpret_cast<char*>(&marker);
  EXPECT_EQ(dns_lookup(std::string(500, 'x').c_str(), 1, &packet, &answer, nullptr), -1);
  EXPECT_EQ(packet, &marker);
  EXPECT_EQ(answer.dotted, reinterpret_cast<char*>(&marker));
}

// A reply as it was received, and what was taken out of it.
class DnsReply : public testing::Test {
protected:
  ~DnsReply() override { free(answer_.dotted); }

  bool read(const Bytes& reply, int32_t type = kTypeA) {
    free(answer_.dotted);
    answer_ = dns_answer{};
    answer_.buf = collects_ ? further_ : nullptr;
    answer_.buflen = room_;
    memset(further_, 0xEE, sizeof further_);
    reply_ = guarded_.hold(reply);
    return read_reply(reply_, kId, type, answer_);
  }

  bool left_untouched() const {
    return answer_.dotted == nullptr && answer_.atype == 0 && answer_.aclass == 0 && answer_.ttl == 0 &&
           answer_.rdlength == 0 && answer_.rdata == nullptr && answer_.rdoffset == 0 && answer_.add_count == 0 &&
           answer_.buf == (collects_ ? further_ : nullptr) && answer_.buflen == room_;
  }

  Bytes further(size_t count) const { return Bytes(further_, further_ + count); }

  GuardedRoom guarded_{4096};
  std::span<uint8_t> reply_;
  dns_answer answer_{};
  uint8_t further_[256];
  uint32_t room_ = sizeof further_;
  bool collects_ = true;
};

const Bytes kQuestion = question(wire_name("www.example.net"), 1);
constexpr size_t kFirstRecord = 12 + 21;

Bytes reply_with(const std::vector<Bytes>& records, unsigned flags = kReplyFlags) {
  Bytes reply = header(kId, flags, 1, static_cast<unsigned>(records.size())) + kQuestion;
  for (const Bytes& one : records)
    reply = reply + one;
  return reply;
}

const Bytes kFirst = a_record(kAskedName, {192, 0, 2, 1}, 0x12345678);
const Bytes kSecond = a_record(kAskedName, {192, 0, 2, 2});
const Bytes kThird = a_record(kAskedName, {192, 0, 2, 3});
const Bytes kAlias = record(kAskedName, kCname, 60, wire_name("web.example.net"));

TEST_F(DnsReply, WithOneAddressFillsTheRecord) {
  const Bytes reply = reply_with({kFirst});
  ASSERT_TRUE(read(reply));
  EXPECT_STREQ(answer_.dotted, "www.example.net");
  EXPECT_EQ(answer_.atype, 1);
  EXPECT_EQ(answer_.aclass, 1);
  EXPECT_EQ(answer_.ttl, 0x12345678);
  EXPECT_EQ(answer_.rdlength, 4);
  EXPECT_EQ(answer_.rdoffset, static_cast<int32_t>(kFirstRecord + 12));
  EXPECT_EQ(answer_.rdata, reply_.data() + kFirstRecord + 12);
  EXPECT_EQ(answer_.add_count, 0U);
  EXPECT_EQ(answer_.buf, further_);
  EXPECT_EQ(answer_.buflen, sizeof further_);
}

TEST_F(DnsReply, WithThreeAddressesCopiesTwoEndToEnd) {
  ASSERT_TRUE(read(reply_with({kFirst, kSecond, kThird})));
  EXPECT_EQ(answer_.add_count, 2U);
  EXPECT_EQ(further(9), (Bytes{192, 0, 2, 2, 192, 0, 2, 3, 0xEE}));
}

TEST_F(DnsReply, PassesOverACnameInFront) {
  ASSERT_TRUE(read(reply_with({kAlias, kFirst, kSecond, kThird})));
  EXPECT_EQ(answer_.atype, 1);
  EXPECT_EQ(answer_.add_count, 2U);
  EXPECT_EQ(answer_.rdata[3], 1);
}

TEST_F(DnsReply, PassesOverOtherTypesBetweenAddresses) {
  ASSERT_TRUE(read(reply_with({kFirst, record(kAskedName, kTxt, 1, raw("?")), kSecond})));
  EXPECT_EQ(answer_.add_count, 1U);
  EXPECT_EQ(further(5), (Bytes{192, 0, 2, 2, 0xEE}));
}

TEST_F(DnsReply, WithALoneCnameIsAnAnswerWithoutName) {
  ASSERT_TRUE(read(reply_with({kAlias})));
  EXPECT_EQ(answer_.atype, 5);
  EXPECT_EQ(answer_.dotted, nullptr);
  EXPECT_EQ(answer_.add_count, 0U);
}

TEST_F(DnsReply, GivesTheFirstRecordWhenNoAddressesAreCollected) {
  collects_ = false;
  ASSERT_TRUE(read(reply_with({kAlias, kFirst})));
  EXPECT_EQ(answer_.atype, 5);
  EXPECT_STREQ(answer_.dotted, "www.example.net");
  ASSERT_TRUE(read(reply_with({record(kAskedName, kTxt, 1, raw("?")), kFirst}), kTypeSrv));
  EXPECT_EQ(answer_.atype, 16);
}

TEST_F(DnsReply, GivesTheFirstRecordForOtherTypesThanAddresses) {
  ASSERT_TRUE(read(reply_with({kAlias, kFirst}), 16));
  EXPECT_EQ(answer_.atype, 5);
  EXPECT_STREQ(answer_.dotted, "www.example.net");
}

TEST_F(DnsReply, PassesOverASignatureAlways) {
  collects_ = false;
  const Bytes signature = record(kAskedName, kSig, 1, raw("signed"));
  ASSERT_TRUE(read(reply_with({signature, kFirst})));
  EXPECT_EQ(answer_.atype, 1);
  ASSERT_TRUE(read(reply_with({signature, signature}), 24));
  EXPECT_EQ(answer_.atype, 24);
  EXPECT_EQ(answer_.add_count, 1U);
}

TEST_F(DnsReply, WithTwelveAddressesCopiesSeven) {
  std::vector<Bytes> records;
  for (uint8_t i = 1; i <= 12; ++i)
    records.push_back(a_record(kAskedName, {10, 0, 0, i}));
  ASSERT_TRUE(read(reply_with(records)));
  EXPECT_EQ(answer_.add_count, 7U);
  EXPECT_EQ(further_[6 * 4 + 3], 8);
  EXPECT_EQ(further_[28], 0xEE);
}

TEST_F(DnsReply, IsNotExaminedBehindTheEighthAddress) {
  std::vector<Bytes> records;
  for (uint8_t i = 1; i <= 8; ++i)
    records.push_back(a_record(kAskedName, {10, 0, 0, i}));
  Bytes reply = reply_with(records);
  reply[7] = 12;
  room_ = 8 * 11;
  ASSERT_TRUE(read(reply));
  EXPECT_EQ(answer_.add_count, 7U);
  reply[7] = 9;
  EXPECT_TRUE(read(reply + pointer_to(0x3FFF)));
}

TEST_F(DnsReply, ThatNeedsMoreRoomStopsAtTheFirstAddress) {
  const Bytes reply = reply_with({kFirst, kSecond, kThird});
  room_ = 2 * 8;
  ASSERT_TRUE(read(reply));
  EXPECT_EQ(further(8), (Bytes{192, 0, 2, 2, 192, 0, 2, 3}));
  room_ = 2 * 8 - 1;
  ASSERT_TRUE(read(reply));
  EXPECT_EQ(answer_.add_count, 2U);
  EXPECT_EQ(further(4), Bytes(4, 0xEE));
  EXPECT_STREQ(answer_.dotted, "www.example.net");
}

TEST_F(DnsReply, ThatAnnouncesMoreThanThirtyTwoBitsOfRoomStopsAtTheFirstAddress) {
  Bytes reply = reply_with({record(kAskedName, kA, 1, 65535, Bytes(100, 0))});
  reply[6] = reply[7] = 0xFF;
  ASSERT_TRUE(read(reply));
  EXPECT_EQ(answer_.add_count, 65534U);
  EXPECT_EQ(further(4), Bytes(4, 0xEE));
}

TEST_F(DnsReply, OfAnotherIdIsRefused) {
  Bytes reply = reply_with({kFirst});
  reply[1] ^= 1;
  EXPECT_FALSE(read(reply));
  EXPECT_TRUE(left_untouched());
}

TEST_F(DnsReply, WithoutTheResponseBitIsRefused) { EXPECT_FALSE(read(reply_with({kFirst}, 0x0180))); }

TEST_F(DnsReply, WithAnyErrorCodeIsRefused) {
  for (unsigned code = 1; code < 16; ++code)
    EXPECT_FALSE(read(reply_with({kFirst}, 0x8180 | code))) << code;
}

TEST_F(DnsReply, WithoutAnswersIsRefused) {
  EXPECT_FALSE(read(reply_with({})));
  EXPECT_FALSE(read(header(kId, kReplyFlags, 0, 0)));
  EXPECT_FALSE(read(header(kId, kReplyFlags, 1, 0)));
}

TEST_F(DnsReply, IsTakenWhateverTheOtherFlagsSay) {
  EXPECT_TRUE(read(reply_with({kFirst}, 0x8380))) << "truncated";
  EXPECT_TRUE(read(reply_with({kFirst}, 0xFFF0)));
  EXPECT_TRUE(read(reply_with({kFirst}, 0x8000)));
}

TEST_F(DnsReply, WithoutQuestionOrWithTwoIsRead) {
  EXPECT_TRUE(read(header(kId, kReplyFlags, 0, 1) + a_record(wire_name("a"), {1, 2, 3, 4})));
  EXPECT_STREQ(answer_.dotted, "a");
  EXPECT_TRUE(read(header(kId, kReplyFlags, 2, 1) + kQuestion + question(pointer_to(12), 1) + kFirst));
}

TEST_F(DnsReply, WithACountOfQuestionsThatLiesIsRefused) {
  Bytes reply = reply_with({kFirst});
  reply[4] = reply[5] = 0xFF;
  EXPECT_FALSE(read(reply));
  EXPECT_TRUE(left_untouched());
  reply[4] = reply[5] = 0;
  ASSERT_TRUE(read(reply)) << "the question, and what follows it, reads as a record";
  EXPECT_EQ(answer_.rdlength, 1);
}

TEST_F(DnsReply, WithACountOfAnswersThatLiesIsRefused) {
  Bytes reply = reply_with({kFirst, kSecond});
  reply[7] = 3;
  EXPECT_FALSE(read(reply));
  EXPECT_TRUE(left_untouched());
  reply[7] = 1;
  EXPECT_TRUE(read(reply));
  EXPECT_EQ(answer_.add_count, 0U);
}

TEST_F(DnsReply, WithAddressesOfDifferentLengthsIsRefused) {
  EXPECT_FALSE(read(reply_with({kFirst, kSecond, record(kAskedName, kA, 1, Bytes(5, 1))})));
  EXPECT_TRUE(left_untouched());
  EXPECT_FALSE(read(reply_with({kFirst, record(kAskedName, kA, 1, Bytes())})));
}

TEST_F(DnsReply, WithAPointerLoopIsRefused) {
  EXPECT_FALSE(read(reply_with({a_record(pointer_to(kFirstRecord), {1, 2, 3, 4})})));
  EXPECT_FALSE(read(reply_with({kFirst, a_record(pointer_to(kFirstRecord + 16), {1, 2, 3, 4})})));
  EXPECT_TRUE(left_untouched());
}

TEST_F(DnsReply, WithAPointerOutsideIsRefused) {
  EXPECT_FALSE(read(reply_with({a_record(pointer_to(0x3FFF), {1, 2, 3, 4})})));
  EXPECT_FALSE(read(reply_with({a_record(pointer_to(kFirstRecord + 16), {1, 2, 3, 4})})));
}

TEST_F(DnsReply, WithAForwardPointerIsRead) {
  const Bytes owner = pointer_to(kFirstRecord + 16);
  EXPECT_TRUE(read(reply_with({a_record(owner, {1, 2, 3, 4})}) + wire_name("behind")));
  EXPECT_STREQ(answer_.dotted, "behind");
}

TEST_F(DnsReply, WithAnOwnerBeyond254CharactersIsRefused) {
  const std::string label63(63, 'a');
  const Bytes owner = wire_name(label63 + '.' + label63 + '.' + label63 + '.' + label63);
  EXPECT_FALSE(read(reply_with({a_record(owner, {1, 2, 3, 4})})));
}

TEST_F(DnsReply, WithUsedRdataCutOffIsRefused) {
  EXPECT_FALSE(read(reply_with({record(kAskedName, kA, 1, 5, {1, 2, 3, 4})})));
  EXPECT_FALSE(read(reply_with({kFirst, record(kAskedName, kA, 1, 4, {1, 2, 3})})));
  collects_ = false;
  EXPECT_FALSE(read(reply_with({record(kAskedName, kTxt, 1, 5, {1, 2, 3, 4})}), 16));
}

TEST_F(DnsReply, WithUnusedRdataCutOffIsRead) {
  EXPECT_TRUE(read(reply_with({kFirst, record(kAskedName, kTxt, 1, 65535, {})})));
  EXPECT_TRUE(read(reply_with({record(kAskedName, kCname, 1, 65535, {})})));
  EXPECT_FALSE(read(reply_with({record(kAskedName, kCname, 1, 65535, {}), kFirst})));
}

TEST_F(DnsReply, TruncatedAnywhereIsRefusedAndChangesNothing) {
  const std::vector<Bytes> replies = {reply_with({kFirst}), reply_with({kAlias, kFirst, kSecond, kThird}),
                                      reply_with({a_record(label("x") + pointer_to(16), {1, 2, 3, 4}), kSecond})};
  for (const Bytes& reply : replies) {
    ASSERT_TRUE(read(reply));
    for (size_t length = 0; length < reply.size(); ++length) {
      EXPECT_FALSE(read(Bytes(reply.begin(), reply.begin() + static_cast<ptrdiff_t>(length)))) << length;
      EXPECT_TRUE(left_untouched()) << length;
    }
  }
}

TEST_F(DnsReply, OfIpv6TruncatedAnywhereIsRefused) {
  const Bytes reply = header(kId, kReplyFlags, 1, 3) + question(wire_name("a"), 28) + aaaa_record(kAskedName, 1) +
                      aaaa_record(kAskedName, 2) + aaaa_record(kAskedName, 3);
  ASSERT_TRUE(read(reply, kTypeAaaa));
  EXPECT_EQ(answer_.rdlength, 16);
  EXPECT_EQ(answer_.add_count, 2U);
  EXPECT_EQ(further_[15], 2);
  EXPECT_EQ(further_[31], 3);
  for (size_t length = 0; length < reply.size(); ++length) {
    EXPECT_FALSE(read(Bytes(reply.begin(), reply.begin() + static_cast<ptrdiff_t>(length)), kTypeAaaa)) << length;
  }
}

TEST_F(DnsReply, WithAnyByteChangedIsReadInsideItsBounds) {
  const Bytes reply = reply_with({kAlias, kFirst, kSecond});
  for (size_t at = 0; at < reply.size(); ++at) {
    for (unsigned value = 0; value < 256; value += 3) {
      Bytes bent = reply;
      bent[at] = static_cast<uint8_t>(value);
      if (!read(bent)) {
        EXPECT_TRUE(left_untouched());
      } else if (answer_.add_count > 7) {
        EXPECT_GT((static_cast<uint32_t>(answer_.rdlength) + 4) * answer_.add_count, room_);
      }
    }
  }
}

TEST_F(DnsReply, Of512BytesWithoutAnEndIsRefused) {
  Bytes reply = header(kId, kReplyFlags, 1, 40) + kQuestion;
  while (reply.size() < 512)
    reply.push_back(63);
  EXPECT_FALSE(read(reply));
  Bytes pointers = header(kId, kReplyFlags, 1, 40) + kQuestion;
  while (pointers.size() < 512)
    pointers.push_back(0xC0);
  EXPECT_FALSE(read(pointers));
}

TEST_F(DnsReply, IsTakenWhateverTheClassesSay) {
  Bytes first = kFirst, second = kSecond;
  first[5] = 3;
  second[4] = 0x80;
  ASSERT_TRUE(read(reply_with({first, second})));
  EXPECT_EQ(answer_.aclass, 3);
  EXPECT_EQ(answer_.add_count, 1U);
}

} // namespace
