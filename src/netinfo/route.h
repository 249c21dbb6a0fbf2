// Default routes in the kernel's routing tables.
#ifndef ROQ_NETINFO_ROUTE_H
#define ROQ_NETINFO_ROUTE_H

#include "netinfo/line_reader.h"
#include <cstdint>

namespace roq::netinfo {

inline constexpr char kRouteTable[] = "/proc/net/route";
inline constexpr char kIpv6RouteTable[] = "/proc/net/ipv6_route";

// Copies the interface of the first default route to `name`, which stays as it is when there is none.
void find_default_route(LineReader& table, char* name);

// Copies the device of the default route with the lowest metric, of equal ones the first, to the `size` bytes at
// `name`: padded with zeros, and the last byte is never written.
void find_ipv6_default_route(LineReader& table, char* name, uint32_t size);

// The value of hexadecimal digits, modulo 2 to the power of 32. At any other character it stops, after a line on
// standard output.
uint32_t parse_hexadecimal(const char* text);

} // namespace roq::netinfo

extern "C" uint32_t atoi_16(const char* pcText);

#endif
