#include "dns/wire.h"

namespace roq::dns {
namespace {

constexpr bool is_pointer(uint8_t length) { return (length & 0xC0) == 0xC0; }

void skip_name(Reader& in, PointerInQuestion pointer) {
  for (uint8_t length = in.u8(); length != 0; length = in.u8()) {
    if (is_pointer(length) && pointer == PointerInQuestion::ends_the_name) {
      in.skip(1);
      return;
    }
    in.skip(length);
  }
}

} // namespace

std::span<const uint8_t> Reader::bytes(size_t count) {
  if (failed_ || count > remaining()) {
    failed_ = true;
    return {};
  }
  std::span<const uint8_t> taken = message_.subspan(position_, count);
  position_ += count;
  return taken;
}

uint32_t Reader::number(size_t width) {
  uint32_t value = 0;
  for (uint8_t byte : bytes(width))
    value = value << 8 | byte;
  return value;
}

void Writer::bytes(const void* data, size_t count) {
  if (failed_ || count > room_.size() - size_) {
    failed_ = true;
    return;
  }
  if (count != 0) memcpy(&room_[size_], data, count);
  size_ += count;
}

void Writer::u16(uint16_t value) {
  u8(static_cast<uint8_t>(value >> 8));
  u8(static_cast<uint8_t>(value));
}

void Writer::label(const char* text, size_t length) {
  u8(static_cast<uint8_t>(length));
  bytes(text, length);
}

void write_header(Writer& out, const MessageHeader& header) {
  for (uint16_t word : {header.id, header.flags, header.qdcount, header.ancount, header.nscount, header.arcount})
    out.u16(word);
}

MessageHeader read_header(Reader& in) { return {in.u16(), in.u16(), in.u16(), in.u16(), in.u16(), in.u16()}; }

void begin_query(Writer& out, uint16_t id) {
  write_header(out, {.id = id, .flags = kRecursionDesiredFlag, .qdcount = 1});
}

size_t end_query(Writer& out, int32_t type) {
  out.u8(0);
  out.u16(static_cast<uint16_t>(type));
  out.u16(kClassInternet);
  return out.ok() ? out.size() : 0;
}

RecordHeader read_record_header(Reader& in) {
  return {.type = in.u16(), .record_class = in.u16(), .ttl = in.u32(), .rdlength = in.u16()};
}

bool read_name(Reader& in, char (&dotted)[kDottedNameRoom]) {
  Reader at = in;
  size_t used = 0, jumps = 0;
  for (uint8_t length = at.u8(); length != 0; length = at.u8()) {
    if (is_pointer(length)) {
      const size_t target = static_cast<size_t>(length & 0x3F) << 8 | at.u8();
      if (jumps++ == 0) in.seek(at.position());
      // More jumps than there are places to jump from: the pointers form a loop.
      if (jumps > at.size()) return false;
      at.seek(target);
      continue;
    }
    if (used + length + 1 >= kDottedNameRoom) return false;
    for (uint8_t byte : at.bytes(length))
      dotted[used++] = static_cast<char>(byte);
    dotted[used++] = '.';
  }
  if (!at.ok()) return false;
  if (jumps == 0) in.seek(at.position());
  dotted[used == 0 ? 0 : used - 1] = '\0';
  return true;
}

void skip_questions(Reader& in, int32_t count, PointerInQuestion pointer) {
  constexpr size_t type_and_class = 4;
  for (int32_t skipped = 0; skipped < count && in.ok(); ++skipped) {
    skip_name(in, pointer);
    in.skip(type_and_class);
  }
}

} // namespace roq::dns
