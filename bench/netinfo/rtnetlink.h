// The kernel's binary interface to the same facts, with a socket opened for every question.
#ifndef ROQ_BENCH_NETINFO_RTNETLINK_H
#define ROQ_BENCH_NETINFO_RTNETLINK_H

#include <cstdint>

namespace bench {

// Asks for one interface by its name and returns the bytes that it received.
uint64_t rtnetlink_received_bytes(const char* interface);

// Asks for all IPv4 routes of the main table and returns the index of the default route's interface.
uint32_t rtnetlink_default_route();

} // namespace bench

#endif
