#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <roqutil/netinfo.h>
#include <string>

namespace {

struct Named {
  uint32_t result;
  std::string name;
};

Named name_of(uint32_t number) {
  char name[16];
  memset(name, 0x5a, sizeof name);
  uint32_t result = ROQ_UTIL_GetInterfaceNameById(number, name);
  for (size_t i = strlen(name) + 1; i < sizeof name; ++i)
    EXPECT_EQ(name[i], 0x5a) << "number " << number;
  return {result, name};
}

} // namespace

TEST(InterfaceName, IsKnownForExactlyTheNumbersOfTheTable) {
  const std::map<uint32_t, std::string> names = {
      {1, "eth0"},    {2, "eth1"},    {3, "eth2"},    {4, "eth3"},    {13, "wl0"},    {14, "wl0.1"},
      {15, "wl0.2"},  {16, "wl0.3"},  {21, "eth0.0"}, {22, "eth0.1"}, {23, "eth0.2"}, {24, "eth0.3"},
      {25, "eth0.4"}, {26, "eth0.5"}, {27, "eth1.2"}, {28, "eth1.3"}, {29, "eth1.4"}, {30, "eth1.5"}};
  for (uint32_t number = 0; number < 1000; ++number) {
    auto known = names.find(number);
    Named named = name_of(number);
    EXPECT_EQ(named.result, known == names.end() ? 0U : 1U) << number;
    EXPECT_EQ(named.name, known == names.end() ? "" : known->second) << number;
  }
}

TEST(InterfaceName, IsUnknownForNumbersWhoseLowBytesAreKnown) {
  for (uint32_t number : {0x101U, 0x10001U, 0x80000001U, 0xFFFFFFFFU})
    EXPECT_EQ(name_of(number).result, 0U) << number;
}

TEST(InterfaceName, IsNotWrittenToANullPointer) { EXPECT_EQ(ROQ_UTIL_GetInterfaceNameById(1, nullptr), 0U); }
