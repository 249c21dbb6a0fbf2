// The analysis of replies to an SRV query; the received bytes lie flush against an inaccessible page. The first byte
// tells how many addresses earlier replies have stored.
#include "dns/srv.h"
#include "support/guarded_bytes.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using namespace roq::dns;

constexpr size_t kReceiveRoom = 1024;

void require(bool holds) {
  if (!holds) abort();
}

hostent* resolve_nearly_everything(const char* name, int32_t, const char*) {
  static char address[4] = {10, 0, 0, 1};
  static char* addresses[] = {address, nullptr};
  static hostent host{};
  host.h_addr_list = addresses;
  return name[0] == 'x' ? nullptr : &host;
}

template <size_t size> void require_terminated(const char (&text)[size]) { require(strnlen(text, size) < size); }

void check_state(int32_t stored_before) {
  require(g_resolvenums == stored_before || g_resolvenums == stored_before + 1);
  require(g_resolvenums <= static_cast<int32_t>(kMostAddresses));
  for (const auto& address : g_resolveaddr)
    require_terminated(address);
  for (const RoqSrvRecord& record : srv_record_table) {
    require_terminated(record.target);
    require_terminated(record.address);
    require(record.valid == (record.type == 33 ? 1U : 0U));
  }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The analyser's messages would fill the log; the fuzzer's own stream stays as it is.
  stderr = fopen("/dev/null", "w");
  return stderr != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static roq::tests::GuardedRoom guarded(kReceiveRoom);
  if (size < 1) return 0;
  const std::span<uint8_t> reply = guarded.hold({data + 1, std::min(size - 1, kReceiveRoom)});
  g_resolvenums = data[0] % (static_cast<int32_t>(kMostAddresses) + 1);
  const int32_t stored_before = g_resolvenums;
  memset(srv_record_table, 0, sizeof srv_record_table);

  RoqSrvRecord* table = nullptr;
  const int32_t result =
      analyse_response(reply.data(), static_cast<int32_t>(reply.size()), &table, resolve_nearly_everything);
  check_state(stored_before);
  require(table == nullptr || (table == srv_record_table && result == 0 && table[0].valid == 1));
  require(result == 0 || table == nullptr);
  return 0;
}
