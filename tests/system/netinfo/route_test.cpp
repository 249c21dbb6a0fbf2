#include "system/netinfo/scene.h"
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <roqutil/netinfo.h>

using namespace roq::scene;

namespace {

struct Found {
  uint32_t result;
  std::string name;
  std::string printed;
};

Found default_route() {
  char name[32];
  memset(name, 'Z', sizeof name);
  Found found;
  found.printed = printed_by([&] { found.result = ROQ_UTIL_GetDefaultRouteInterfaceName(name); });
  found.name = name;
  return found;
}

Found ipv6_default_route() {
  char name[32] = "";
  Found found;
  found.printed = printed_by([&] { found.result = ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(name, sizeof name); });
  found.name = name;
  return found;
}

void add_links() {
  for (const char* name : {"wan0", "wan1", "wan2"}) {
    run(std::string("ip link add ") + name + " type veth peer name p" + name + " && ip link set p" + name + " up");
    run(std::string("ip link set ") + name + " up");
  }
  run("ip addr add 192.0.2.2/24 dev wan0 && ip addr add 198.51.100.2/24 dev wan1 && ip addr add 203.0.113.2/24 dev "
      "wan2");
  run("ip -6 addr add 2001:db8:0::2/64 dev wan0 nodad && ip -6 addr add 2001:db8:1::2/64 dev wan1 nodad"
      " && ip -6 addr add 2001:db8:2::2/64 dev wan2 nodad");
}

} // namespace

TEST(DefaultRouteOfTheKernel, IsNoneAtFirst) {
  in_child([] {
    Found found = default_route();
    EXPECT_EQ(found.result, 1U);
    EXPECT_EQ(found.name, "");
    EXPECT_EQ(found.printed, "");
  });
}

TEST(DefaultRouteOfTheKernel, IsTheOneThatIpShowsFirst) {
  in_child([] {
    add_links();
    for (const char* route : {"via 198.51.100.1 dev wan1 metric 300", "via 192.0.2.1 dev wan0 metric 200",
                              "dev wan2 metric 400", "via 203.0.113.1 dev wan2 metric 100"}) {
      run(std::string("ip route add default ") + route);
      Found found = default_route();
      EXPECT_EQ(found.result, 1U);
      EXPECT_EQ(found.name, json_text(output_of("ip -json -4 route show default"), "dev")) << route;
      EXPECT_NE(found.name, "");
    }
  });
}

TEST(DefaultRouteOfTheKernel, IsNotARouteToANetwork) {
  in_child([] {
    add_links();
    run("ip route add 0.0.0.0/1 dev wan0 && ip route add 128.0.0.0/1 dev wan1");
    EXPECT_EQ(default_route().name, "");
  });
}

TEST(DefaultRouteOfTheKernel, LeavesNoDescriptorOpen) {
  in_child([] {
    add_links();
    run("ip route add default via 192.0.2.1 && ip -6 route add default via 2001:db8::1");
    std::vector<int> before = open_descriptors();
    EXPECT_EQ(default_route().name, "wan0");
    EXPECT_EQ(ipv6_default_route().name, "wan0");
    run("ip route del default && ip -6 route del default");
    EXPECT_EQ(default_route().name, "");
    EXPECT_EQ(ipv6_default_route().name, "");
    EXPECT_EQ(open_descriptors(), before);
  });
}

TEST(Ipv6DefaultRouteOfTheKernel, IsNoneAtFirst) {
  in_child([] {
    Found found = ipv6_default_route();
    EXPECT_EQ(found.result, 1U);
    EXPECT_EQ(found.name, "");
    EXPECT_EQ(found.printed, "");
  });
}

TEST(Ipv6DefaultRouteOfTheKernel, IsTheOneWithTheLowestMetric) {
  in_child([] {
    add_links();
    struct Step {
      const char* route;
      const char* expected;
    };
    for (Step step :
         {Step{"via 2001:db8:1::1 dev wan1 metric 1024", "wan1"}, Step{"via 2001:db8:0::1 dev wan0 metric 256", "wan0"},
          Step{"via 2001:db8:2::1 dev wan2 metric 2000", "wan0"}, Step{"dev wan2 metric 10", "wan2"}}) {
      run(std::string("ip -6 route add default ") + step.route);
      EXPECT_EQ(ipv6_default_route().name, step.expected);
      EXPECT_EQ(json_text(output_of("ip -json -6 route show default"), "dev"), step.expected) << "ip differs";
    }
  });
}

