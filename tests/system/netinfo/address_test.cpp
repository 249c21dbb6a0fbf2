#include "system/netinfo/scene.h"
#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <roqutil/netinfo.h>

using namespace roq::scene;

namespace {

// The text that the function writes to a buffer of `size` bytes; nothing when it gives 0 and leaves the buffer alone.
template <size_t size>
std::optional<std::string> ask(uint32_t (*function)(const char*, char*), const std::string& name) {
  struct {
    char text[size];
    char canary[16];
  } out;
  memset(&out, 'Z', sizeof out);
  uint32_t result = 9;
  EXPECT_EQ(printed_by([&] { result = function(name.c_str(), out.text); }), "");
  EXPECT_EQ(std::string(out.canary, sizeof out.canary), std::string(sizeof out.canary, 'Z'));
  if (result == 1) return out.text;
  EXPECT_EQ(result, 0U);
  EXPECT_EQ(std::string(out.text, size), std::string(size, 'Z'));
  return std::nullopt;
}

std::optional<std::string> link_local(const std::string& name) { return ask<46>(ROQ_UTIL_GetIpv6LinkAddress, name); }
std::optional<std::string> peer(const std::string& name) { return ask<16>(ROQ_UTIL_GetIfDestAddr, name); }

struct Address {
  uint32_t result;
  sockaddr_in record;
};

Address own(const std::string& name) {
  Address address;
  memset(&address, 'Z', sizeof address);
  address.result = ROQ_UTIL_GetIpByName(name.c_str(), &address.record);
  return address;
}

void expect_own(const std::string& name, const char* text) {
  Address address = own(name);
  EXPECT_EQ(address.result, 0U) << name;
  sockaddr_in expected{};
  expected.sin_family = AF_INET;
  ASSERT_EQ(inet_pton(AF_INET, text, &expected.sin_addr), 1);
  EXPECT_EQ(memcmp(&address.record, &expected, sizeof expected), 0) << name;
}

void expect_none(const std::string& name) {
  Address address = own(name);
  EXPECT_EQ(address.result, 1U) << name;
  sockaddr_in zeros{};
  EXPECT_EQ(memcmp(&address.record, &zeros, sizeof zeros), 0) << name;
}

// The kernel gives it no address of its own accord, which it would do at a time of its own choice.
void add_link(const std::string& name) {
  run("ip link add " + name + " type veth peer name far0");
  for (const std::string& end : {name, std::string("far0")}) {
    run("ip link set " + end + " addrgenmode none && ip link set " + end + " up");
  }
}

void add_link_local(const std::string& name, const std::string& address) {
  run("ip -6 addr add " + address + "/64 dev " + name + " nodad");
}

std::string shown_by_ip(const std::string& arguments) { return json_text(output_of("ip -json " + arguments), "local"); }

constexpr char kLongestName[] = "interface-of-15";

} // namespace

TEST(LinkLocalAddressOfTheKernel, IsTheOneThatIpShows) {
  in_child([] {
    add_link("lan0");
    for (const char* address : {"fe80::1", "fe80::d897:b4ff:fe9a:1a9e", "febf:ffff:1::", "fe80:1:2:3:4:5:6:7"}) {
      add_link_local("lan0", address);
      EXPECT_EQ(link_local("lan0"), address);
      EXPECT_EQ(link_local("lan0"), shown_by_ip("-6 addr show dev lan0 scope link"));
      run("ip -6 addr flush dev lan0");
    }
  });
}

TEST(LinkLocalAddressOfTheKernel, IsNotAnInterfacesGlobalAddress) {
  in_child([] {
    add_link("lan0");
    run("ip -6 addr add 2001:db8::1/64 dev lan0 nodad");
    EXPECT_EQ(link_local("lan0"), std::nullopt);
    add_link_local("lan0", "fe80::1");
    EXPECT_EQ(link_local("lan0"), "fe80::1");
  });
}

TEST(LinkLocalAddressOfTheKernel, IsNotFoundForOtherNames) {
  in_child([] {
    add_link("lan0");
    add_link_local("lan0", "fe80::1");
    for (const std::string& name :
         {std::string("lo"), std::string("lan"), std::string("nobody"), std::string(300, 'n'), std::string()}) {
      EXPECT_EQ(link_local(name), std::nullopt) << name;
    }
  });
}

TEST(LinkLocalAddressOfTheKernel, IsFoundUnderTheLongestNameOnlyInFull) {
  in_child([] {
    add_link(kLongestName);
    add_link_local(kLongestName, "fe80::2");
    EXPECT_EQ(link_local(kLongestName), "fe80::2");
    EXPECT_EQ(link_local(std::string(kLongestName) + "x"), std::nullopt);
  });
}

