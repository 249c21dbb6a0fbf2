#include "support/counters.h"
#include "system/netinfo/scene.h"
#include <algorithm>
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace roq::scene;

namespace {

constexpr RoqIfcStat kUntouched = {77, 77, 77, 77, 77, 77, 77, 77};

RoqIfcStat counters(const std::string& name) {
  RoqIfcStat record = kUntouched;
  uint32_t result = 9;
  EXPECT_EQ(printed_by([&] { result = ROQ_UTIL_GetIfcStatInfo(name.c_str(), &record); }), "");
  EXPECT_EQ(result, 0U);
  return record;
}

RoqIfcStat shown_by_ip(const std::string& name) {
  std::string json = output_of("ip -json -s link show dev " + name);
  json = json.substr(std::min(json.find("\"stats64\""), json.size()));
  auto number = [&](const char* section, const char* key) {
    return static_cast<uint32_t>(std::min<uint64_t>(json_number(json, section, key), UINT32_MAX));
  };
  return {number("rx", "bytes"), number("rx", "packets"), number("rx", "errors"), number("rx", "dropped"),
          number("tx", "bytes"), number("tx", "packets"), number("tx", "errors"), number("tx", "dropped")};
}

// Two ends of a cable that nobody but the test sends through.
void add_quiet_cable() {
  run("ip link add lan0 type veth peer name far0");
  for (const char* end : {"lan0", "far0"}) {
    run(std::string("echo 1 >/proc/sys/net/ipv6/conf/") + end + "/disable_ipv6");
    run(std::string("ip link set ") + end + " up");
  }
  run("ip addr add 192.0.2.1/24 dev lan0 && ip neigh add 192.0.2.9 lladdr 02:00:00:00:00:09 dev lan0");
}

void send_datagrams(int count) {
  int sender = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ASSERT_GE(sender, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(9);
  ASSERT_EQ(inet_pton(AF_INET, "192.0.2.9", &address.sin_addr), 1);
  for (; count > 0; --count) {
    EXPECT_EQ(sendto(sender, "text", 4, 0, reinterpret_cast<sockaddr*>(&address), sizeof address), 4);
  }
  close(sender);
}

} // namespace

TEST(CountersOfTheKernel, AreThoseThatIpShows) {
  in_child([] {
    add_quiet_cable();
    send_datagrams(5);
    EXPECT_EQ(counters("lan0"), shown_by_ip("lan0"));
    EXPECT_EQ(counters("far0"), shown_by_ip("far0"));
    EXPECT_NE(counters("lan0").tx_packets, 0U);
  });
}

TEST(CountersOfTheKernel, GrowUnderTraffic) {
  in_child([] {
    add_quiet_cable();
    RoqIfcStat before = counters("lan0");
    send_datagrams(7);
    RoqIfcStat after = counters("lan0");
    EXPECT_EQ(after.tx_packets - before.tx_packets, 7U);
    EXPECT_EQ(counters("far0").rx_packets, after.tx_packets);
    EXPECT_EQ(counters("far0").rx_bytes, after.tx_bytes);
  });
}

TEST(CountersOfTheKernel, AreTakenFromTheFirstLineThatContainsTheName) {
  in_child([] {
    run("ip link add xlan0 type veth peer name far1");
    add_quiet_cable();
    send_datagrams(3);
    std::string table = read_file("/proc/net/dev");
    std::string first = table.find("xlan0:") < table.find(" lan0:") ? "xlan0" : "lan0";
    EXPECT_EQ(counters("lan0"), shown_by_ip(first));
    EXPECT_EQ(counters(" lan0:"), shown_by_ip("lan0"));
  });
}

TEST(CountersOfTheKernel, AreUntouchedForAnInterfaceThatIsNotThere) {
  in_child([] {
    for (const std::string& name : {std::string("nobody"), std::string(16, 'n'), std::string(300, 'n')}) {
      EXPECT_EQ(counters(name), kUntouched);
    }
  });
}

TEST(CountersOfTheKernel, LeaveNoDescriptorOpen) {
  in_child([] {
    std::vector<int> before = open_descriptors();
    RoqIfcStat record;
    for (const char* name : {"lo", "nobody", static_cast<const char*>(nullptr)})
      ROQ_UTIL_GetIfcStatInfo(name, &record);
    ROQ_UTIL_GetIfcStatInfo("lo", nullptr);
    EXPECT_EQ(open_descriptors(), before);
  });
}

TEST(DeviceTable, ThatIsMissingGivesZeroAndLeavesTheRecordAlone) {
  in_child([] {
    hide_proc();
    EXPECT_EQ(counters("eth0"), kUntouched);
  });
}

TEST(DeviceTable, IsReadFromProc) {
  in_child([] {
    hide_proc();
    write_file("/proc/net/dev", "one\ntwo\n"
                                " eth1: 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9\n"
                                " eth0:4294967296 2 3 4 5 6 7 8 18446744073709551616 10 11 12 13 14 15 16");
    EXPECT_EQ(counters("eth0"), (RoqIfcStat{4294967295U, 2, 3, 4, 4294967295U, 10, 11, 12}));
    write_file("/proc/net/dev", "");
    EXPECT_EQ(counters("eth0"), kUntouched);
  });
}
