// The counters of one interface among few and among many, and the default route: the library against a bare read of
// the kernel's table, the table read the naive way, getifaddrs and rtnetlink. Run it inside the sandbox: it makes
// networks.
#include "netinfo/networks.h"
#include "netinfo/rtnetlink.h"
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <roqutil/netinfo.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using bench::require;

constexpr int64_t kFew = 4;
constexpr int64_t kMany = 200;

// What a search that stops at its hit costs depends on where it hits.
std::string first_interface() { return bench::interfaces_in_table().front(); }
std::string last_interface() { return bench::interfaces_in_table().back(); }

template <size_t piece_size> size_t read_bare(const char* path) {
  char piece[piece_size];
  size_t total = 0;
  int table = open(path, O_RDONLY | O_CLOEXEC);
  require(table >= 0, path);
  for (ssize_t length; (length = read(table, piece, sizeof piece)) > 0;)
    total += static_cast<size_t>(length);
  close(table);
  return total;
}

uint32_t received_bytes(const char* name) {
  RoqIfcStat counters = {};
  ROQ_UTIL_GetIfcStatInfo(name, &counters);
  return counters.rx_bytes;
}

// Both naive forms convert every line before they look at its name: into 17 texts, or into a name and 16 numbers.
template <auto bytes_of_line> unsigned long naive_received_bytes(const char* name) {
  FILE* table = fopen("/proc/net/dev", "r");
  require(table != nullptr, "/proc/net/dev");
  char line[512];
  unsigned long bytes = 0;
  bool found = false;
  for (int number = 0; !found && fgets(line, sizeof line, table) != nullptr; ++number) {
    if (number >= 2) found = bytes_of_line(line, name, &bytes);
  }
  fclose(table);
  return bytes;
}

bool scan_texts(const char* line, const char* name, unsigned long* bytes) {
  char column[17][32];
  sscanf(line, "%31s %31s %31s %31s %31s %31s %31s %31s %31s %31s %31s %31s %31s %31s %31s %31s %31s", column[0],
         column[1], column[2], column[3], column[4], column[5], column[6], column[7], column[8], column[9], column[10],
         column[11], column[12], column[13], column[14], column[15], column[16]);
  *bytes = strtoul(column[1], nullptr, 10);
  return strncmp(column[0], name, strlen(name)) == 0 && column[0][strlen(name)] == ':';
}

bool scan_numbers(const char* line, const char* name, unsigned long* bytes) {
  char interface[32];
  unsigned long n[16];
  sscanf(line, " %31[^:]: %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu %lu", interface, &n[0], &n[1],
         &n[2], &n[3], &n[4], &n[5], &n[6], &n[7], &n[8], &n[9], &n[10], &n[11], &n[12], &n[13], &n[14], &n[15]);
  *bytes = n[0];
  return strcmp(interface, name) == 0;
}

uint32_t getifaddrs_received_bytes(const char* name) {
  ifaddrs* list;
  require(getifaddrs(&list) == 0, "getifaddrs");
  uint32_t bytes = 0;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_PACKET) continue;
    if (strcmp(entry->ifa_name, name) != 0) continue;
    bytes = static_cast<const rtnl_link_stats*>(entry->ifa_data)->rx_bytes;
    break;
  }
  freeifaddrs(list);
  return bytes;
}

template <auto function> void counters_of_first(benchmark::State& state) {
  bench::enter_network(state.range(0));
  std::string name = first_interface();
  for (auto _ : state)
    benchmark::DoNotOptimize(function(name.c_str()));
}

template <auto function> void counters_of_last(benchmark::State& state) {
  bench::enter_network(state.range(0));
  std::string name = last_interface();
  for (auto _ : state)
    benchmark::DoNotOptimize(function(name.c_str()));
}

template <size_t piece_size> void bare_read(benchmark::State& state) {
  bench::enter_network(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(read_bare<piece_size>("/proc/net/dev"));
}

BENCHMARK(counters_of_first<received_bytes>)->Name("first/roqutil")->Arg(kFew)->Arg(kMany);
BENCHMARK(counters_of_last<received_bytes>)->Name("last/roqutil")->Arg(kFew)->Arg(kMany);
BENCHMARK(counters_of_first<naive_received_bytes<scan_texts>>)->Name("first/texts")->Arg(kFew)->Arg(kMany);
BENCHMARK(counters_of_last<naive_received_bytes<scan_texts>>)->Name("last/texts")->Arg(kFew)->Arg(kMany);
BENCHMARK(counters_of_first<naive_received_bytes<scan_numbers>>)->Name("first/numbers")->Arg(kFew)->Arg(kMany);
BENCHMARK(counters_of_last<naive_received_bytes<scan_numbers>>)->Name("last/numbers")->Arg(kFew)->Arg(kMany);
BENCHMARK(counters_of_last<getifaddrs_received_bytes>)->Name("last/getifaddrs")->Arg(kFew)->Arg(kMany);
BENCHMARK(counters_of_last<bench::rtnetlink_received_bytes>)->Name("last/rtnetlink")->Arg(kFew)->Arg(kMany);
BENCHMARK(bare_read<1024>)->Name("table/read_1k")->Arg(kFew)->Arg(kMany);
BENCHMARK(bare_read<65536>)->Name("table/read_64k")->Arg(kFew)->Arg(kMany);

void default_route(benchmark::State& state) {
  bench::enter_network(state.range(0));
  char name[IFNAMSIZ * 2];
  for (auto _ : state)
    benchmark::DoNotOptimize(ROQ_UTIL_GetDefaultRouteInterfaceName(name));
  require(name[0] != '\0', "default route");
}

void default_route_naive(benchmark::State& state) {
  bench::enter_network(state.range(0));
  char name[32], destination[32], mask[32];
  for (auto _ : state) {
    FILE* table = fopen("/proc/net/route", "r");
    char line[1024];
    bool found = false;
    while (!found && fgets(line, sizeof line, table) != nullptr) {
      char rest[8][32];
      int columns = sscanf(line, "%31s %31s %31s %31s %31s %31s %31s %31s %31s %31s %31s", name, destination, rest[0],
                           rest[1], rest[2], rest[3], rest[4], mask, rest[5], rest[6], rest[7]);
      found = columns == 11 && strcmp(destination, "00000000") == 0 && strcmp(mask, "00000000") == 0;
    }
    fclose(table);
    benchmark::DoNotOptimize(name);
  }
}

void default_route_rtnetlink(benchmark::State& state) {
  bench::enter_network(state.range(0));
  char name[IF_NAMESIZE];
  for (auto _ : state)
    benchmark::DoNotOptimize(if_indextoname(bench::rtnetlink_default_route(), name));
}

void route_table(benchmark::State& state) {
  bench::enter_network(state.range(0));
  for (auto _ : state)
    benchmark::DoNotOptimize(read_bare<1024>("/proc/net/route"));
}

BENCHMARK(default_route)->Name("route/roqutil")->Arg(kFew)->Arg(kMany);
BENCHMARK(default_route_naive)->Name("route/naive")->Arg(kFew)->Arg(kMany);
BENCHMARK(default_route_rtnetlink)->Name("route/rtnetlink")->Arg(kFew)->Arg(kMany);
BENCHMARK(route_table)->Name("route/read_1k")->Arg(kFew)->Arg(kMany);

} // namespace

BENCHMARK_MAIN();
