#include "netinfo/counters.h"

using namespace roq::netinfo;

extern "C" uint32_t ROQ_UTIL_GetIfcStatInfo(const char* pcName, RoqIfcStat* pstStat) {
  LineReader table(kDeviceTable);
  if (!table.is_open()) return 0;
  if (pcName != nullptr && pstStat != nullptr) read_counters(table, pcName, pstStat);
  return static_cast<uint32_t>(table.close());
}
