#include "validate/ipv4.h"

#include <roqutil/validate.h>

using namespace roq::validate;

extern "C" uint32_t ROQ_UTIL_ValidateIpAddress(const char* pcText) {
  return pcText != nullptr && is_ip_address(pcText);
}

extern "C" uint32_t ValidateIpByClass(const char* pcText, uint32_t ulMode) {
  return pcText != nullptr && is_address_of_class(pcText, ulMode == 1 ? AddressClass::multicast : AddressClass::host);
}

extern "C" uint32_t ROQ_UTIL_ValidateHostIpAddress(const char* pcText) {
  return pcText != nullptr && is_address_of_class(pcText, AddressClass::host);
}

extern "C" uint32_t ROQ_UTIL_ValidateMCastIpAddress(const char* pcText) {
  return pcText != nullptr && is_address_of_class(pcText, AddressClass::multicast);
}

extern "C" uint32_t ROQ_UTIL_IsIpFormat(const char* pcText) { return pcText != nullptr && is_shaped_like_ip(pcText); }

// Even a null pointer is taken for a name.
extern "C" uint32_t ROQ_UTIL_ValidateDnsOrHostAddress(const char* pcText) {
  if (pcText == nullptr || !is_shaped_like_ip(pcText)) return 1;
  return is_address_of_class(pcText, AddressClass::host);
}

extern "C" uint32_t ROQ_UTIL_CheckNum(uint32_t ulValue) { return is_partial_mask_octet(ulValue); }

extern "C" uint32_t ROQ_UTIL_ValidateSubnetMask(const char* pcText) {
  return pcText != nullptr && is_subnet_mask(pcText);
}

extern "C" uint32_t ROQ_UTIL_ValidateHostIpWithSubnetMask(const char* pcAddress, const char* pcMask) {
  return pcAddress != nullptr && pcMask != nullptr && is_host_in_subnet(pcAddress, pcMask);
}

extern "C" uint32_t ROQ_UTIL_ValidateBroadcastIp(const int32_t* plAddress, const int32_t* plMask) {
  if (plAddress == nullptr || plMask == nullptr) return 0;
  return is_broadcast(Octets<int32_t>(plAddress, 4), Octets<int32_t>(plMask, 4));
}

extern "C" uint32_t ROQ_UTIL_ValidateIpSameSubNet(const uint32_t* pulAddr1, const uint32_t* pulMask1,
                                                  const uint32_t* pulAddr2, const uint32_t* pulMask2) {
  if (pulAddr1 == nullptr || pulMask1 == nullptr || pulAddr2 == nullptr || pulMask2 == nullptr) return 0;
  return is_same_subnet(Octets<uint32_t>(pulAddr1, 4), Octets<uint32_t>(pulMask1, 4), Octets<uint32_t>(pulAddr2, 4),
                        Octets<uint32_t>(pulMask2, 4));
}

extern "C" uint32_t ROQ_UTIL_IpAddrSplit(const char* pcText, uint32_t* pulOut) {
  if (pcText == nullptr || pulOut == nullptr) return 0;
  return split_address(pcText, std::span<uint32_t, 4>(pulOut, 4));
}

extern "C" uint32_t ROQ_IpMaskToCidrLen(const char* pcText) { return pcText != nullptr ? prefix_length(pcText) : 0; }
