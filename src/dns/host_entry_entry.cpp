#include "dns/host_entry.h"
#include <arpa/inet.h>
#include <roqutil/dns.h>

using namespace roq::dns;

extern "C" int32_t handy_gethostbyname_r(const char* name, hostent* result, char* buf, uint32_t buflen,
                                         hostent** resultptr, const char* source) {
  return resolve_ipv4(name, {result, buf, buflen, resultptr}, source);
}

extern "C" int32_t handy_gethostbyname2_r(const char* pcName, int32_t iFamily, struct hostent* pstResult, char* pcBuf,
                                          uint32_t ulBufLen, struct hostent** ppstResult, const char* pcSource) {
  return resolve(pcName, iFamily, {pstResult, pcBuf, ulBufLen, ppstResult}, pcSource);
}

extern "C" struct hostent* roq_gethostbyname(const char* pcName, uint32_t ulSource) {
  static hostent record;
  alignas(char*) static char buffer[460];
  char source[INET_ADDRSTRLEN];
  const in_addr address{ulSource};
  inet_ntop(AF_INET, &address, source, sizeof source);
  hostent* result = nullptr;
  // The IPv4 switch is not asked, and that is meant: this entry resolves even when resolution is switched off.
  resolve_ipv4(pcName, {&record, buffer, sizeof buffer, &result}, source);
  return result;
}

extern "C" struct hostent* ROQ_UTIL_Gethostbyname(const char* pcName, int32_t iFamily, const char* pcSource) {
  return resolve_into_static(pcName, iFamily, pcSource);
}
