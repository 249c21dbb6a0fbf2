// Base64 both ways against OpenSSL's block functions and GLib's.
//
// Aims, as ratios of rates within one run: encoding at least 0.9 of OpenSSL's and 1.2 of GLib's, decoding at least 1.2
// of OpenSSL's and 2 of GLib's. Ours and GLib's allocate their result, OpenSSL's writes into a buffer that is there.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <roqutil/strutil.h>
#include <string>
#include <vector>
#if ROQ_HAS_OPENSSL
#include <openssl/evp.h>
#endif
#if ROQ_HAS_GLIB
#include <glib.h>
#endif

namespace {

std::vector<uint8_t> some_bytes(int64_t size) {
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  uint32_t state = 2463534242;
  for (uint8_t& byte : bytes) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    byte = static_cast<uint8_t>(state);
  }
  return bytes;
}

std::string some_text(int64_t size) {
  std::vector<uint8_t> bytes = some_bytes(size);
  char* text = nullptr;
  uint32_t length = ROQ_UTIL_Base64Encode(bytes.data(), static_cast<int32_t>(bytes.size()), &text);
  std::string copy(text, length);
  free(text);
  return copy;
}

// Bytes that are not encoded, in both directions.
void count_bytes(benchmark::State& state) { state.SetBytesProcessed(state.iterations() * state.range(0)); }

void encode_ours(benchmark::State& state) {
  std::vector<uint8_t> bytes = some_bytes(state.range(0));
  for (auto _ : state) {
    char* text = nullptr;
    ROQ_UTIL_Base64Encode(bytes.data(), static_cast<int32_t>(bytes.size()), &text);
    benchmark::DoNotOptimize(text);
    free(text);
  }
  count_bytes(state);
}

void decode_ours(benchmark::State& state) {
  std::string text = some_text(state.range(0));
  for (auto _ : state) {
    uint8_t* bytes = nullptr;
    ROQ_UTIL_Base64Decode(text.data(), static_cast<uint32_t>(text.size()), &bytes);
    benchmark::DoNotOptimize(bytes);
    free(bytes);
  }
  count_bytes(state);
}

void sizes(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(1 << 10)->Arg(1 << 20); }

BENCHMARK(encode_ours)->Name("Encode/ours")->Apply(sizes);
BENCHMARK(decode_ours)->Name("Decode/ours")->Apply(sizes);

#if ROQ_HAS_OPENSSL
void encode_openssl(benchmark::State& state) {
  std::vector<uint8_t> bytes = some_bytes(state.range(0));
  std::vector<unsigned char> text(bytes.size() * 4 / 3 + 5);
  for (auto _ : state) {
    benchmark::DoNotOptimize(EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size())));
    benchmark::ClobberMemory();
  }
  count_bytes(state);
}

void decode_openssl(benchmark::State& state) {
  std::string text = some_text(state.range(0));
  std::vector<unsigned char> bytes(text.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                             static_cast<int>(text.size())));
    benchmark::ClobberMemory();
  }
  count_bytes(state);
}

BENCHMARK(encode_openssl)->Name("Encode/OpenSSL")->Apply(sizes);
BENCHMARK(decode_openssl)->Name("Decode/OpenSSL")->Apply(sizes);
#endif

#if ROQ_HAS_GLIB
void encode_glib(benchmark::State& state) {
  std::vector<uint8_t> bytes = some_bytes(state.range(0));
  for (auto _ : state) {
    gchar* text = g_base64_encode(bytes.data(), bytes.size());
    benchmark::DoNotOptimize(text);
    g_free(text);
  }
  count_bytes(state);
}

void decode_glib(benchmark::State& state) {
  std::string text = some_text(state.range(0));
  for (auto _ : state) {
    gsize length = 0;
    guchar* bytes = g_base64_decode(text.c_str(), &length);
    benchmark::DoNotOptimize(bytes);
    g_free(bytes);
  }
  count_bytes(state);
}

BENCHMARK(encode_glib)->Name("Encode/GLib")->Apply(sizes);
BENCHMARK(decode_glib)->Name("Decode/GLib")->Apply(sizes);
#endif

} // namespace

BENCHMARK_MAIN();
