#include "validate/clock.h"

#include <roqutil/validate.h>

using namespace roq::validate;

extern "C" uint32_t ROQ_UTIL_ValidateDate(const char* pcText) { return pcText != nullptr && is_date(pcText); }

extern "C" uint32_t ROQ_UTIL_ValidateTime1(const char* pcText) {
  return pcText != nullptr && is_time_with_seconds(pcText);
}

extern "C" uint32_t ROQ_UTIL_ValidateDateTime(const char* pcText) { return pcText != nullptr && is_date_time(pcText); }

extern "C" uint32_t ROQ_UTIL_ValidateTime(const char* pcText) {
  return pcText != nullptr && is_hour_and_minute(pcText);
}

extern "C" uint32_t ROQ_UTIL_TimeToShort(const char* pcText, uint16_t* pusOut) {
  if (pcText == nullptr || pusOut == nullptr) return 0;
  std::optional<uint16_t> minutes = minute_of_day(pcText);
  if (!minutes) return 0;
  *pusOut = *minutes;
  return 1;
}
