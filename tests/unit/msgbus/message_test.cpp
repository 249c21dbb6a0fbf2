#include "message.h"
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace roq::msgbus;

namespace {

constexpr size_t kHeaderSize = 40;

Header header_for(const char* addressee, uint32_t payload_length) {
  Header header{};
  header.addressee = make_name(addressee);
  header.type = 0x60007;
  header.value = 9;
  header.sender = 4711;
  header.serial = 13;
  header.payload_length = payload_length;
  return header;
}

std::string datagram_of(const Header& header, const std::string& payload) {
  return std::string(reinterpret_cast<const char*>(&header), sizeof header) + payload;
}

// Exactly as long as the datagram, so that a sanitizer sees a read behind it.
bool store(const std::string& datagram, const char* name, RoqMsgReceived* received) {
  std::vector<char> bytes(datagram.begin(), datagram.end());
  return store_received(bytes, make_name(name), received);
}

} // namespace

TEST(BusName, IsCutToFifteenCharacters) {
  EXPECT_STREQ(make_name("configuration-manager").text, "configuration-m");
  EXPECT_STREQ(make_name("123456789012345").text, "123456789012345");
}

TEST(BusName, HasZeroBehindIt) {
  Name name = make_name("cms");
  EXPECT_EQ(std::string(name.text, sizeof name.text), std::string("cms") + std::string(13, '\0'));
}

TEST(BusName, ReadsNoMoreThanItMay) {
  std::vector<char> unterminated(16, 'x');
  EXPECT_STREQ(make_name(unterminated.data(), unterminated.size()).text, "xxxxxxxxxxxxxxx");
  EXPECT_STREQ(make_name(unterminated.data(), 3).text, "xxx");
}

TEST(BusName, IsUsableUnlessItIsNoPlainFileName) {
  for (const char* good : {"cms", "a", "wan.1", "voice-service_2", "with blank"}) {
    EXPECT_TRUE(is_usable(make_name(good))) << good;
  }
  for (const char* bad : {"", ".", "..", "...", ".hidden", "/", "a/b", "/tmp/x", "../cms"}) {
    EXPECT_FALSE(is_usable(make_name(bad))) << bad;
  }
}

TEST(BusMessage, IsDecodedAsItWasSent) {
  RoqMsgReceived received{};
  ASSERT_TRUE(store(datagram_of(header_for("cms", 5), std::string("eth0\0", 5)), "cms", &received));
  EXPECT_EQ(received.type, 0x60007U);
  EXPECT_EQ(received.value, 9U);
  EXPECT_EQ(received.sender, 4711U);
  EXPECT_EQ(received.expects_reply, 1U);
  EXPECT_EQ(received.announced_length, 5U);
  EXPECT_EQ(received.payload_length, 5U);
  EXPECT_STREQ(received.payload, "eth0");
}

TEST(BusMessage, WithoutSerialExpectsNoReply) {
  Header header = header_for("cms", 0);
  header.serial = 0;
  RoqMsgReceived received{};
  ASSERT_TRUE(store(datagram_of(header, ""), "cms", &received));
  EXPECT_EQ(received.expects_reply, 0U);
}

TEST(BusMessage, HasAZeroByteBehindItsPayload) {
  for (size_t length : {0U, 1U, 983U, 984U}) {
    RoqMsgReceived received;
    memset(&received, 'x', sizeof received);
    std::string payload(length, 'p');
    ASSERT_TRUE(store(datagram_of(header_for("cms", static_cast<uint32_t>(length)), payload), "cms", &received));
    EXPECT_EQ(std::string(received.payload, length + 1), payload + '\0');
  }
}

TEST(BusMessage, AnnouncingMoreThanItsRoomCarriesTheRoom) {
  for (uint32_t announced : {985U, 2001U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFD8U, 0xFFFFFFFFU}) {
    RoqMsgReceived received{};
    ASSERT_TRUE(store(datagram_of(header_for("cms", announced), std::string(984, 'p')), "cms", &received));
    EXPECT_EQ(received.announced_length, announced);
    EXPECT_EQ(received.payload_length, 984U);
  }
}

TEST(BusMessage, OfAnyOtherSizeThanItSaysIsRefusedAndStoresNothing) {
  struct {
    uint32_t announced;
    size_t carried;
    const char* reason;
  } cases[] = {
      {0, 1, "one byte too many"},
      {5, 4, "one byte short"},
      {5, 0, "header alone"},
      {984, 983, "one byte short of the room"},
      {984, 985, "beyond the room"},
      {985, 985, "beyond the room, and truthful"},
      {2001, 983, "cut too short"},
      {0xFFFFFFFF, 0, "the largest lie"},
      {0xFFFFFFFF, 985, "a lie beyond the room"},
  };
  for (const auto& each : cases) {
    RoqMsgReceived received;
    memset(&received, 'x', sizeof received);
    std::string datagram = datagram_of(header_for("cms", each.announced), std::string(each.carried, 'p'));
    EXPECT_FALSE(store(datagram, "cms", &received)) << each.reason;
    std::string bytes(reinterpret_cast<const char*>(&received), sizeof received);
    EXPECT_EQ(bytes, std::string(sizeof received, 'x')) << each.reason;
  }
}

TEST(BusMessage, ShorterThanAHeaderIsRefused) {
  std::string datagram = datagram_of(header_for("cms", 0), "");
  for (size_t size = 0; size < kHeaderSize; ++size) {
    RoqMsgReceived received{};
    EXPECT_FALSE(store(datagram.substr(0, size), "cms", &received)) << size;
  }
}

TEST(BusMessage, ForAnotherAddresseeIsRefused) {
  for (const char* other : {"", "cm", "cmsx", "CMS", "supervisor"}) {
    RoqMsgReceived received{};
    EXPECT_FALSE(store(datagram_of(header_for(other, 0), ""), "cms", &received)) << other;
  }
}

TEST(BusMessage, WhoseAddresseeDoesNotEndIsRefused) {
  Header header = header_for("cms", 0);
  memset(header.addressee.text, 'x', sizeof header.addressee.text);
  RoqMsgReceived received{};
  EXPECT_FALSE(store(datagram_of(header, ""), "xxxxxxxxxxxxxxx", &received));
}
