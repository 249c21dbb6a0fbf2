// The relay and the name server that users have.
#include "system/dns/files.h"
#include "system/dns/scenario.h"
#include <arpa/inet.h>
#include <csignal>
#include <gmock/gmock.h>
#include <roqutil/dns.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace roq::tests;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

constexpr char kHosts[] = "192.0.2.1 one.example.net\n"
                          "192.0.2.11 many.example.net\n192.0.2.12 many.example.net\n192.0.2.13 many.example.net\n"
                          "2001:db8::1 one.example.net\n"
                          "2001:db8::11 many.example.net\n2001:db8::12 many.example.net\n"
                          "192.0.2.21 sip1.example.net\n192.0.2.22 sip2.example.net\n";

class Dnsmasq {
public:
  explicit Dnsmasq(const char* address) {
    write_file("/var/dns/hosts", kHosts);
    const std::string listen = std::string("--listen-address=") + address;
    pid_ = fork();
    if (pid_ == 0) {
      setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
      execlp("dnsmasq", "dnsmasq", "--keep-in-foreground", "--conf-file=/dev/null", "--no-resolv", "--no-hosts",
             "--addn-hosts=/var/dns/hosts", "--pid-file=", "--user=root", "--log-facility=/dev/null",
             "--bind-interfaces", listen.c_str(), "--local=/net/", "--cname=alias.example.net,many.example.net",
             "--srv-host=_sip._udp.example.net,sip1.example.net,5060,10,20",
             "--srv-host=_sip._udp.example.net,sip2.example.net,5061,11,21", nullptr);
      _exit(127);
    }
    wait_until_it_listens(address);
  }
  ~Dnsmasq() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  Dnsmasq(const Dnsmasq&) = delete;
  Dnsmasq& operator=(const Dnsmasq&) = delete;

private:
  // The port is taken once somebody else cannot have it.
  static void wait_until_it_listens(const char* first_address) {
    const std::string address(first_address, std::string(first_address).find(','));
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(53);
    inet_pton(AF_INET, address.c_str(), &place.sin_addr);
    for (int tries = 0; tries < 1000; ++tries) {
      const int fd = socket(AF_INET, SOCK_DGRAM, 0);
      const bool taken = bind(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0;
      close(fd);
      if (taken) {
        usleep(200000);
        return;
      }
      usleep(10000);
    }
    FAIL() << "dnsmasq does not start";
  }

  pid_t pid_;
};

std::vector<std::string> addresses_of(const char* name, int32_t family, const char* source = nullptr) {
  std::vector<std::string> texts;
  const hostent* host = ROQ_UTIL_Gethostbyname(name, family, source);
  for (char** at = host != nullptr ? host->h_addr_list : nullptr; at != nullptr && *at != nullptr; ++at) {
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(family, *at, text, sizeof text);
    texts.push_back(text);
  }
  return texts;
}

class RealRelay : public Scenarios {};

ROQ_SCENARIO(RealRelay, ResolvesNamesOfBothFamilies) {
  Dnsmasq relay("127.0.0.1,::1");
  EXPECT_THAT(addresses_of("one.example.net", AF_INET), ElementsAre("192.0.2.1"));
  EXPECT_THAT(addresses_of("one.example.net", AF_INET6), ElementsAre("2001:db8::1"));
  EXPECT_THAT(addresses_of("many.example.net", AF_INET),
              UnorderedElementsAre("192.0.2.11", "192.0.2.12", "192.0.2.13"));
  EXPECT_THAT(addresses_of("many.example.net", AF_INET6), UnorderedElementsAre("2001:db8::11", "2001:db8::12"));
  EXPECT_THAT(addresses_of("one.example.net", AF_INET, "127.0.0.8"), ElementsAre("192.0.2.1"));
  EXPECT_THAT(addresses_of("one.example.net", AF_INET, "::1"), ElementsAre("192.0.2.1"));
  EXPECT_THAT(addresses_of("one.example.net", AF_INET6, "127.0.0.1"), ElementsAre("2001:db8::1"));
}

ROQ_SCENARIO(RealRelay, ResolvesAnAliasToTheNameBehindIt) {
  Dnsmasq relay("127.0.0.1,::1");
  EXPECT_THAT(addresses_of("alias.example.net", AF_INET),
              UnorderedElementsAre("192.0.2.11", "192.0.2.12", "192.0.2.13"));
  EXPECT_STREQ(ROQ_UTIL_Gethostbyname("alias.example.net", AF_INET, nullptr)->h_name, "many.example.net");
  EXPECT_STREQ(roq_gethostbyname("alias.example.net", 0)->h_name, "many.example.net");
}

ROQ_SCENARIO(RealRelay, DoesNotResolveUnknownNames) {
  Dnsmasq relay("127.0.0.1,::1");
  EXPECT_THAT(addresses_of("nobody.example.net", AF_INET), ElementsAre());
  EXPECT_THAT(addresses_of("sip1.example.net", AF_INET6), ElementsAre()) << "no address of the family";
}

ROQ_SCENARIO(RealRelay, ServesAnSrvQueryAndItsTargets) {
  Dnsmasq relay("127.0.0.1,127.0.0.53,::1");
  write_file("/var/wan/ppp0/dns", "nameserver 127.0.0.53\n");
  write_file("/var/wan/ppp0/ipaddr", "127.0.0.7\n");
  RoqSrvRecord* table = ROQ_UTIL_DnsSrvQuery("_sip._udp.example.net", "ppp0");
  ASSERT_NE(table, nullptr);
  const bool swapped = ntohs(table[0].port) != 5060;
  const RoqSrvRecord &first = table[swapped ? 1 : 0], second = table[swapped ? 0 : 1];
  EXPECT_EQ(ntohs(first.port), 5060);
  EXPECT_EQ(ntohs(first.priority), 10);
  EXPECT_EQ(ntohs(first.weight), 20);
  EXPECT_STREQ(first.target, "sip1.example.net");
  EXPECT_STREQ(first.address, "192.0.2.21");
  EXPECT_EQ(ntohs(second.port), 5061);
  EXPECT_STREQ(second.target, "sip2.example.net");
  EXPECT_STREQ(second.address, "192.0.2.22");
  EXPECT_EQ(table[2].valid, 0U);
  EXPECT_EQ(read_file("/var/voice_dns"), "127.0.0.53\n");
}

} // namespace
