#include "json.h"

#include "bytes.h"
#include <cinttypes>
#include <cmath>

namespace roq::tool {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

void append_ascii(Text& out, char c) {
  if (c == '"')
    out.append("\\\"");
  else if (const char* escape = short_escape(c))
    out.append(escape);
  else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
    out.format("\\u%04x", static_cast<unsigned>(c));
  else
    out.append(c);
}

} // namespace

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

void Json::member(const char* name, const char* value) {
  key(name);
  if (value == nullptr)
    null();
  else
    text(value);
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
