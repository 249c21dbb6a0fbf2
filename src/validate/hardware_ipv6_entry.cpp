#include "validate/hardware_ipv6.h"

#include <roqutil/validate.h>

using namespace roq::validate;

extern "C" uint32_t ROQ_UTIL_ValidateMacAddress(const char* pcText) {
  return pcText != nullptr && is_mac_address(pcText);
}

extern "C" uint32_t ROQ_UTIL_ValidateIpv6Address(const char* pcText) {
  return pcText != nullptr && is_ipv6_address(pcText);
}

extern "C" uint32_t ROQ_UTIL_ValidateHostIpv6Address(const char* pcText) {
  return pcText != nullptr && is_host_ipv6_address(pcText);
}

extern "C" uint32_t ROQ_UTIL_ValidateGlobalIpv6Address(const char* pcText) {
  return pcText != nullptr && is_global_ipv6_address(pcText);
}
