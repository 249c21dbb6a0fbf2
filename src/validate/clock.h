// Calendar dates and clock times.
#ifndef ROQ_VALIDATE_CLOCK_H
#define ROQ_VALIDATE_CLOCK_H

#include <cstdint>
#include <optional>

namespace roq::validate {

bool is_date(const char* text);              // YYYY-MM-DD
bool is_time_with_seconds(const char* text); // HH:MM:SS and up to four characters behind
bool is_date_time(const char* text);         // date, 'T', time, 'Z' and what follows it
bool is_hour_and_minute(const char* text);   // H:MM or HH:MM

// The minute of the day of hours:minutes.
std::optional<uint16_t> minute_of_day(const char* text);

} // namespace roq::validate

#endif
