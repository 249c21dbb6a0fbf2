#include "dns/wire.h"
#include "support/dns_message.h"
#include "support/guarded_bytes.h"
#include <gtest/gtest.h>

namespace {

using namespace roq::dns;
using namespace roq::tests;

struct DecodedName {
  bool ok;
  std::string text;
  size_t behind;
};

DecodedName decode(const Bytes& message, size_t at = 0) {
  GuardedRoom room(message.size());
  Reader in(room.hold(message), at);
  char dotted[kDottedNameRoom] = "";
  const bool ok = read_name(in, dotted);
  return {ok, ok ? dotted : "", in.position()};
}

TEST(DnsReader, ReadsNumbersBigEndian) {
  const Bytes message{1, 2, 3, 4, 5, 6, 7};
  Reader in(message);
  EXPECT_EQ(in.u8(), 1);
  EXPECT_EQ(in.u16(), 0x0203);
  EXPECT_EQ(in.u32(), 0x04050607U);
  EXPECT_TRUE(in.ok());
}

TEST(DnsReader, YieldsZeroBehindTheEndAndStaysFailed) {
  const Bytes message{1, 2, 3};
  Reader in(message);
  EXPECT_EQ(in.u32(), 0U);
  EXPECT_FALSE(in.ok());
  EXPECT_EQ(in.u8(), 0);
  EXPECT_FALSE(in.ok());
}

TEST(DnsReader, MayBeMovedBehindTheEndButNotReadThere) {
  const Bytes message{1, 2, 3};
  Reader in(message);
  in.skip(3);
  EXPECT_TRUE(in.ok());
  in.skip(1000000);
  EXPECT_TRUE(in.ok());
  EXPECT_TRUE(in.bytes(0).empty());
  EXPECT_EQ(in.u8(), 0);
  EXPECT_FALSE(in.ok());
}

TEST(DnsReader, GivesWhatIsLeftWhenLessThanAskedForIsThere) {
  const Bytes message{1, 2, 3};
  Reader in(message, 1);
  EXPECT_EQ(in.up_to(63).size(), 2U);
  EXPECT_EQ(in.up_to(63).size(), 0U);
  EXPECT_TRUE(in.ok());
}

TEST(DnsWriter, WritesNothingThatDoesNotFitAndNothingAfterIt) {
  Bytes room(6, 0xEE);
  Writer out{std::span<uint8_t>(room).first(4)};
  out.u16(0x1234);
  out.bytes("abc", 3);
  EXPECT_FALSE(out.ok());
  out.u8(9);
  EXPECT_EQ(out.size(), 2U);
  EXPECT_EQ(room, (Bytes{0x12, 0x34, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST(DnsHeader, KeepsEveryFieldOverWritingAndReading) {
  Bytes room(12);
  Writer out(room);
  write_header(out, {0xABCD, 0xD789, 1, 2, 3, 4});
  EXPECT_EQ(room, (Bytes{0xAB, 0xCD, 0xD7, 0x89, 0, 1, 0, 2, 0, 3, 0, 4}));
  Reader in(room);
  const MessageHeader header = read_header(in);
  EXPECT_EQ(header.id, 0xABCD);
  EXPECT_EQ(header.flags, 0xD789);
  EXPECT_TRUE(header.is_reply());
  EXPECT_EQ(header.rcode(), 9);
  EXPECT_EQ(header.qdcount, 1);
  EXPECT_EQ(header.ancount, 2);
  EXPECT_EQ(header.nscount, 3);
  EXPECT_EQ(header.arcount, 4);
}

TEST(DnsHeader, OfFewerThanTwelveBytesFails) {
  const Bytes message(11);
  Reader in(message);
  read_header(in);
  EXPECT_FALSE(in.ok());
}

TEST(DnsRecordHeader, TakesTypeClassTtlAndLength) {
  const Bytes message{0, 1, 0, 2, 0xFF, 0, 0, 4, 0x12, 0x34};
  Reader in(message);
  const RecordHeader record = read_record_header(in);
  EXPECT_EQ(record.type, 1);
  EXPECT_EQ(record.record_class, 2);
  EXPECT_EQ(record.ttl, 0xFF000004U);
  EXPECT_EQ(record.rdlength, 0x1234);
  EXPECT_TRUE(in.ok());
}

TEST(DnsName, JoinsLabelsWithDots) {
  const DecodedName name = decode(wire_name("www.example.net") + Bytes{9, 9});
  EXPECT_TRUE(name.ok);
  EXPECT_EQ(name.text, "www.example.net");
  EXPECT_EQ(name.behind, 17U);
}

TEST(DnsName, OfTheRootIsEmpty) {
  const DecodedName name = decode({0});
  EXPECT_TRUE(name.ok);
  EXPECT_EQ(name.text, "");
  EXPECT_EQ(name.behind, 1U);
}

TEST(DnsName, FollowsAPointerBackwards) {
  const Bytes message = wire_name("example.net") + label("www") + pointer_to(0) + Bytes{7};
  const DecodedName name = decode(message, 13);
  EXPECT_EQ(name.text, "www.example.net");
  EXPECT_EQ(name.behind, 13U + 4 + 2);
}

TEST(DnsName, FollowsAPointerForward) {
  const Bytes message = pointer_to(3) + Bytes{7} + wire_name("later");
  const DecodedName name = decode(message);
  EXPECT_EQ(name.text, "later");
  EXPECT_EQ(name.behind, 2U);
}

TEST(DnsName, FollowsALongChainOfPointersThatEnds) {
  Bytes message = wire_name("end");
  for (unsigned previous = 0; message.size() + 2 <= 512; previous = static_cast<unsigned>(message.size()) - 2) {
    message = message + pointer_to(previous);
  }
  const DecodedName name = decode(message, message.size() - 2);
  EXPECT_TRUE(name.ok);
  EXPECT_EQ(name.text, "end");
  EXPECT_EQ(name.behind, message.size());
}

TEST(DnsName, EndsAtAPointerToTheRootWithoutATrailingDot) {
  const DecodedName name = decode(Bytes{0} + label("net") + pointer_to(0), 1);
  EXPECT_EQ(name.text, "net");
}

TEST(DnsName, RefusesPointerLoops) {
  EXPECT_FALSE(decode(pointer_to(0)).ok);
  EXPECT_FALSE(decode(pointer_to(2) + pointer_to(0)).ok);
  EXPECT_FALSE(decode(label("a") + pointer_to(0)).ok);
  EXPECT_FALSE(decode(pointer_to(2) + pointer_to(4) + pointer_to(2)).ok);
}

TEST(DnsName, RefusesToLeaveTheMessage) {
  EXPECT_FALSE(decode({}).ok);
  EXPECT_FALSE(decode({0xC0}).ok);
  EXPECT_FALSE(decode(pointer_to(2)).ok);
  EXPECT_FALSE(decode(pointer_to(0x3FFF)).ok);
  EXPECT_FALSE(decode({5, 'a', 'b'}).ok);
  EXPECT_FALSE(decode(label("abc")).ok);
  EXPECT_FALSE(decode({0}, 1).ok);
  EXPECT_FALSE(decode({0}, 70000).ok);
}

TEST(DnsName, TakesReservedLengthBitsForALength) {
  const std::string text(0x7F, 'x');
  EXPECT_EQ(decode(wire_name(text)).text, text);
  EXPECT_EQ(decode(Bytes{0xBF} + raw(std::string(0xBF, 'y')) + Bytes{0}).text, std::string(0xBF, 'y'));
}

TEST(DnsName, HasAtMost254Characters) {
  const std::string three_labels = std::string(63, 'a') + '.' + std::string(63, 'b') + '.' + std::string(63, 'c') + '.';
  const std::string longest = three_labels + std::string(62, 'd');
  EXPECT_EQ(longest.size(), 254U);
  EXPECT_EQ(decode(wire_name(longest)).text, longest);
  EXPECT_FALSE(decode(wire_name(three_labels + std::string(63, 'd'))).ok);
  EXPECT_FALSE(decode(wire_name(longest + ".e")).ok);
}

TEST(DnsName, RefusesEveryTruncation) {
  const Bytes message = wire_name("example.net") + label("www") + pointer_to(0);
  EXPECT_TRUE(decode(message, 13).ok);
  for (size_t length = 0; length < message.size(); ++length) {
    EXPECT_FALSE(decode(Bytes(message.begin(), message.begin() + static_cast<ptrdiff_t>(length)), 13).ok) << length;
  }
}

size_t position_behind_questions(const Bytes& message, int32_t count, PointerInQuestion pointer, bool& ok) {
  GuardedRoom room(message.size());
  Reader in(room.hold(message));
  skip_questions(in, count, pointer);
  ok = in.ok();
  return in.position();
}

TEST(DnsQuestions, AreSkippedWithTypeAndClass) {
  bool ok;
  const Bytes two = question(wire_name("a.b"), 1) + question(wire_name(""), 1);
  EXPECT_EQ(position_behind_questions(two, 2, PointerInQuestion::ends_the_name, ok), two.size());
  EXPECT_TRUE(ok);
  EXPECT_EQ(position_behind_questions(two, 0, PointerInQuestion::ends_the_name, ok), 0U);
}

TEST(DnsQuestions, EndAtAPointerOrTakeItForALength) {
  bool ok;
  const Bytes message = question(label("a") + pointer_to(0), 1) + Bytes(300, 0);
  EXPECT_EQ(position_behind_questions(message, 1, PointerInQuestion::ends_the_name, ok), 2U + 2 + 4);
  EXPECT_EQ(position_behind_questions(message, 1, PointerInQuestion::counts_as_length, ok), 2U + 1 + 0xC0 + 1 + 4);
  EXPECT_TRUE(ok);
}

TEST(DnsQuestions, ThatAreAnnouncedButMissingFail) {
  bool ok;
  position_behind_questions(question(wire_name("a"), 1), 65535, PointerInQuestion::ends_the_name, ok);
  EXPECT_FALSE(ok);
}

} // namespace
