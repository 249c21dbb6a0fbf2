// Networks of a given size to measure in.
#ifndef ROQ_BENCH_NETINFO_NETWORKS_H
#define ROQ_BENCH_NETINFO_NETWORKS_H

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

void require(bool holds, const char* what);

// Moves this process into a network of its own with so many interfaces besides the loopback and a default route over
// the last of them. Each network is made once.
void enter_network(int64_t interfaces);

// The interfaces of the network, in the order of the kernel's table.
std::vector<std::string> interfaces_in_table();

} // namespace bench

#endif
