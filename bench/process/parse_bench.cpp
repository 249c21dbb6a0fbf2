// Taking a command line of 60 characters with one redirection apart and releasing it.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <roqutil/process.h>
#include <wordexp.h>

#if BENCH_HAVE_GLIB
#include <glib.h>
#endif

namespace {

constexpr char kLine[] = "iptables -t filter -L 'FORWARD' -v --line-num > /var/iptable";
static_assert(sizeof kLine - 1 == 60);
// The same without what the peers refuse: they know no redirections.
constexpr char kPlainLine[] = "iptables -t filter -L 'FORWARD' -v --line-num '>' /v/iptable";
static_assert(sizeof kPlainLine - 1 == 60);

void parse_with_roqutil(benchmark::State& state) {
  for (auto _ : state) {
    char** vector;
    RedirectPlan plan;
    if (ROQ_UTIL_ParseArgs(kLine, &vector, nullptr, &plan) != 0) state.SkipWithError("not parsed");
    benchmark::DoNotOptimize(vector);
    ROQ_UTIL_FreeArgs(vector);
    free(plan.pcStdoutFile);
    free(plan.pcStderrFile);
  }
}
BENCHMARK(parse_with_roqutil);

void parse_with_wordexp(benchmark::State& state) {
  for (auto _ : state) {
    wordexp_t words;
    if (wordexp(kPlainLine, &words, WRDE_NOCMD) != 0) state.SkipWithError("not parsed");
    benchmark::DoNotOptimize(words.we_wordv);
    wordfree(&words);
  }
}
BENCHMARK(parse_with_wordexp);

#if BENCH_HAVE_GLIB
void parse_with_glib(benchmark::State& state) {
  for (auto _ : state) {
    gchar** vector = nullptr;
    if (g_shell_parse_argv(kPlainLine, nullptr, &vector, nullptr) == FALSE) state.SkipWithError("not parsed");
    benchmark::DoNotOptimize(vector);
    g_strfreev(vector);
  }
}
BENCHMARK(parse_with_glib);
#endif

} // namespace

BENCHMARK_MAIN();
