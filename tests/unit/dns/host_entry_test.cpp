#include "dns/host_entry.h"
#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

using namespace roq::dns;

constexpr size_t kPointer = sizeof(char*);
constexpr bool k64Bit = kPointer == 8;

// A caller's buffer with a margin that must stay as it is.
class CallerBuffer : public testing::Test {
protected:
  CallerBuffer() { memset(bytes_, 0x5A, sizeof bytes_); }

  // The offset of a place in the buffer.
  template <typename T> ptrdiff_t at(T* place) const { return reinterpret_cast<char*>(place) - bytes_; }

  alignas(16) char bytes_[1024];
};

TEST_F(CallerBuffer, ForIpv4HoldsItsPiecesInOrder) {
  const auto pieces = carve(bytes_, 460, kIpv4);
  ASSERT_TRUE(pieces);
  EXPECT_EQ(at(pieces->first_address), 0);
  EXPECT_EQ(at(pieces->addresses), k64Bit ? 8 : 4);
  EXPECT_EQ(at(pieces->aliases), k64Bit ? 24 : 12);
  EXPECT_EQ(at(pieces->name), k64Bit ? 88 : 44);
  EXPECT_EQ(pieces->name_size, 460U - (k64Bit ? 88 : 44));
  EXPECT_EQ(pieces->addresses[0], bytes_);
  EXPECT_EQ(pieces->addresses[1], nullptr);
  EXPECT_EQ(pieces->aliases[0], pieces->name);
  EXPECT_EQ(pieces->aliases[1], nullptr);
}

TEST_F(CallerBuffer, ForIpv6HoldsNoAliasList) {
  const auto pieces = carve(bytes_, 472, kIpv6);
  ASSERT_TRUE(pieces);
  EXPECT_EQ(at(pieces->first_address), 0);
  EXPECT_EQ(at(pieces->addresses), 16);
  EXPECT_EQ(pieces->aliases, nullptr);
  EXPECT_EQ(at(pieces->name), k64Bit ? 32 : 24);
  EXPECT_EQ(pieces->name_size, 472U - (k64Bit ? 32 : 24));
}

TEST_F(CallerBuffer, HasExactMinimumSizes) {
  EXPECT_TRUE(carve(bytes_, k64Bit ? 344 : 300, kIpv4));
  EXPECT_FALSE(carve(bytes_, k64Bit ? 343 : 299, kIpv4));
  EXPECT_TRUE(carve(bytes_, k64Bit ? 288 : 280, kIpv6));
  EXPECT_FALSE(carve(bytes_, k64Bit ? 287 : 279, kIpv6));
  EXPECT_FALSE(carve(bytes_, 0, kIpv4));
}

TEST_F(CallerBuffer, ThatIsMisalignedIsUsedFromItsFirstAlignedByte) {
  for (size_t shift = 1; shift < kPointer; ++shift) {
    const size_t lost = kPointer - shift;
    const auto pieces = carve(bytes_ + shift, lost + (k64Bit ? 344 : 300), kIpv4);
    ASSERT_TRUE(pieces) << shift;
    EXPECT_EQ(at(pieces->first_address), static_cast<ptrdiff_t>(kPointer));
    EXPECT_EQ(pieces->name_size, 256U);
    EXPECT_FALSE(carve(bytes_ + shift, lost + (k64Bit ? 343 : 299), kIpv4)) << shift;
    EXPECT_FALSE(carve(bytes_ + shift, lost - 1, kIpv4)) << shift;
  }
}

TEST_F(CallerBuffer, ThatIsTooShortIsNotWritten) {
  EXPECT_FALSE(carve(bytes_, 280, kIpv4));
  for (char byte : bytes_)
    ASSERT_EQ(byte, 0x5A);
}

struct Expected {
  size_t count;
  ptrdiff_t moved, list, name;
};

void expect_placed(char* bytes, size_t size, const AddressFamily& family, const Expected& expected) {
  SCOPED_TRACE(expected.count);
  auto pieces = carve(bytes, size, family);
  ASSERT_TRUE(pieces);
  char* const alias = pieces->aliases != nullptr ? pieces->aliases[0] : nullptr;
  for (size_t i = 0; i < expected.count * family.address_size; ++i)
    pieces->name[i] = static_cast<char>(i + 1);
  ASSERT_TRUE(place_further_addresses(*pieces, expected.count, family));

  EXPECT_EQ(reinterpret_cast<char*>(pieces->addresses) - bytes, expected.list);
  EXPECT_EQ(pieces->name - bytes, expected.name);
  EXPECT_EQ(pieces->name_size, size - static_cast<size_t>(expected.name));
  EXPECT_EQ(pieces->addresses[0], bytes);
  for (size_t i = 0; i < expected.count; ++i) {
    EXPECT_EQ(pieces->addresses[1 + i] - bytes, expected.moved + static_cast<ptrdiff_t>(i * family.address_size));
    EXPECT_EQ(pieces->addresses[1 + i][0], static_cast<char>(i * family.address_size + 1));
  }
  EXPECT_EQ(pieces->addresses[1 + expected.count], nullptr);
  if (alias != nullptr) {
    EXPECT_EQ(pieces->aliases[0], alias) << "the old place of the name";
    EXPECT_EQ(pieces->aliases[1], nullptr);
  }
}

