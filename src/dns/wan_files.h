// What the platform writes down about a WAN connection, and the connection's own address.
#ifndef ROQ_DNS_WAN_FILES_H
#define ROQ_DNS_WAN_FILES_H

#include <cstdint>

// A null interface is the loopback relay, from any address.
extern "C" int32_t locate_dns_server(const char* interface);

namespace roq::dns {

// Both return 0 or -1; the first fills g_primary and g_secondary, the second g_wanipaddr.
int32_t read_name_servers(const char* interface);
int32_t read_wan_address(const char* interface);

} // namespace roq::dns

#endif
