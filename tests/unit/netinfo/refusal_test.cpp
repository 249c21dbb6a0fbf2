// What the functions do when the process may open nothing: no table, no socket, no directory.
#include "support/counters.h"
#include "support/recording_bus.h"
#include <cstring>
#include <gtest/gtest.h>
#include <roqutil/netinfo.h>
#include <sys/resource.h>

namespace {

class WithoutDescriptors : public testing::Test {
protected:
  // Calls the function while no descriptor can be had; returns its result and keeps what it printed.
  template <typename Function> auto call(Function function) {
    testing::internal::CaptureStdout();
    rlimit usual{};
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
    rlimit none{0, usual.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    auto result = function();
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
    printed = testing::internal::GetCapturedStdout();
    return result;
  }

  roq::test::RecordingBus bus;
  std::string printed;
};

} // namespace

TEST_F(WithoutDescriptors, TheDefaultRouteIsEmptyAndALineIsPrinted) {
  char name[8] = "before";
  EXPECT_EQ(call([&] { return ROQ_UTIL_GetDefaultRouteInterfaceName(name); }), 0U);
  EXPECT_EQ(printed, "Can't Open File:/proc/net/route\n");
  EXPECT_EQ(std::string(name, 7), std::string("\0efore\0", 7)) << "only the first byte is cleared";
  EXPECT_TRUE(bus.debug_lines.empty());
}

TEST_F(WithoutDescriptors, TheIpv6DefaultRouteIsUntouchedAndADebugLineWritten) {
  char name[8] = "before";
  EXPECT_EQ(call([&] { return ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(name, sizeof name); }), 0U);
  EXPECT_EQ(printed, "");
  EXPECT_STREQ(name, "before");
  EXPECT_EQ(bus.debug_lines, std::vector<std::string>{"Can't Open File:/proc/net/ipv6_route\n"});
}

TEST_F(WithoutDescriptors, TheLinkLocalAddressIsNotFound) {
  char address[46] = "before";
  EXPECT_EQ(call([&] { return ROQ_UTIL_GetIpv6LinkAddress("lo", address); }), 0U);
  EXPECT_EQ(printed, "");
  EXPECT_STREQ(address, "before");
}

TEST_F(WithoutDescriptors, ThePeerAddressIsNotFound) {
  char address[16] = "before";
  EXPECT_EQ(call([&] { return ROQ_UTIL_GetIfDestAddr("lo", address); }), 0U);
  EXPECT_EQ(printed, "");
  EXPECT_STREQ(address, "before");
}

TEST_F(WithoutDescriptors, TheRecordOfAnAddressIsUntouched) {
  sockaddr_in address, before;
  memset(&address, 0x5a, sizeof address);
  before = address;
  EXPECT_EQ(call([&] { return ROQ_UTIL_GetIpByName("lo", &address); }), 1U);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(memcmp(&address, &before, sizeof address), 0);
}

TEST_F(WithoutDescriptors, CountersAreUntouched) {
  RoqIfcStat counters = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(call([&] { return ROQ_UTIL_GetIfcStatInfo("lo", &counters); }), 0U);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(counters, (RoqIfcStat{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(WithoutDescriptors, AModemNodeIsNotFoundAndALineIsPrinted) {
  char node[64] = "before";
  EXPECT_EQ(call([&] { return ROQ_Get3GUsbStickNode(2, node); }), 0U);
  EXPECT_EQ(printed, "\n open proc_user_umts fail\n");
  EXPECT_STREQ(node, "before");
}

TEST_F(WithoutDescriptors, AModuleIsNotListedAndALineIsPrinted) {
  EXPECT_EQ(call([] { return ROQ_UTIL_IsModuleInserted("usb"); }), 0U);
  EXPECT_EQ(printed, "Can't Open File:/proc/modules\n");
}

TEST_F(WithoutDescriptors, AModuleIsRemovedByDoingNothing) {
  EXPECT_EQ(call([] { return ROQ_UTIL_RemoveModule("usb", "/lib"); }), 1U);
  EXPECT_EQ(printed, "Can't Open File:/proc/modules\n");
}

TEST_F(WithoutDescriptors, ADirectoryOfModulesIsNotWalked) {
  EXPECT_EQ(call([] { return ROQ_UTIL_InsertModulesDir("/"); }), 0U);
  EXPECT_EQ(printed, "");
}

TEST(NetinfoFunctions, RefuseNullPointersSilently) {
  char text[64] = "before";
  roq::test::RecordingBus bus;
  testing::internal::CaptureStdout();
  EXPECT_EQ(ROQ_UTIL_GetDefaultRouteInterfaceName(nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(nullptr, 16), 0U);
  EXPECT_EQ(ROQ_UTIL_GetIpv6LinkAddress(nullptr, text), 0U);
  EXPECT_EQ(ROQ_UTIL_GetIpv6LinkAddress("lo", nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_GetIfDestAddr(nullptr, text), 0U);
  EXPECT_EQ(ROQ_UTIL_GetIfDestAddr("lo", nullptr), 0U);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_STREQ(text, "before");
  EXPECT_TRUE(bus.debug_lines.empty());
}

TEST(NetinfoFunctions, OfNullPointersLeaveTheOtherRecordAlone) {
  sockaddr_in address, before;
  memset(&address, 0x5a, sizeof address);
  before = address;
  EXPECT_EQ(ROQ_UTIL_GetIpByName(nullptr, &address), 1U);
  EXPECT_EQ(ROQ_UTIL_GetIpByName("lo", nullptr), 1U);
  EXPECT_EQ(memcmp(&address, &before, sizeof address), 0);
  RoqIfcStat counters = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(ROQ_UTIL_GetIfcStatInfo(nullptr, &counters), 0U);
  EXPECT_EQ(ROQ_UTIL_GetIfcStatInfo("lo", nullptr), 0U);
  EXPECT_EQ(counters, (RoqIfcStat{1, 2, 3, 4, 5, 6, 7, 8}));
}
