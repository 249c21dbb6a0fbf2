#include "validate/number.h"

#include "support/text.h"

namespace roq::validate {

bool is_number(const char* text) {
  if (*text == '\0') return false;
  while (is_digit(*text))
    ++text;
  return *text == '\0';
}

bool is_three_digit_number(const char* text, LeadingZeros leading_zeros) {
  if (is_longer_than(text, 3)) return false;
  if (!is_number(text)) return false;
  if (leading_zeros == LeadingZeros::allowed) return true;
  return text[0] != '0' || text[1] == '\0';
}

bool is_number_within(const char* text, int32_t minimum, int32_t maximum) {
  return is_number(text) && is_within(value_of(text), minimum, maximum);
}

bool has_length_up_to(const char* text, uint32_t maximum) {
  size_t length = strlen(text);
  return length <= maximum && length > 0;
}

} // namespace roq::validate
