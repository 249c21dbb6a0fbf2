#include "bytes.h"

namespace roq::tool {
namespace {

bool continues(std::string_view bytes, size_t index) {
  return index < bytes.size() && (static_cast<unsigned char>(bytes[index]) & 0xC0) == 0x80;
}

// The first character of the bytes that may go to a terminal as it is; 0 when there is none. Control characters
// beyond ASCII begin with C2.
size_t printable_length(std::string_view bytes) {
  auto first = static_cast<unsigned char>(bytes[0]);
  if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
  size_t length = utf8_length(bytes);
  bool is_control = first == 0xC2 && length == 2 && static_cast<unsigned char>(bytes[1]) < 0xA0;
  return is_control ? 0 : length;
}

void append_escaped(Text& out, char byte) {
  if (const char* escape = short_escape(byte))
    out.append(escape);
  else
    out.format("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
}

// Appends the first character, escaped where it cannot be printed or `must_escape` says so. Returns its length.
size_t append_first_character(Text& out, std::string_view bytes, bool must_escape) {
  size_t length = must_escape ? 0 : printable_length(bytes);
  if (length == 0)
    append_escaped(out, bytes[0]);
  else
    out.append(std::string_view(bytes.data(), length));
  return length == 0 ? 1 : length;
}

} // namespace

// The second byte alone tells overlong forms, surrogates and what lies behind U+10FFFF.
size_t utf8_length(std::string_view bytes) {
  auto first = static_cast<unsigned char>(bytes[0]);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4 || !continues(bytes, 1)) return 0;
  if (first < 0xE0) return 2;
  auto second = static_cast<unsigned char>(bytes[1]);
  if (first < 0xF0) {
    bool shortest = first != 0xE0 || second >= 0xA0;
    bool surrogate = first == 0xED && second >= 0xA0;
    return shortest && !surrogate && continues(bytes, 2) ? 3 : 0;
  }
  bool in_range = (first != 0xF0 || second >= 0x90) && (first != 0xF4 || second < 0x90);
  return in_range && continues(bytes, 2) && continues(bytes, 3) ? 4 : 0;
}

bool is_utf8(std::string_view bytes) {
  while (!bytes.empty()) {
    size_t length = utf8_length(bytes);
    if (length == 0) return false;
    bytes.remove_prefix(length);
  }
  return true;
}

std::optional<unsigned> hex_digit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return std::nullopt;
}

void append_hex(Text& out, std::string_view bytes) {
  for (char byte : bytes)
    out.format("%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
}

std::optional<Text> parse_hex(const char* text) {
  Text bytes;
  for (; *text != '\0'; text += 2) {
    std::optional<unsigned> high = hex_digit(text[0]);
    std::optional<unsigned> low = high ? hex_digit(text[1]) : std::nullopt;
    if (!low) return std::nullopt;
    bytes.append(static_cast<char>(*high << 4 | *low));
  }
  return bytes;
}

const char* short_escape(char c) {
  switch (c) {
  case '\\':
    return "\\\\";
  case '\n':
    return "\\n";
  case '\r':
    return "\\r";
  case '\t':
    return "\\t";
  default:
    return nullptr;
  }
}

void append_readable(Text& out, std::string_view bytes, size_t limit) {
  for (size_t shown = 0; !bytes.empty(); ++shown) {
    if (shown == limit) {
      out.append("...");
      return;
    }
    bytes.remove_prefix(append_first_character(out, bytes, bytes[0] == '\\'));
  }
}

Text readable(std::string_view bytes) {
  Text shown;
  append_readable(shown, bytes);
  return shown;
}

Text on_one_line(std::string_view sentence) {
  Text shown;
  while (!sentence.empty())
    sentence.remove_prefix(append_first_character(shown, sentence, false));
  return shown;
}

} // namespace roq::tool
