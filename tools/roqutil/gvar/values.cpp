#include "gvar/values.h"

#include "gvar/layout.h"
#include "json.h"
#include <cstring>

namespace roq::tool::gvar {
namespace {

// The first character of the bytes that may go to a terminal as it is; 0 when there is none. Control characters
// beyond ASCII begin with C2.
size_t printable_length(std::string_view bytes) {
  auto first = static_cast<unsigned char>(bytes[0]);
  if (first < 0x80) return first >= 0x20 && first != 0x7F && first != '\\' ? 1 : 0;
  size_t length = utf8_length(bytes);
  bool is_control = first == 0xC2 && length == 2 && static_cast<unsigned char>(bytes[1]) < 0xA0;
  return is_control ? 0 : length;
}

void append_escaped(Text& out, char byte) {
  switch (byte) {
  case '\\':
    out.append("\\\\");
    return;
  case '\n':
    out.append("\\n");
    return;
  case '\r':
    out.append("\\r");
    return;
  case '\t':
    out.append("\\t");
    return;
  default:
    out.format("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
  }
}

} // namespace

std::optional<uint32_t> parse_id(const char* text) {
  const char* colon = strchr(text, ':');
  if (colon == nullptr) {
    std::optional<uint32_t> id = parse_number(text);
    return id && *id >> 16 < kModules ? id : std::nullopt;
  }
  Text module_text;
  module_text.append({text, static_cast<size_t>(colon - text)});
  std::optional<uint32_t> module = parse_number(module_text.c_str());
  std::optional<uint32_t> number = parse_number(colon + 1);
  if (!module || !number || *module >= kModules || *number > 0xFFFF) return std::nullopt;
  return *module << 16 | *number;
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

void append_readable(Text& out, std::string_view bytes, size_t limit) {
  for (size_t shown = 0; !bytes.empty(); ++shown) {
    if (shown == limit) {
      out.append("...");
      return;
    }
    size_t length = printable_length(bytes);
    if (length == 0)
      append_escaped(out, bytes[0]);
    else
      out.append(std::string_view(bytes.data(), length));
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
}

} // namespace roq::tool::gvar
