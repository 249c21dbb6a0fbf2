// The kinds of dates, times and numbers.
#include "check/kinds.h"
#include "check/rules.h"
#include <cctype>
#include <cstring>
#include <roqutil/validate.h>

namespace roq::tool::check {
namespace {

template <uint32_t (*function)(const char*)> bool accepts_text(const Value& value) {
  return function(value.text()) == 1;
}

// How a date or time is put together.
struct Layout {
  size_t shortest, longest;
  char separator;
  size_t places[2];
  const char* names[3];
};

constexpr Layout kDate{10, 10, '-', {4, 7}, {"year", "month", "day"}};
constexpr Layout kTime{8, 12, ':', {2, 5}, {"hour", "minute", "second"}};

Text layout_rule(std::string_view text, const Layout& layout, int32_t (&numbers)[3]) {
  if (text.size() < layout.shortest || text.size() > layout.longest) {
    if (layout.shortest == layout.longest) return say("it has %zu characters, not %zu", text.size(), layout.shortest);
    return say("it has %zu characters, not %zu to %zu", text.size(), layout.shortest, layout.longest);
  }
  for (size_t i = 0; i < text.size(); ++i) {
    bool belongs_here = i == layout.places[0] || i == layout.places[1];
    if (belongs_here && text[i] != layout.separator) return say("character %zu is no '%c'", i + 1, layout.separator);
    if (!belongs_here && text[i] == layout.separator) return say("character %zu is a '%c'", i + 1, layout.separator);
  }
  const size_t starts[] = {0, layout.places[0] + 1, layout.places[1] + 1};
  for (size_t i = 0; i < 3; ++i) {
    std::string_view field = text;
    field.remove_prefix(starts[i]);
    if (i < 2) field = first(field, layout.places[i] - starts[i]);
    while (!field.empty() && isspace(static_cast<unsigned char>(field.front())) != 0)
      field.remove_prefix(1);
    bool is_negative = !field.empty() && field.front() == '-';
    if (is_negative || (!field.empty() && field.front() == '+')) field.remove_prefix(1);
    size_t digits = 0;
    while (digits < field.size() && is_digit(field[digits]))
      ++digits;
    if (digits == 0 || (i < 2 && digits != field.size())) return say("the %s is no number", layout.names[i]);
    numbers[i] = value_of(first(field, digits)) * (is_negative ? -1 : 1);
  }
  return {};
}

Text date_text_rule(std::string_view text) {
  int32_t numbers[3];
  if (Text why = layout_rule(text, kDate, numbers); !why.empty()) return why;
  auto [year, month, day] = numbers;
  if (year < 1) return say("the year is not 1 to 9999");
  if (month < 1 || month > 12) return say("the month is not 1 to 12");
  if (day < 1 || day > 31) return say("the day is not 1 to 31");
  return say("month %d of %d has no day %d", month, year, day);
}

Text time_text_rule(std::string_view text) {
  int32_t numbers[3];
  if (Text why = layout_rule(text, kTime, numbers); !why.empty()) return why;
  if (numbers[0] < 0 || numbers[0] > 23) return say("the hour is not 0 to 23");
  if (numbers[1] < 0 || numbers[1] > 59) return say("the minute is not 0 to 59");
  if (numbers[2] < 0 || numbers[2] > 59) return say("the second is not 0 to 59");
  return {};
}

Text date_rule(const Value& value) { return date_text_rule(value.text()); }
Text time_rule(const Value& value) { return time_text_rule(value.text()); }

bool is_date(std::string_view text) {
  Text copy;
  copy.append(text);
  return ROQ_UTIL_ValidateDate(copy.c_str()) == 1;
}

Text date_time_rule(const Value& value) {
  std::string_view text = value.text();
  if (text.size() < 19 || text.size() > 24) return say("it has %zu characters, not 19 to 24", text.size());
  size_t separator = text.find('T'), zone = text.find('Z');
  if (separator == text.npos) return say("it has no T");
  std::string_view date_part = first(text, separator), time_part = text;
  time_part.remove_prefix(separator + 1);
  if (zone != text.npos && zone > separator) time_part = first(time_part, zone - separator - 1);
  if (!is_date(date_part)) return say("date: %s", date_text_rule(date_part).c_str());
  Text why = time_text_rule(time_part);
  return why.empty() ? std::move(why) : say("time: %s", why.c_str());
}

Text hour_and_minute_rule(const Value& value) {
  std::string_view text = value.text();
  if (text.empty()) return say("it is empty");
  if (text.size() > 5) return say("it is longer than 5 characters");
  size_t colon = text.find(':');
  if (colon == text.npos) return say("it has no ':'");
  std::string_view hour = first(text, colon), minute = text;
  minute.remove_prefix(colon + 1);
  if (hour.empty() || hour.size() > 2) return say("the hour has %zu characters, not 1 or 2", hour.size());
  if (!are_digits(hour)) return say("the hour is no number");
  if (value_of(hour) > 23) return say("the hour is above 23");
  if (minute.size() != 2) return say("the minute has %zu characters, not 2", minute.size());
  if (!are_digits(minute)) return say("the minute is no number");
  return value_of(minute) > 59 ? say("the minute is above 59") : Text{};
}

Text number_rule(const Value& value) {
  const char* text = value.text();
  if (*text == '\0') return say("it is empty");
  size_t at = strspn(text, "0123456789");
  return text[at] == '\0' ? Text{} : say("character %zu is no digit", at + 1);
}

Text three_number_rule(const Value& value) {
  if (Text why = number_rule(value); !why.empty()) return why;
  return say("it has more than 3 digits");
}

bool accepts_range(const Value& value) {
  return ROQ_UTIL_ValidateRange(value.text(), value.minimum, value.maximum) == 1;
}

Text range_rule(const Value& value) {
  if (Text why = number_rule(value); !why.empty()) return why;
  if (value_of(value.text()) < value.minimum) return say("it is below %d", value.minimum);
  return say("it is above %d", value.maximum);
}

bool accepts_length(const Value& value) { return ROQ_UTIL_ValidateLength(value.text(), value.longest) == 1; }

Text length_rule(const Value& value) {
  size_t length = strlen(value.text());
  if (length > value.longest) return say("it has %zu bytes, more than %u", length, value.longest);
  return say("it is empty");
}

template <uint32_t (*function)(uint32_t)> bool accepts_value(const Value& value) {
  auto parsed = unsigned_number(value.text());
  return parsed && function(*parsed) == 1;
}

Text value_rule(const Value& value, const char* range) {
  return unsigned_number(value.text()) ? say("it is not %s", range) : say("it is no number of 32 bits");
}

Text boolean_rule(const Value& value) { return value_rule(value, "0 or 1"); }
Text port_rule(const Value& value) { return value_rule(value, "1 to 65535"); }
Text vlan_rule(const Value& value) { return value_rule(value, "0 to 4094 or -1"); }
Text vlan_other_than_0_rule(const Value& value) { return value_rule(value, "1 to 4094 or -1"); }
Text priority_rule(const Value& value) { return value_rule(value, "0 to 7 or -1"); }

} // namespace

constinit const Kind date{1, accepts_text<ROQ_UTIL_ValidateDate>, date_rule};
constinit const Kind time_with_seconds{1, accepts_text<ROQ_UTIL_ValidateTime1>, time_rule};
constinit const Kind date_time{1, accepts_text<ROQ_UTIL_ValidateDateTime>, date_time_rule};
constinit const Kind hour_and_minute{1, accepts_text<ROQ_UTIL_ValidateTime>, hour_and_minute_rule};
constinit const Kind number{1, accepts_text<ROQ_UTIL_ValidateNumber>, number_rule};
constinit const Kind three_number{1, accepts_text<ROQ_UTIL_ValidateThreeNumber>, three_number_rule};
constinit const Kind range{1, accepts_range, range_rule};
constinit const Kind length{1, accepts_length, length_rule};
constinit const Kind boolean{1, accepts_value<ROQ_UTIL_ValidateBool>, boolean_rule};
constinit const Kind port{1, accepts_value<ROQ_UTIL_ValidatePort>, port_rule};
constinit const Kind vlan{1, accepts_value<ROQ_UTIL_ValidateVlanId>, vlan_rule};
constinit const Kind vlan_other_than_0{1, accepts_value<ROQ_UTIL_ValidateVlanIdX>, vlan_other_than_0_rule};
constinit const Kind priority{1, accepts_value<ROQ_UTIL_ValidatePriority>, priority_rule};

} // namespace roq::tool::check
