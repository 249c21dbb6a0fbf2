// One lookup of an IPv4 address through dnsmasq on the loopback, against the socket exchange that it cannot do without
// and against other resolvers. Run it inside the sandbox, pinned to one processor: it takes port 53 and replaces
// /etc/resolv.conf, and waking an idle processor would hide everything else.
#include "gvar/server_process.h"
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <roqutil/dns.h>
#include <sys/mount.h>
#include <sys/select.h>
#include <sys/socket.h>

#if BENCH_HAVE_CARES
#include "dns/peer_cares.h"
#endif

namespace {

using bench::require;

constexpr char kName[] = "host.example.net";

// The floor: the system calls of one exchange, with a query made beforehand and a reply that is hardly looked at.
struct BareExchange {
  bool look_up(const char*) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    bind(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place);
    place.sin_port = htons(53);
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(connect(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0, "connect");
    send(fd, kQuery, sizeof kQuery - 1, 0);
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    timeval limit{2, 0};
    unsigned char reply[512];
    const bool received = select(fd + 1, &readable, nullptr, nullptr, &limit) == 1 &&
                          recv(fd, reply, sizeof reply, 0) > static_cast<ssize_t>(sizeof kQuery);
    close(fd);
    return received && reply[7] == 1;
  }
  static constexpr char kQuery[] = "\x12\x34\1\0\0\1\0\0\0\0\0\0\4host\7example\3net\0\0\1\0\1";
};

// The same, and the file that may turn IPv4 resolution off looked for first, as every lookup does.
struct BareExchangeAndSwitchFile {
  bool look_up(const char* name) {
    const int fd = open("/var/dns/ipv4", O_RDONLY | O_CLOEXEC);
    if (fd >= 0) close(fd);
    return BareExchange().look_up(name);
  }
};

struct Roqutil {
  bool look_up(const char* name) { return ROQ_UTIL_Gethostbyname(name, AF_INET, nullptr) != nullptr; }
};

// The entry that looks at no switch file, from the any-address.
struct RoqutilWithSource {
  bool look_up(const char* name) { return roq_gethostbyname(name, INADDR_ANY) != nullptr; }
};

struct Getaddrinfo {
  bool look_up(const char* name) {
    addrinfo hints{}, *found = nullptr;
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    if (getaddrinfo(name, nullptr, &hints, &found) != 0) return false;
    freeaddrinfo(found);
    return true;
  }
};

struct GethostbynameR {
  bool look_up(const char* name) {
    hostent record, *found = nullptr;
    char buffer[1024];
    int error;
    return gethostbyname2_r(name, AF_INET, &record, buffer, sizeof buffer, &found, &error) == 0 && found != nullptr;
  }
};

template <typename Resolver> void look_up(benchmark::State& state) {
  Resolver resolver;
  for (auto _ : state)
    require(resolver.look_up(kName), "the name could not be resolved");
}

BENCHMARK_TEMPLATE(look_up, BareExchange)->UseRealTime();
BENCHMARK_TEMPLATE(look_up, Roqutil)->UseRealTime();
BENCHMARK_TEMPLATE(look_up, RoqutilWithSource)->UseRealTime();
BENCHMARK_TEMPLATE(look_up, BareExchangeAndSwitchFile)->UseRealTime();
BENCHMARK_TEMPLATE(look_up, Getaddrinfo)->UseRealTime();
BENCHMARK_TEMPLATE(look_up, GethostbynameR)->UseRealTime();
#if BENCH_HAVE_CARES
BENCHMARK_TEMPLATE(look_up, bench::NewChannel)->UseRealTime();
BENCHMARK_TEMPLATE(look_up, bench::ReusedChannel)->UseRealTime();
#endif

// Everybody asks the relay on the loopback.
void replace_resolver_configuration() {
  FILE* file = fopen("/var/resolv.conf", "w");
  require(file != nullptr && fputs("nameserver 127.0.0.1\n", file) >= 0 && fclose(file) == 0, "/var/resolv.conf");
  require(mount("/var/resolv.conf", "/etc/resolv.conf", nullptr, MS_BIND, nullptr) == 0, "/etc/resolv.conf");
}

void run_dnsmasq() {
  setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
  execlp("dnsmasq", "dnsmasq", "--keep-in-foreground", "--conf-file=/dev/null", "--no-resolv", "--no-hosts",
         "--pid-file=", "--user=root", "--log-facility=/dev/null", "--bind-interfaces", "--listen-address=127.0.0.1",
         "--host-record=host.example.net,192.0.2.1", nullptr);
}

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  require(getenv("ROQ_SANDBOX") != nullptr, "run it inside tools/gateway/sandbox");
  replace_resolver_configuration();
  bench::ServerProcess relay(run_dnsmasq);
  bench::until_it_answers([] { return Roqutil().look_up(kName); }, "dnsmasq");
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
