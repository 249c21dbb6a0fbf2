#include "dns/text_file.h"
#include "dns/wan_files.h"
#include "support/interface_address.h"
#include <roqutil/dns.h>

using namespace roq;

extern "C" int32_t locate_dns_server(const char* interface) { return dns::read_name_servers(interface); }

extern "C" int32_t get_ifc_ipaddr2(const char* pcInterface) { return dns::read_wan_address(pcInterface); }

extern "C" int32_t getaddr(const char* pcInterface, char* pcOut) {
  if (pcInterface == nullptr || pcOut == nullptr) return -1;
  return write_peer_address(pcInterface, pcOut) ? 0 : -1;
}

extern "C" int32_t Wan_readFirstLine(const char* pcPath, char* pcBuf, int32_t lSize) {
  if (pcPath == nullptr || pcBuf == nullptr || lSize <= 0) return -1;
  if (!dns::read_first_line(pcPath, {pcBuf, static_cast<size_t>(lSize)})) return -1;
  dns::cut_at_space(pcBuf);
  return 0;
}
