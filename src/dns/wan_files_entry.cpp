#include "dns/text_file.h"
#include "dns/wan_files.h"
#include "support/owners.h"
#include "support/text.h"
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <roqutil/dns.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

using namespace roq;

extern "C" int32_t locate_dns_server(const char* interface) { return dns::read_name_servers(interface); }

extern "C" int32_t get_ifc_ipaddr2(const char* pcInterface) { return dns::read_wan_address(pcInterface); }

extern "C" int32_t getaddr(const char* pcInterface, char* pcOut) {
  if (pcInterface == nullptr || pcOut == nullptr) return -1;
  UniqueFd socket_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket_fd.is_open()) return -1;
  ifreq request{};
  copy_cut(request.ifr_name, sizeof request.ifr_name, pcInterface);
  if (ioctl(socket_fd.get(), SIOCGIFDSTADDR, &request) != 0) return -1;
  sockaddr_in peer;
  memcpy(&peer, &request.ifr_dstaddr, sizeof peer);
  inet_ntop(AF_INET, &peer.sin_addr, pcOut, INET_ADDRSTRLEN);
  return 0;
}

extern "C" int32_t Wan_readFirstLine(const char* pcPath, char* pcBuf, int32_t lSize) {
  if (pcPath == nullptr || pcBuf == nullptr || lSize <= 0) return -1;
  if (!dns::read_first_line(pcPath, {pcBuf, static_cast<size_t>(lSize)})) return -1;
  dns::cut_at_space(pcBuf);
  return 0;
}
