#include "system/dns/files.h"
#include "system/dns/scenario.h"
#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <roqutil/dns.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace roq::tests;

class GetIfcIpaddr2 : public testing::Test {
protected:
  GetIfcIpaddr2() { memset(g_wanipaddr, 'E', sizeof g_wanipaddr); }
  ~GetIfcIpaddr2() override {
    unlink("/var/wan/ppp1/ipaddr");
    rmdir("/var/wan/ppp1");
    memset(g_wanipaddr, 0, sizeof g_wanipaddr);
  }

  int32_t read(const std::string& content) {
    write_file("/var/wan/ppp1/ipaddr", content);
    return get_ifc_ipaddr2("ppp1");
  }
};

TEST_F(GetIfcIpaddr2, TakesTheFirstWord) {
  for (const char* content : {"192.0.2.7\n", "192.0.2.7", "  192.0.2.7  up\n", "\t192.0.2.7\r\nmore\n"}) {
    EXPECT_EQ(read(content), 0) << content;
    EXPECT_STREQ(g_wanipaddr, "192.0.2.7") << content;
  }
}

TEST_F(GetIfcIpaddr2, CutsTheWordAt63Characters) {
  EXPECT_EQ(read(std::string(100, '1')), 0);
  EXPECT_EQ(std::string(g_wanipaddr), std::string(63, '1'));
}

TEST_F(GetIfcIpaddr2, LooksAt511CharactersOfTheLine) {
  EXPECT_EQ(read(std::string(510, ' ') + "12\n"), 0);
  EXPECT_STREQ(g_wanipaddr, "1");
  EXPECT_EQ(read(std::string(511, ' ') + "1\n"), -1);
}

TEST_F(GetIfcIpaddr2, RefusesABlankFirstLineAndAMissingFile) {
  for (const char* content : {"", "\n", " \t \n", "\n192.0.2.7\n"}) {
    memset(g_wanipaddr, 'E', sizeof g_wanipaddr);
    EXPECT_EQ(read(content), -1);
    EXPECT_STREQ(g_wanipaddr, "");
  }
  memset(g_wanipaddr, 'E', sizeof g_wanipaddr);
  EXPECT_EQ(get_ifc_ipaddr2("no-such-interface"), -1);
  EXPECT_STREQ(g_wanipaddr, "");
  EXPECT_EQ(get_ifc_ipaddr2(std::string(5000, 'x').c_str()), -1);
}

TEST_F(GetIfcIpaddr2, ReadsTheFileOfAnInterfaceWithALongName) {
  const std::string interface(255, 'i'), folder = "/var/wan/" + interface;
  write_file(folder + "/ipaddr", "192.0.2.7\n");
  EXPECT_EQ(get_ifc_ipaddr2(interface.c_str()), 0);
  EXPECT_STREQ(g_wanipaddr, "192.0.2.7");
  unlink((folder + "/ipaddr").c_str());
  rmdir(folder.c_str());
}

TEST_F(GetIfcIpaddr2, OfNoInterfaceIsEmpty) {
  EXPECT_EQ(get_ifc_ipaddr2(nullptr), 0);
  for (char byte : g_wanipaddr)
    EXPECT_EQ(byte, '\0');
}

class Getaddr : public Scenarios {};

sockaddr ipv4(const char* text) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  inet_pton(AF_INET, text, &address.sin_addr);
  sockaddr generic;
  memcpy(&generic, &address, sizeof generic);
  return generic;
}

ROQ_SCENARIO(Getaddr, GivesTheAddressOfTheOtherEnd) {
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  ifreq request{};
  strcpy(request.ifr_name, "lo");
  request.ifr_dstaddr = ipv4("198.51.100.200");
  ASSERT_EQ(ioctl(fd, SIOCSIFDSTADDR, &request), 0);
  close(fd);
  char out[20];
  memset(out, 'E', sizeof out);
  EXPECT_EQ(getaddr("lo", out), 0);
  EXPECT_STREQ(out, "198.51.100.200");
  EXPECT_EQ(out[15], 'E');
}

ROQ_SCENARIO(Getaddr, OfAnUnknownInterfaceFailsAndWritesNothing) {
  char out[20];
  memset(out, 'E', sizeof out);
  const int next = dup(0);
  close(next);
  for (const char* interface : {"nosuch0", "", "an-interface-name-that-is-far-too-long"}) {
    EXPECT_EQ(getaddr(interface, out), -1) << interface;
  }
  EXPECT_EQ(getaddr(nullptr, out), -1);
  EXPECT_EQ(getaddr("lo", nullptr), -1);
  EXPECT_EQ(out[0], 'E');
  const int next_after = dup(0);
  EXPECT_EQ(next_after, next) << "the socket is closed";
  close(next_after);
}

} // namespace
