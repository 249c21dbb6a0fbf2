#include "netinfo/address.h"
#include "support/interface_address.h"
#include <roqutil/netinfo.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

using namespace roq::netinfo;

extern "C" uint32_t ROQ_UTIL_GetIpv6LinkAddress(const char* pcName, char* pcAddress) {
  if (pcName == nullptr || pcAddress == nullptr) return 0;
  LineReader table(kIpv6AddressTable);
  return table.is_open() && find_link_local_address(table, pcName, pcAddress);
}

extern "C" uint32_t ROQ_UTIL_GetIfDestAddr(const char* pcName, char* pcAddress) {
  if (pcName == nullptr || pcAddress == nullptr) return 0;
  return roq::write_peer_address(pcName, pcAddress);
}

// 0 is the success here, unlike in the functions around it.
extern "C" uint32_t ROQ_UTIL_GetIpByName(const char* pcName, sockaddr_in* pstAddress) {
  if (pcName == nullptr || pstAddress == nullptr) return 1;
  roq::UniqueFd asked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!asked.is_open()) return 1;
  *pstAddress = {};
  sockaddr_in own;
  if (!roq::ask_for_address(asked.get(), SIOCGIFADDR, pcName, own) || own.sin_family != AF_INET) return 1;
  *pstAddress = own;
  return 0;
}
