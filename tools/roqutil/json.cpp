#include "json.h"

#include <cinttypes>
#include <cmath>

namespace roq::tool {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool continues(std::string_view bytes, size_t index) {
  return index < bytes.size() && (static_cast<unsigned char>(bytes[index]) & 0xC0) == 0x80;
}

void append_ascii(Text& out, char c) {
  switch (c) {
  case '"':
    out.append("\\\"");
    return;
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
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
      out.format("\\u%04x", static_cast<unsigned>(c));
    else
      out.append(c);
  }
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

void append_hex(Text& out, std::string_view bytes) {
  for (char byte : bytes)
    out.format("%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
}

void Json::separate() {
  if (needs_comma_) out_.append(',');
  needs_comma_ = true;
}

void Json::open(char bracket) {
  separate();
  out_.append(bracket);
  needs_comma_ = false;
}

void Json::close(char bracket) {
  out_.append(bracket);
  needs_comma_ = true;
}

void Json::quote(std::string_view value) {
  out_.append('"');
  while (!value.empty()) {
    size_t length = utf8_length(value);
    if (length == 0)
      out_.append(kReplacement);
    else if (length == 1)
      append_ascii(out_, value[0]);
    else
      out_.append(std::string_view(value.data(), length));
    value.remove_prefix(length == 0 ? 1 : length);
  }
  out_.append('"');
}

void Json::key(const char* name) {
  separate();
  quote(name);
  out_.append(':');
  needs_comma_ = false;
}

void Json::text(std::string_view value) {
  separate();
  quote(value);
}

void Json::bytes(std::string_view value) {
  begin_object();
  key("text");
  if (is_utf8(value) && value.find('\0') == value.npos)
    text(value);
  else
    null();
  Text hex;
  append_hex(hex, value);
  member("hex", hex.view());
  end_object();
}

void Json::number(int64_t value) {
  separate();
  out_.format("%" PRId64, value);
}

void Json::real(double value) {
  if (!std::isfinite(value)) return null();
  separate();
  out_.format("%.6f", value);
}

void Json::boolean(bool value) {
  separate();
  out_.append(value ? "true" : "false");
}

void Json::null() {
  separate();
  out_.append("null");
}

void Json::hex_number(uint32_t value) {
  separate();
  out_.format("\"0x%08x\"", value);
}

void Json::print(FILE* stream) {
  fwrite(out_.c_str(), 1, out_.size(), stream);
  fputc('\n', stream);
  out_.clear();
  needs_comma_ = false;
}

} // namespace roq::tool