TEST(Ipv6DefaultRouteOfTheKernel, IsNeverTheRejectRouteOfTheLoopback) {
  in_child([] {
    ASSERT_NE(read_file("/proc/net/ipv6_route").find("ffffffff"), std::string::npos);
    EXPECT_EQ(ipv6_default_route().name, "");
  });
}

TEST(DefaultRouteTable, ThatIsMissingGivesZeroAnEmptyNameAndALine) {
  in_child([] {
    hide_proc();
    Found found = default_route();
    EXPECT_EQ(found.result, 0U);
    EXPECT_EQ(found.name, "");
    EXPECT_EQ(found.printed, "Can't Open File:/proc/net/route\n");
  });
}

TEST(DefaultRouteTable, IsReadFromProc) {
  in_child([] {
    hide_proc();
    write_file("/proc/net/route",
               "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n"
               "eth0\t0000A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n"
               "ppp0\t00000000\t00000000\t0001\t0\t0\t9\t00000000\t0\t0\t0\n"
               "ppp1\t00000000\t00000000\t0001\t0\t0\t1\t00000000\t0\t0\t0\n");
    Found found = default_route();
    EXPECT_EQ(found.result, 1U);
    EXPECT_EQ(found.name, "ppp0");
    EXPECT_EQ(found.printed, "");
  });
}

TEST(DefaultRouteTable, ThatIsEmptyGivesOneAndAnEmptyName) {
  in_child([] {
    hide_proc();
    write_file("/proc/net/route", "");
    Found found = default_route();
    EXPECT_EQ(found.result, 1U);
    EXPECT_EQ(found.name, "");
  });
}

TEST(Ipv6DefaultRouteTable, ThatIsMissingGivesZeroAndLeavesTheNameAlone) {
  in_child([] {
    hide_proc();
    char name[8] = "before";
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(name, sizeof name), 0U); }), "");
    EXPECT_STREQ(name, "before");
  });
}

TEST(Ipv6DefaultRouteTable, ThatIsMissingIsReportedOnTheDebugChannel) {
  in_child([] {
    hide_proc();
    setenv("ROQ_MSG_DEBUG", "1", 1);
    char name[8] = "";
    testing::internal::CaptureStderr();
    EXPECT_EQ(ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(name, sizeof name), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Can't Open File:/proc/net/ipv6_route\n");
  });
}

TEST(Ipv6DefaultRouteTable, IsReadFromProc) {
  in_child([] {
    hide_proc();
    std::string any(32, '0');
    std::string start = any + " 00 " + any + " 00 " + any + " ";
    write_file("/proc/net/ipv6_route", start + "00000400 00000001 00000000 00000003 ppp0\n" + start +
                                           "00000100 00000001 00000000 00000003 ppp1");
    Found found = ipv6_default_route();
    EXPECT_EQ(found.result, 1U);
    EXPECT_EQ(found.name, "ppp1");
    write_file("/proc/net/ipv6_route", "");
    found = ipv6_default_route();
    EXPECT_EQ(found.result, 1U);
    EXPECT_EQ(found.name, "");
  });
}

TEST(Ipv6DefaultRouteTable, WithoutADefaultRouteLeavesTheWholeBufferAlone) {
  in_child([] {
    hide_proc();
    constexpr char kOther[] =
        "20010db8000000000000000000000000 40 00000000000000000000000000000000 00 0 00000100 1 0 3 eth0\n";
    for (const char* table : {"", kOther}) {
      write_file("/proc/net/ipv6_route", table);
      char name[8] = "before";
      EXPECT_EQ(ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(name, sizeof name), 1U);
      EXPECT_EQ(std::string(name, sizeof name), std::string("before\0\0", 8));
    }
  });
}

TEST(Ipv6DefaultRouteTable, FillsTheCallersBufferButItsLastByte) {
  in_child([] {
    hide_proc();
    std::string any(32, '0');
    write_file("/proc/net/ipv6_route",
               any + " 00 " + any + " 00 " + any + " 00000100 00000001 00000000 00000003 wlan0\n");
    for (uint32_t size : {0U, 1U, 2U, 5U, 6U, 7U, 16U}) {
      char name[24];
      memset(name, 'Z', sizeof name);
      EXPECT_EQ(ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(name, size), 1U) << size;
      std::string written = std::string("wlan0").substr(0, size > 0 ? size - 1 : 0);
      if (size > 0) written.resize(size - 1, '\0');
      EXPECT_EQ(std::string(name, sizeof name), written + std::string(sizeof name - written.size(), 'Z')) << size;
    }
  });
}
