// The pieces that rules are told with.
#ifndef ROQ_TOOL_CHECK_RULES_H
#define ROQ_TOOL_CHECK_RULES_H

#include "buffers.h"
#include <cstdint>
#include <optional>
#include <string_view>

namespace roq::tool::check {

Text say(const char* form, ...) __attribute__((format(printf, 1, 2)));

// The fields between separators, empty ones skipped.
class Fields {
public:
  Fields(std::string_view text, char separator) : rest_(text), separator_(separator) {}
  // The next field, nothing when there is none left.
  std::optional<std::string_view> next();

private:
  std::string_view rest_;
  char separator_;
};

size_t count_of(std::string_view text, char c);
bool is_digit(char c);
bool are_digits(std::string_view text);
// The value of digits, 2147483647 when it is larger.
int32_t value_of(std::string_view digits);
// A decimal number with or without a minus sign that 32 bits hold.
std::optional<int32_t> signed_number(const char* text);
// A decimal number of 32 bits, or -1 for all ones.
std::optional<uint32_t> unsigned_number(const char* text);

} // namespace roq::tool::check

#endif
