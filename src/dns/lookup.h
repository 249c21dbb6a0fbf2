// One question to the gateway's DNS relay on the loopback, and the decoding of its reply.
#ifndef ROQ_DNS_LOOKUP_H
#define ROQ_DNS_LOOKUP_H

#include "dns/wire.h"
#include <cstdint>
#include <span>

extern "C" {

// The first answer of a reply. The caller presets `buf`, `buflen` and `add_count` (0).
struct dns_answer {
  char* dotted; // owner name, on the heap; null when no record of the asked type came
  int32_t atype, aclass, ttl, rdlength;
  uint8_t* rdata; // inside the reply
  int32_t rdoffset;
  uint8_t* buf; // RDATA of further answers of the asked type go here, end to end
  uint32_t buflen;
  uint32_t add_count; // how many did; with a `buf` too small for all, how many there would be
};

// Returns the length of the reply or -1. On success the 512-byte packet goes to `outpacket`, which may be null.
int32_t dns_lookup(const char* name, int32_t type, uint8_t** outpacket, struct dns_answer* answer, const char* source);
}

namespace roq::dns {

inline constexpr size_t kPacketSize = 512;

// What `count` further addresses take in a 32-bit caller's buffer: each itself and a place in the address list.
inline uint64_t room_for(const dns_answer& answer, uint32_t count) {
  return uint64_t{static_cast<uint32_t>(answer.rdlength) + 4} * count;
}

int32_t lookup(const char* name, int32_t type, uint8_t** outpacket, dns_answer* answer, const char* source);

// Writes the query and returns its length; 0 when the name does not fit.
[[nodiscard]] size_t write_query(std::span<uint8_t, kPacketSize> packet, uint16_t id, const char* name, int32_t type);

// Takes the answer out of a reply; false when the reply is not acceptable, and then nothing but bytes in the answer's
// `buf` has changed.
[[nodiscard]] bool read_reply(std::span<uint8_t> reply, uint16_t id, int32_t type, dns_answer& answer);

} // namespace roq::dns

#endif
