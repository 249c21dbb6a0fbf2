#include "validate/clock.h"

#include "support/text.h"
#include "validate/number.h"

namespace roq::validate {
namespace {

constexpr size_t kLongestHourAndMinute = 5;
constexpr size_t kLongestDateTime = 24;

// Three numbers with a separator at two places and nowhere else.
struct Layout {
  char separator;
  ptrdiff_t places[2];
  ptrdiff_t shortest, longest;
};

constexpr Layout kDate{.separator = '-', .places = {4, 7}, .shortest = 10, .longest = 10};
constexpr Layout kTime{.separator = ':', .places = {2, 5}, .shortest = 8, .longest = 12};

// Steps over what scanf's "%d" takes in front of the digits.
const char* skip_space_and_sign(const char* at, bool& is_negative) {
  while (is_space(*at))
    ++at;
  is_negative = *at == '-';
  return *at == '-' || *at == '+' ? at + 1 : at;
}

// Reads the numbers as scanf's "%d" does, negative ones as unsigned ones that are larger than any limit, and looks at
// length and separators on the way: judging a date then costs little more than reading it. A '-' that is a sign of a
// date makes a number that no rule admits. Fields that are long enough to wrap are refused for their length.
bool read(const char* text, const Layout& layout, uint32_t (&numbers)[3]) {
  const char* at = text;
  for (int i = 0; i < 3; ++i) {
    bool is_negative = false;
    if (digit_at(at) > 9) at = skip_space_and_sign(at, is_negative);
    uint32_t number = digit_at(at);
    if (number > 9) return false;
    for (uint32_t digit; (digit = digit_at(++at)) <= 9;)
      number = number * 10 + digit;
    numbers[i] = is_negative ? 0 - number : number;
    if (i < 2 && (at - text != layout.places[i] || *at++ != layout.separator)) return false;
  }
  while (*at != '\0' && *at != layout.separator)
    ++at;
  return *at == '\0' && at - text >= layout.shortest && at - text <= layout.longest;
}

bool is_leap_year(uint32_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

uint32_t days_in_month(uint32_t year, uint32_t month) {
  if (month == 2) return is_leap_year(year) ? 29 : 28;
  bool is_long = month < 8 ? month % 2 == 1 : month % 2 == 0;
  return is_long ? 31 : 30;
}

// Hours and minutes as texts, cut apart at the first ':'.
struct HourAndMinute {
  char copy[kLongestHourAndMinute + 1];
  const char *hour = nullptr, *minute = nullptr;

  // False when the text is empty, too long or has no ':'.
  bool cut(const char* text) {
    if (*text == '\0' || is_longer_than(text, kLongestHourAndMinute)) return false;
    copy_cut(copy, sizeof copy, text);
    char* colon = strchr(copy, ':');
    if (colon == nullptr) return false;
    *colon = '\0';
    hour = copy;
    minute = colon + 1;
    return true;
  }
};

// Up to three digits with a value below the limit.
bool is_number_below(const char* text, int32_t limit) {
  return is_three_digit_number(text, LeadingZeros::allowed) && value_of(text) < limit;
}

} // namespace

bool is_date(const char* text) {
  uint32_t numbers[3];
  if (!read(text, kDate, numbers)) return false;
  const auto& [year, month, day] = numbers;
  return year - 1 < 9999 && month - 1 < 12 && day - 1 < days_in_month(year, month);
}

bool is_time_with_seconds(const char* text) {
  uint32_t numbers[3];
  if (!read(text, kTime, numbers)) return false;
  const auto& [hour, minute, second] = numbers;
  return hour < 24 && minute < 60 && second < 60;
}

bool is_date_time(const char* text) {
  size_t length = strlen(text);
  if (length < 19 || length > kLongestDateTime) return false;
  char copy[kLongestDateTime + 1];
  copy_cut(copy, sizeof copy, text);
  char* separator = strchr(copy, 'T');
  char* zone = strchr(copy, 'Z');
  if (separator == nullptr) return false;

  // The date is judged before the cut at 'Z', which therefore changes nothing in it.
  *separator = '\0';
  if (!is_date(copy)) return false;
  if (zone != nullptr) *zone = '\0';
  return is_time_with_seconds(separator + 1);
}

bool is_hour_and_minute(const char* text) {
  HourAndMinute time;
  if (!time.cut(text)) return false;
  if (is_longer_than(time.hour, 2) || !is_number_below(time.hour, 24)) return false;
  return strlen(time.minute) == 2 && is_number_below(time.minute, 60);
}

std::optional<uint16_t> minute_of_day(const char* text) {
  HourAndMinute time;
  if (!time.cut(text)) return {};
  if (!is_number_below(time.hour, 24)) return {};
  if (!is_number_below(time.minute, 60)) return {};
  return static_cast<uint16_t>(value_of(time.hour) * 60 + value_of(time.minute));
}

} // namespace roq::validate