TEST(Ipv6AddressTable, IsReadFromProc) {
  in_child([] {
    hide_proc();
    EXPECT_EQ(link_local("ppp0"), std::nullopt) << "no table";
    write_file("/proc/net/if_inet6", "");
    EXPECT_EQ(link_local("ppp0"), std::nullopt) << "an empty table";
    write_file("/proc/net/if_inet6", "20010db8000000000000000000000001 07 40 00 80     ppp0\n"
                                     "fe800000000000000000000000000001 07 40 20 80     ppp0\n"
                                     "fe800000000000000000000000000002 07 40 20 80     ppp0\n");
    EXPECT_EQ(link_local("ppp0"), "fe80::1");
  });
}

TEST(Ipv6AddressTable, IsClosedAgain) {
  in_child([] {
    hide_proc();
    write_file("/proc/net/if_inet6", "fe800000000000000000000000000001 07 40 20 80     ppp0\n");
    std::vector<int> before = open_descriptors();
    EXPECT_EQ(link_local("ppp0"), "fe80::1");
    EXPECT_EQ(link_local("ppp1"), std::nullopt);
    EXPECT_EQ(open_descriptors(), before);
  });
}

TEST(AddressesOfTheKernel, AreHadThroughDescriptorZeroToo) {
  in_child([] {
    close(0);
    expect_own("lo", "127.0.0.1");
    EXPECT_EQ(peer("lo"), "127.0.0.1");
    EXPECT_EQ(open_descriptors()[0], 1) << "0 is closed again";
  });
}

TEST(PeerAddress, IsTheOtherEndOfATunnel) {
  in_child([] {
    run("ip tuntap add tun0 mode tun && ip addr add 10.9.0.1 peer 10.9.0.2 dev tun0 && ip link set tun0 up");
    EXPECT_EQ(peer("tun0"), "10.9.0.2");
    EXPECT_EQ(peer("tun0"), json_text(output_of("ip -json -4 addr show dev tun0"), "address"));
  });
}

TEST(PeerAddress, OfAnInterfaceWithoutOneIsItsOwn) {
  in_child([] {
    add_link("lan0");
    run("ip addr add 255.255.255.254/32 dev lan0");
    EXPECT_EQ(peer("lan0"), "255.255.255.254");
    EXPECT_EQ(peer("lo"), "127.0.0.1");
  });
}

TEST(PeerAddress, IsNotHadWithoutAnAddressOrAnInterface) {
  in_child([] {
    add_link("lan0");
    EXPECT_EQ(peer("lan0"), std::nullopt);
    EXPECT_EQ(peer("nobody"), std::nullopt);
    EXPECT_EQ(peer(""), std::nullopt);
    EXPECT_EQ(peer(std::string(300, 'n')), std::nullopt);
  });
}

TEST(PeerAddress, IsAskedForWithTheFirst15CharactersOfAName) {
  in_child([] {
    add_link(kLongestName);
    run(std::string("ip addr add 10.1.2.3 peer 10.1.2.4 dev ") + kLongestName);
    EXPECT_EQ(peer(kLongestName), "10.1.2.4");
    EXPECT_EQ(peer(std::string(kLongestName) + "x"), "10.1.2.4");
    EXPECT_EQ(peer(kLongestName + std::string(285, 'x')), "10.1.2.4");
  });
}

TEST(OwnAddress, IsASocketAddressWithZeroForSuccess) {
  in_child([] {
    add_link("lan0");
    run("ip addr add 192.168.1.1/24 dev lan0");
    expect_own("lan0", "192.168.1.1");
    expect_own("lan0", shown_by_ip("-4 addr show dev lan0").c_str());
    expect_own("lo", "127.0.0.1");
  });
}

TEST(OwnAddress, OfAnInterfaceWithAPeerIsTheNearEnd) {
  in_child([] {
    run("ip tuntap add tun0 mode tun && ip addr add 10.9.0.1 peer 10.9.0.2 dev tun0");
    expect_own("tun0", "10.9.0.1");
  });
}

TEST(OwnAddress, IsAllZerosAndOneForFailure) {
  in_child([] {
    add_link("lan0");
    for (const std::string& name : {std::string("lan0"), std::string("nobody"), std::string(), std::string(300, 'n')}) {
      expect_none(name);
    }
  });
}

TEST(OwnAddress, IsAskedForWithTheFirst15CharactersOfAName) {
  in_child([] {
    add_link(kLongestName);
    run(std::string("ip addr add 10.1.2.3/24 dev ") + kLongestName);
    expect_own(kLongestName, "10.1.2.3");
    expect_own(std::string(kLongestName) + "x", "10.1.2.3");
    expect_own(kLongestName + std::string(285, 'x'), "10.1.2.3");
  });
}

TEST(AddressesOfTheKernel, LeaveNoDescriptorOpen) {
  in_child([] {
    add_link("lan0");
    std::vector<int> before = open_descriptors();
    for (const char* name : {"lo", "lan0", "nobody"}) {
      link_local(name);
      peer(name);
      own(name);
    }
    EXPECT_EQ(open_descriptors(), before);
  });
}
