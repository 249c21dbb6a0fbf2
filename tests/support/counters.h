// Lets the tests compare and print the counters of an interface.
#ifndef ROQ_TESTS_SUPPORT_COUNTERS_H
#define ROQ_TESTS_SUPPORT_COUNTERS_H

#include <cstring>
#include <ostream>
#include <roqutil/netinfo.h>

inline bool operator==(const RoqIfcStat& a, const RoqIfcStat& b) { return memcmp(&a, &b, sizeof a) == 0; }

inline std::ostream& operator<<(std::ostream& out, const RoqIfcStat& c) {
  return out << "rx " << c.rx_bytes << ' ' << c.rx_packets << ' ' << c.rx_errors << ' ' << c.rx_drops << " tx "
             << c.tx_bytes << ' ' << c.tx_packets << ' ' << c.tx_errors << ' ' << c.tx_drops;
}

#endif
