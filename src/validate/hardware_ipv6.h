// MAC and IPv6 addresses.
#ifndef ROQ_VALIDATE_HARDWARE_IPV6_H
#define ROQ_VALIDATE_HARDWARE_IPV6_H

namespace roq::validate {

bool is_mac_address(const char* text);
bool is_ipv6_address(const char* text);        // as inet_pton has it
bool is_host_ipv6_address(const char* text);   // not ::, ::1 or ff00::/8
bool is_global_ipv6_address(const char* text); // nor fe80::/10

} // namespace roq::validate

#endif
