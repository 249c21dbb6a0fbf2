// Validators against what a program would use without them: inet_pton and a std::regex for addresses, strptime for
// dates.
//
// Aims, as ratios of times within one run (see ratios.json):
//   Ipv4/ours   at most 0.7 of Ipv4/inet_pton
//   Date/ours   at most 0.4 of Date/strptime
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <ctime>
#include <regex>
#include <roqutil/validate.h>

namespace {

// Each round judges all of a set, so that no single text is learnt by heart.
constexpr const char* kIpv4[] = {"192.168.1.1",   "10.0.0.138", "172.16.254.3",  "8.8.8.8",       "255.255.255.255",
                                 "203.0.113.77",  "0.0.0.0",    "192.168.1",     "192.168.1.256", "10.0.0.x",
                                 "100.64.12.200", "1.2.3.4.5",  "169.254.10.20", "224.0.0.251",   "84.17.5.9"};
constexpr const char* kIpv6[] = {"2001:db8::1",
                                 "fe80::1",
                                 "::1",
                                 "2001:0db8:85a3:0000:0000:8a2e:0370:7334",
                                 "ff02::1",
                                 "::ffff:192.168.1.1",
                                 "fd00:1234:5678::9",
                                 "2001:db8::1::2",
                                 "12345::1",
                                 "fe80::g"};
constexpr const char* kDates[] = {"2024-02-29", "2023-02-29", "1999-12-31", "2023-04-31", "2000-01-01",
                                  "2023-11-05", "2023-13-01", "1970-06-15", "2023-1-011", "2038-01-19"};

template <size_t count, typename Predicate>
void judge_all(benchmark::State& state, const char* const (&texts)[count], Predicate accepts) {
  for (auto _ : state) {
    for (const char* text : texts) {
      benchmark::DoNotOptimize(text);
      benchmark::DoNotOptimize(accepts(text));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

bool accepts_with_inet_pton(int family, const char* text) {
  unsigned char address[16];
  return inet_pton(family, text, address) > 0;
}

void ipv4_ours(benchmark::State& state) { judge_all(state, kIpv4, ROQ_UTIL_ValidateIpAddress); }

void ipv4_host_ours(benchmark::State& state) { judge_all(state, kIpv4, ROQ_UTIL_ValidateHostIpAddress); }

void ipv4_inet_pton(benchmark::State& state) {
  judge_all(state, kIpv4, [](const char* text) { return accepts_with_inet_pton(AF_INET, text); });
}

void ipv4_regex(benchmark::State& state) {
  const std::regex quad("(0*(25[0-5]|2[0-4][0-9]|1?[0-9]?[0-9])\\.){3}0*(25[0-5]|2[0-4][0-9]|1?[0-9]?[0-9])",
                        std::regex::optimize);
  judge_all(state, kIpv4, [&](const char* text) { return std::regex_match(text, quad); });
}

void ipv6_ours(benchmark::State& state) { judge_all(state, kIpv6, ROQ_UTIL_ValidateIpv6Address); }

void ipv6_global_ours(benchmark::State& state) { judge_all(state, kIpv6, ROQ_UTIL_ValidateGlobalIpv6Address); }

void ipv6_inet_pton(benchmark::State& state) {
  judge_all(state, kIpv6, [](const char* text) { return accepts_with_inet_pton(AF_INET6, text); });
}

void ipv6_regex(benchmark::State& state) {
  const std::regex groups("([0-9a-fA-F]{1,4}:){7}[0-9a-fA-F]{1,4}|([0-9a-fA-F]{1,4}(:[0-9a-fA-F]{1,4}){0,6})?::"
                          "(([0-9a-fA-F]{1,4}:){0,5}([0-9a-fA-F]{1,4}|([0-9]{1,3}\\.){3}[0-9]{1,3}))?",
                          std::regex::optimize);
  judge_all(state, kIpv6, [&](const char* text) { return std::regex_match(text, groups); });
}

void date_ours(benchmark::State& state) { judge_all(state, kDates, ROQ_UTIL_ValidateDate); }

void date_strptime(benchmark::State& state) {
  judge_all(state, kDates, [](const char* text) {
    tm date{};
    const char* end = strptime(text, "%Y-%m-%d", &date);
    return end != nullptr && *end == '\0';
  });
}

BENCHMARK(ipv4_ours)->Name("Ipv4/ours");
BENCHMARK(ipv4_host_ours)->Name("Ipv4/ours as a host");
BENCHMARK(ipv4_inet_pton)->Name("Ipv4/inet_pton");
BENCHMARK(ipv4_regex)->Name("Ipv4/std::regex");
BENCHMARK(ipv6_ours)->Name("Ipv6/ours");
BENCHMARK(ipv6_global_ours)->Name("Ipv6/ours as a global address");
BENCHMARK(ipv6_inet_pton)->Name("Ipv6/inet_pton");
BENCHMARK(ipv6_regex)->Name("Ipv6/std::regex");
BENCHMARK(date_ours)->Name("Date/ours");
BENCHMARK(date_strptime)->Name("Date/strptime");

} // namespace

BENCHMARK_MAIN();
