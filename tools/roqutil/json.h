// Writes JSON, on one line.
//
// Texts are UTF-8; every byte that is not part of a well-formed UTF-8 sequence becomes U+FFFD. Where the exact bytes
// matter they are written as an object {"text": ..., "hex": ...}: the bytes as lower-case hex digits, and as a text
// when they are well-formed UTF-8 without a zero byte, else null.
#ifndef ROQ_TOOL_JSON_H
#define ROQ_TOOL_JSON_H

#include "buffers.h"
#include <concepts>
#include <cstdint>
#include <cstdio>

namespace roq::tool {

class Json {
public:
  void begin_object() { open('{'); }
  void end_object() { close('}'); }
  void begin_array() { open('['); }
  void end_array() { close(']'); }

  void key(const char* name);
  void text(std::string_view value);
  void bytes(std::string_view value);
  void number(int64_t value);
  void real(double value); // with six digits behind the point at most
  void boolean(bool value);
  void null();
  void hex_number(uint32_t value); // a text such as "0x00020001"

  // A key with its value; a null text is the value null.
  void member(const char* name, const char* value);
  void member_null(const char* name) { key(name), null(); }
  void member(const char* name, std::string_view value) { key(name), text(value); }
  void member(const char* name, bool value) { key(name), boolean(value); }
  void member(const char* name, std::integral auto value) { key(name), number(static_cast<int64_t>(value)); }
  void member_hex(const char* name, uint32_t value) { key(name), hex_number(value); }

  std::string_view view() const { return out_.view(); }
  // Writes what was collected as one line and begins anew.
  void print(FILE* stream = stdout);

private:
  void separate();
  void open(char bracket);
  void close(char bracket);
  void quote(std::string_view value);

  Text out_;
  bool needs_comma_ = false;
};

// Prints one object; `add_members` writes what is in it.
template <typename AddMembers> void print_object(AddMembers add_members) {
  Json json;
  json.begin_object();
  add_members(json);
  json.end_object();
  json.print();
}

} // namespace roq::tool

#endif
