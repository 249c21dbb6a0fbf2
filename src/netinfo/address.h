// Addresses of an interface.
#ifndef ROQ_NETINFO_ADDRESS_H
#define ROQ_NETINFO_ADDRESS_H

#include "netinfo/line_reader.h"

namespace roq::netinfo {

inline constexpr char kIpv6AddressTable[] = "/proc/net/if_inet6";

// Writes the interface's first link-local address, in its shortest form, to the INET6_ADDRSTRLEN bytes at `address`.
bool find_link_local_address(LineReader& table, const char* name, char* address);

} // namespace roq::netinfo

#endif
