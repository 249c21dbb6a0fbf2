#include "check/rules.h"

#include "cli.h"
#include <algorithm>
#include <cstring>
#include <limits>

namespace roq::tool::check {

Text say(const char* form, ...) {
  Text text;
  va_list values;
  va_start(values, form);
  text.format_list(form, values);
  va_end(values);
  return text;
}

std::optional<std::string_view> Fields::next() {
  while (!rest_.empty() && rest_.front() == separator_)
    rest_.remove_prefix(1);
  if (rest_.empty()) return std::nullopt;
  std::string_view field = first(rest_, rest_.find(separator_));
  rest_.remove_prefix(field.size());
  return field;
}

size_t count_of(std::string_view text, char c) { return static_cast<size_t>(std::count(text.begin(), text.end(), c)); }

bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool are_digits(std::string_view text) { return !text.empty() && std::all_of(text.begin(), text.end(), is_digit); }

int32_t value_of(std::string_view digits) {
  int64_t value = 0;
  for (char digit : digits)
    value = std::min<int64_t>(value * 10 + (digit - '0'), std::numeric_limits<int32_t>::max());
  return static_cast<int32_t>(value);
}

std::optional<int32_t> signed_number(const char* text) {
  bool is_negative = *text == '-';
  std::optional<uint32_t> magnitude = parse_number(text + (is_negative ? 1 : 0));
  if (!magnitude || *magnitude > (is_negative ? 0x80000000U : 0x7FFFFFFFU)) return std::nullopt;
  return static_cast<int32_t>(is_negative ? 0 - *magnitude : *magnitude);
}

std::optional<uint32_t> unsigned_number(const char* text) {
  if (strcmp(text, "-1") == 0) return std::numeric_limits<uint32_t>::max();
  return parse_number(text);
}

} // namespace roq::tool::check
