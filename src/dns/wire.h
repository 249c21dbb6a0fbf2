// The wire format of DNS messages: a cursor that reads only what was received, a bounded writer, and the pieces that
// every message is made of.
#ifndef ROQ_DNS_WIRE_H
#define ROQ_DNS_WIRE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace roq::dns {

inline constexpr int32_t kTypeA = 1;
inline constexpr int32_t kTypeSig = 24;
inline constexpr int32_t kTypeAaaa = 28;
inline constexpr int32_t kTypeSrv = 33;
inline constexpr uint16_t kClassInternet = 1;
inline constexpr uint16_t kServerPort = 53;
inline constexpr size_t kHeaderSize = 12;

// Reads a message. The position may be moved anywhere, also behind the end; the first read there fails, yields zeros,
// and so does every read after it.
class Reader {
public:
  constexpr explicit Reader(std::span<const uint8_t> message, size_t position = 0)
      : message_(message), position_(position) {}

  bool ok() const { return !failed_; }
  size_t size() const { return message_.size(); }
  size_t position() const { return position_; }
  void seek(size_t position) { position_ = position; }
  void skip(size_t count) { position_ += count; }

  std::span<const uint8_t> bytes(size_t count);
  // What is left of the message, at most `count` bytes of it.
  std::span<const uint8_t> up_to(size_t count) { return bytes(std::min(count, remaining())); }

  uint8_t u8() { return static_cast<uint8_t>(number(1)); }
  uint16_t u16() { return static_cast<uint16_t>(number(2)); }
  uint32_t u32() { return number(4); }

private:
  size_t remaining() const { return position_ < message_.size() ? message_.size() - position_ : 0; }

  uint32_t number(size_t width);

  std::span<const uint8_t> message_;
  size_t position_;
  bool failed_ = false;
};

// Writes a message into bounded room. What does not fit is not written, and nothing is written after it.
class Writer {
public:
  constexpr explicit Writer(std::span<uint8_t> room) : room_(room) {}

  bool ok() const { return !failed_; }
  size_t size() const { return size_; }

  void bytes(const void* data, size_t count);
  void u8(uint8_t value) { bytes(&value, 1); }
  void u16(uint16_t value);
  // The length takes one byte whatever it is; nothing holds callers to the 63 bytes of a proper label.
  void label(const char* text, size_t length);

private:
  std::span<uint8_t> room_;
  size_t size_ = 0;
  bool failed_ = false;
};

inline constexpr uint16_t kReplyFlag = 0x8000;
inline constexpr uint16_t kRecursionDesiredFlag = 0x0100;

struct MessageHeader {
  uint16_t id = 0, flags = 0;
  uint16_t qdcount = 0, ancount = 0, nscount = 0, arcount = 0;

  bool is_reply() const { return (flags & kReplyFlag) != 0; }
  int rcode() const { return flags & 0xF; }
};

void write_header(Writer& out, const MessageHeader& header);
MessageHeader read_header(Reader& in);

// A query with one question: what stands in front of the question's name, and what stands behind its last label. The
// latter returns the query's length, 0 when it does not fit.
void begin_query(Writer& out, uint16_t id);
[[nodiscard]] size_t end_query(Writer& out, int32_t type);

// What stands between the owner name and the RDATA of a record.
struct RecordHeader {
  uint16_t type, record_class;
  uint32_t ttl;
  uint16_t rdlength;
};

RecordHeader read_record_header(Reader& in);

// Dotted form of an owner name and its terminator.
inline constexpr size_t kDottedNameRoom = 256;

// Decodes the name at the cursor and leaves the cursor behind it. False when it leads outside the message, has no end,
// or is too long for the room.
[[nodiscard]] bool read_name(Reader& in, char (&dotted)[kDottedNameRoom]);

enum class PointerInQuestion { ends_the_name, counts_as_length };

void skip_questions(Reader& in, int32_t count, PointerInQuestion pointer);

} // namespace roq::dns

#endif
