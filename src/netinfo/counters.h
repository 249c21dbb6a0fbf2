// Traffic counters of an interface.
#ifndef ROQ_NETINFO_COUNTERS_H
#define ROQ_NETINFO_COUNTERS_H

#include "netinfo/line_reader.h"
#include <roqutil/netinfo.h>

namespace roq::netinfo {

inline constexpr char kDeviceTable[] = "/proc/net/dev";

// Fills `counters` from the first line in which `name` occurs anywhere; without one they stay as they are.
void read_counters(LineReader& table, const char* name, RoqIfcStat* counters);

} // namespace roq::netinfo

#endif
