#include "dns/srv.h"

#include "dns/wire.h"
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>

namespace roq::dns {
namespace {

struct SrvAnswer {
  bool owner_is_pointer;
  RecordHeader header;
  size_t rdata;
};

// Every owner name is taken for a two-byte pointer. False when the record is cut off.
[[nodiscard]] bool read_answer(Reader& in, SrvAnswer& answer) {
  answer.owner_is_pointer = (in.u16() & 0xC000) == 0xC000;
  answer.header = read_record_header(in);
  answer.rdata = in.position();
  in.bytes(answer.header.rdlength);
  return in.ok();
}

enum class Step { go_on, stop };

// What one walk over the answers has found.
struct Harvest {
  size_t services = 0;
  bool address = false;
};

// Of the addresses only the first of proper length is kept, and only while there is room; the walk ends there anyway.
Step take_address(const SrvAnswer& answer, Reader rdata, Harvest& harvest) {
  const bool has_room = g_resolvenums >= 0 && static_cast<size_t>(g_resolvenums) < kMostAddresses;
  if (has_room) g_ttl[g_resolvenums] = answer.header.ttl;
  if (answer.header.rdlength != sizeof(in_addr)) return Step::go_on;
  if (has_room) {
    char(&text)[20] = g_resolveaddr[g_resolvenums++];
    inet_ntop(AF_INET, rdata.bytes(sizeof(in_addr)).data(), text, sizeof text);
  }
  harvest.address = true;
  return Step::stop;
}

void resolve_target_of(RoqSrvRecord& record, Resolver resolve_target) {
  const hostent* host = resolve_target(record.target, AF_INET, nullptr);
  if (host != nullptr) inet_ntop(AF_INET, host->h_addr_list[0], record.address, sizeof record.address);
}

// The announced RDATA length is not looked at here, only what was received.
Step take_service(Reader rdata, Harvest& harvest, Resolver resolve_target) {
  RoqSrvRecord record{};
  constexpr size_t field = sizeof record.port;
  const std::span<const uint8_t> fields = rdata.bytes(3 * field);
  if (!rdata.ok()) return Step::stop;
  record.valid = 1;
  record.type = static_cast<uint16_t>(kTypeSrv);
  memcpy(&record.priority, &fields[0], field);
  memcpy(&record.weight, &fields[field], field);
  memcpy(&record.port, &fields[2 * field], field);
  write_target_name(rdata.up_to(sizeof record.target - 1), record.target);
  resolve_target_of(record, resolve_target);
  srv_record_table[harvest.services++] = record;
  return harvest.services == kMostSrvRecords ? Step::stop : Step::go_on;
}

Step take_answer(std::span<const uint8_t> reply, const SrvAnswer& answer, Harvest& harvest, Resolver resolve_target) {
  if (!answer.owner_is_pointer) return Step::go_on;
  const Reader rdata(reply, answer.rdata);
  switch (answer.header.type) {
  case kTypeA:
    return take_address(answer, rdata, harvest);
  case kTypeSrv:
    return take_service(rdata, harvest, resolve_target);
  default:
    return Step::go_on;
  }
}

Harvest walk_answers(std::span<const uint8_t> reply, Reader in, int32_t count, Resolver resolve_target) {
  Harvest harvest;
  SrvAnswer answer;
  for (; count > 0 && read_answer(in, answer); --count) {
    if (take_answer(reply, answer, harvest, resolve_target) == Step::stop) break;
  }
  return harvest;
}

int32_t reject(const char* message) {
  fputs(message, stderr);
  return -1;
}

} // namespace

void write_target_name(std::span<const uint8_t> wire, char* out) {
  // The first byte is the length of the first label; the lengths of the others become the dots.
  if (wire.empty() || wire[0] == 0) return;
  for (uint8_t byte : wire.subspan(1)) {
    if (byte == 0) return;
    *out++ = byte < 32 || byte >= 128 ? '.' : static_cast<char>(byte);
  }
}

int32_t analyse_response(const uint8_t* packet, int32_t length, RoqSrvRecord** table, Resolver resolve_target) {
  if (packet == nullptr) return -1;
  if (length < static_cast<int32_t>(kHeaderSize)) return reject("ifdns:invalid feedback.\n");
  const std::span<const uint8_t> reply(packet, static_cast<size_t>(length));
  Reader in(reply);
  const MessageHeader header = read_header(in);
  if (header.id != kSrvQueryId || header.rcode() != 0) return -1;
  skip_questions(in, header.qdcount, PointerInQuestion::counts_as_length);
  if (!in.ok() || in.position() >= in.size()) return reject("ifdns:got bad packet from server.\n");

  memset(srv_record_table, 0, sizeof srv_record_table);
  const Harvest harvest = walk_answers(reply, in, header.ancount, resolve_target);
  if (harvest.services == 0) return harvest.address ? 0 : -1;
  if (table != nullptr) *table = srv_record_table;
  return 0;
}

} // namespace roq::dns

extern "C" void DnsSrvParseQueryName(const uint8_t* wire, char* out) {
  if (wire == nullptr || out == nullptr) return;
  const size_t length = strnlen(reinterpret_cast<const char*>(wire), sizeof(RoqSrvRecord::target) - 1);
  roq::dns::write_target_name({wire, length}, out);
}
