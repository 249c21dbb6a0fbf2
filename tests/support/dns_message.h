// DNS messages made by hand, proper ones and bent ones.
#ifndef ROQ_TESTS_SUPPORT_DNS_MESSAGE_H
#define ROQ_TESTS_SUPPORT_DNS_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace roq::tests {

using Bytes = std::vector<uint8_t>;

inline Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

inline Bytes big_endian16(unsigned value) { return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)}; }
inline Bytes big_endian32(uint32_t value) { return big_endian16(value >> 16) + big_endian16(value & 0xFFFF); }
inline Bytes raw(std::string_view text) { return {text.begin(), text.end()}; }

// One label; the length byte is the text's unless told otherwise.
inline Bytes label(std::string_view text) { return Bytes{static_cast<uint8_t>(text.size())} + raw(text); }

// The labels of a dotted name and the end.
inline Bytes wire_name(std::string_view dotted) {
  Bytes wire;
  while (!dotted.empty()) {
    const size_t dot = dotted.find('.');
    wire = wire + label(dotted.substr(0, dot));
    if (dot == std::string_view::npos) break;
    dotted.remove_prefix(dot + 1);
  }
  return wire + Bytes{0};
}

inline Bytes pointer_to(unsigned offset) { return big_endian16(0xC000 | offset); }

inline Bytes header(unsigned id, unsigned flags, unsigned questions, unsigned answers) {
  return big_endian16(id) + big_endian16(flags) + big_endian16(questions) + big_endian16(answers) + Bytes(4, 0);
}

inline Bytes question(const Bytes& name, unsigned type) { return name + big_endian16(type) + big_endian16(1); }

// A record whose RDATA length is told apart from what follows.
inline Bytes record(const Bytes& owner, unsigned type, uint32_t ttl, unsigned rdlength, const Bytes& rdata) {
  return owner + big_endian16(type) + big_endian16(1) + big_endian32(ttl) + big_endian16(rdlength) + rdata;
}

inline Bytes record(const Bytes& owner, unsigned type, uint32_t ttl, const Bytes& rdata) {
  return record(owner, type, ttl, static_cast<unsigned>(rdata.size()), rdata);
}

inline constexpr unsigned kA = 1, kCname = 5, kTxt = 16, kSig = 24, kAaaa = 28, kSrv = 33;
inline constexpr unsigned kReplyFlags = 0x8180;
// Where the question's name stands, for the owner names that point at it.
inline const Bytes kAskedName = pointer_to(12);

inline Bytes a_record(const Bytes& owner, std::initializer_list<uint8_t> address, uint32_t ttl = 300) {
  return record(owner, kA, ttl, Bytes(address));
}

inline Bytes aaaa_record(const Bytes& owner, uint8_t last_byte, uint32_t ttl = 300) {
  Bytes address{0x20, 0x01, 0x0d, 0xb8};
  address.resize(16);
  address[15] = last_byte;
  return record(owner, kAaaa, ttl, address);
}

inline Bytes srv_record(const Bytes& owner, unsigned priority, unsigned weight, unsigned port, const Bytes& target) {
  return record(owner, kSrv, 60, big_endian16(priority) + big_endian16(weight) + big_endian16(port) + target);
}

// A reply to `query` with its id and its question.
inline Bytes reply_to(const Bytes& query, const std::vector<Bytes>& answers, unsigned flags = kReplyFlags) {
  Bytes reply(query.begin(), query.begin() + 2);
  reply =
      reply + big_endian16(flags) + big_endian16(1) + big_endian16(static_cast<unsigned>(answers.size())) + Bytes(4, 0);
  reply.insert(reply.end(), query.begin() + 12, query.end());
  for (const Bytes& answer : answers)
    reply = reply + answer;
  return reply;
}

} // namespace roq::tests

#endif
