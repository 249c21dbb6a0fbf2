#include "validate/number.h"

#include <roqutil/validate.h>

using namespace roq::validate;

extern "C" uint32_t ROQ_UTIL_ValidateNumber(const char* pcText) { return pcText != nullptr && is_number(pcText); }

extern "C" uint32_t ROQ_UTIL_ValidateThreeNumberEx(const char* pcText, uint32_t ulLeadingZero) {
  if (pcText == nullptr) return 0;
  return is_three_digit_number(pcText, ulLeadingZero != 0 ? LeadingZeros::allowed : LeadingZeros::refused);
}

extern "C" uint32_t ROQ_UTIL_ValidateThreeNumber(const char* pcText) {
  return pcText != nullptr && is_three_digit_number(pcText, LeadingZeros::allowed);
}

extern "C" uint32_t ROQ_UTIL_ValidateNumberRange(int32_t lValue, int32_t lMin, int32_t lMax) {
  return is_within(lValue, lMin, lMax);
}

extern "C" uint32_t ROQ_UTIL_ValidateRange(const char* pcText, int32_t lMin, int32_t lMax) {
  return pcText != nullptr && is_number_within(pcText, lMin, lMax);
}

extern "C" uint32_t ROQ_UTIL_ValidateLength(const char* pcText, uint32_t ulMax) {
  return pcText != nullptr && has_length_up_to(pcText, ulMax);
}

extern "C" uint32_t ROQ_UTIL_ValidateBool(uint32_t ulValue) { return is_bool(ulValue); }

extern "C" uint32_t ROQ_UTIL_ValidatePort(uint32_t ulValue) { return is_port(ulValue); }

extern "C" uint32_t ROQ_UTIL_ValidateVlanId(uint32_t ulValue) { return is_vlan_id(ulValue); }

extern "C" uint32_t ROQ_UTIL_ValidateVlanIdX(uint32_t ulValue) { return is_vlan_id_other_than_0(ulValue); }

extern "C" uint32_t ROQ_UTIL_ValidatePriority(uint32_t ulValue) { return is_priority(ulValue); }
