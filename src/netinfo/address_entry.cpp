#include "netinfo/address.h"
#include <arpa/inet.h>
#include <cstring>
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
  roq::UniqueFd asked(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!asked.is_open()) return 0;
  std::optional<sockaddr> peer = ask_for_address(asked.get(), SIOCGIFDSTADDR, pcName);
  if (!peer) return 0;
  sockaddr_in address;
  memcpy(&address, &*peer, sizeof address);
  return inet_ntop(AF_INET, &address.sin_addr, pcAddress, INET_ADDRSTRLEN) != nullptr;
}

// 0 is the success here, unlike in the functions around it.
extern "C" uint32_t ROQ_UTIL_GetIpByName(const char* pcName, sockaddr_in* pstAddress) {
  if (pcName == nullptr || pstAddress == nullptr) return 1;
  roq::UniqueFd asked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!asked.is_open()) return 1;
  memset(pstAddress, 0, sizeof *pstAddress);
  std::optional<sockaddr> own = ask_for_address(asked.get(), SIOCGIFADDR, pcName);
  if (!own || own->sa_family != AF_INET) return 1;
  memcpy(pstAddress, &*own, sizeof *pstAddress);
  return 0;
}
