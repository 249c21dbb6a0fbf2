#include "dns/host_entry.h"
#include "dns/srv.h"

using namespace roq::dns;

extern "C" RoqSrvRecord* ROQ_UTIL_DnsSrvQuery(const char* pcService, const char* pcInterface) {
  return query_srv(pcService, pcInterface);
}

extern "C" RoqSrvRecord* KR807d_DnsSrv_Query(const char* pcService, const char* pcInterface) {
  return query_srv(pcService, pcInterface);
}

extern "C" int32_t constructpacket(uint8_t* pucPacket, int32_t* plLen) {
  if (pucPacket == nullptr || plLen == nullptr) return -1;
  const size_t capacity = *plLen > 0 ? static_cast<size_t>(*plLen) : 0;
  const size_t length = write_srv_query({pucPacket, capacity});
  if (length == 0) return -1;
  *plLen = static_cast<int32_t>(length);
  return 0;
}

extern "C" int32_t analyse_dns_response(const uint8_t* pucPacket, int32_t lLen, RoqSrvRecord** ppstTable) {
  return analyse_response(pucPacket, lLen, ppstTable, resolve_into_static);
}