TEST_F(CallerBuffer, TakesFurtherIpv4AddressesOverTheLastAliasSlots) {
  // Moved to two pointers before the name area; the list starts aligned behind them, the name behind the list.
  const Expected with_8_byte_pointers[] = {{1, 72, 80, 104}, {2, 72, 80, 112}, {3, 72, 88, 128}, {7, 72, 104, 176}};
  const Expected with_4_byte_pointers[] = {{1, 36, 40, 52}, {2, 36, 44, 60}, {3, 36, 48, 68}, {7, 36, 64, 100}};
  for (const Expected& expected : k64Bit ? with_8_byte_pointers : with_4_byte_pointers) {
    expect_placed(bytes_, 600, kIpv4, expected);
  }
}

TEST_F(CallerBuffer, TakesFurtherIpv6AddressesOverTheInitialList) {
  const Expected with_8_byte_pointers[] = {{1, 16, 32, 56}, {2, 16, 48, 80}, {7, 16, 128, 200}};
  const Expected with_4_byte_pointers[] = {{1, 16, 32, 44}, {2, 16, 48, 64}, {7, 16, 128, 164}};
  for (const Expected& expected : k64Bit ? with_8_byte_pointers : with_4_byte_pointers) {
    expect_placed(bytes_, 600, kIpv6, expected);
  }
}

TEST_F(CallerBuffer, KeepsAtLeast256BytesForTheName) {
  const size_t needed = (k64Bit ? 176 : 100) + 256;
  auto enough = carve(bytes_, needed, kIpv4);
  ASSERT_TRUE(enough);
  EXPECT_TRUE(place_further_addresses(*enough, 7, kIpv4));
  EXPECT_EQ(enough->name_size, 256U);

  auto short_by_one = carve(bytes_, needed - 1, kIpv4);
  ASSERT_TRUE(short_by_one);
  char before[sizeof bytes_];
  memcpy(before, bytes_, sizeof bytes_);
  EXPECT_FALSE(place_further_addresses(*short_by_one, 7, kIpv4));
  EXPECT_EQ(memcmp(before, bytes_, sizeof bytes_), 0);
}

TEST_F(CallerBuffer, IsNotWrittenBehindItsEnd) {
  const size_t size = k64Bit ? 344 : 300;
  hostent record{}, *result = nullptr;
  ASSERT_EQ(handy_gethostbyname_r("10.0.0.1", &record, bytes_, static_cast<uint32_t>(size), &result, nullptr), 0);
  for (size_t i = size; i < sizeof bytes_; ++i)
    ASSERT_EQ(bytes_[i], 0x5A) << i;
}

TEST_F(CallerBuffer, ReceivesANumericNameWithoutALookup) {
  hostent record{}, *result = nullptr;
  ASSERT_EQ(handy_gethostbyname_r("10.0.0.1", &record, bytes_, 400, &result, nullptr), 0);
  EXPECT_EQ(result, &record);
  EXPECT_STREQ(record.h_name, "10.0.0.1");
  EXPECT_EQ(record.h_name, record.h_aliases[0]);
  EXPECT_EQ(record.h_aliases[1], nullptr);
  EXPECT_EQ(record.h_addrtype, 2);
  EXPECT_EQ(record.h_length, 4);
  EXPECT_EQ(memcmp(record.h_addr_list[0], "\x0a\0\0\x01", 4), 0);
  EXPECT_EQ(record.h_addr_list[1], nullptr);
}

TEST_F(CallerBuffer, ReceivesLenientlyWrittenAddresses) {
  hostent record{}, *result = nullptr;
  for (const char* name : {"0x0a.0.0.01", "10.1", "167772161"}) {
    ASSERT_EQ(handy_gethostbyname_r(name, &record, bytes_, 400, &result, nullptr), 0) << name;
    EXPECT_EQ(memcmp(record.h_addr_list[0], "\x0a\0\0\x01", 4), 0) << name;
    EXPECT_STREQ(record.h_name, name);
  }
}

TEST_F(CallerBuffer, ThatIsNullAndNullPlacesAreRefused) {
  hostent record{}, *result = &record;
  EXPECT_EQ(handy_gethostbyname_r(nullptr, &record, bytes_, 400, &result, nullptr), 22);
  EXPECT_EQ(result, nullptr);
  result = &record;
  EXPECT_EQ(handy_gethostbyname_r("10.0.0.1", nullptr, bytes_, 400, &result, nullptr), 22);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(handy_gethostbyname_r("10.0.0.1", &record, nullptr, 400, &result, nullptr), 22);
  EXPECT_EQ(handy_gethostbyname_r("10.0.0.1", &record, bytes_, 400, nullptr, nullptr), 22);
}

TEST_F(CallerBuffer, ThatIsTooShortIsReportedAfterANullNameAndBeforeTheNameIsLookedAt) {
  hostent record{}, *result = &record;
  EXPECT_EQ(handy_gethostbyname_r(nullptr, &record, bytes_, 0, &result, nullptr), 22);
  result = &record;
  EXPECT_EQ(handy_gethostbyname_r("10.0.0.1", &record, bytes_, 299, &result, nullptr), 34);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(record.h_name, nullptr);
}

TEST_F(CallerBuffer, LeavesRecordAndResultAloneWhenTheNameCannotBeAsked) {
  hostent record{}, *result = &record;
  const std::string name(500, 'x');
  EXPECT_EQ(handy_gethostbyname_r(name.c_str(), &record, bytes_, 1000, &result, nullptr), 2);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(record.h_name, nullptr);
  EXPECT_EQ(record.h_addr_list, nullptr);
}

} // namespace
