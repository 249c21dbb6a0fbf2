// IPv4 addresses of network interfaces, as the kernel tells them.
#ifndef ROQ_SUPPORT_INTERFACE_ADDRESS_H
#define ROQ_SUPPORT_INTERFACE_ADDRESS_H

#include <cstdint>
#include <netinet/in.h>

namespace roq {

// What the kernel answers to SIOCGIFADDR or SIOCGIFDSTADDR, of whatever family; the interface's name is cut to what a
// request holds. False, with `address` left alone, when it answers nothing.
[[nodiscard]] bool ask_for_address(int socket, uint16_t request, const char* interface, sockaddr_in& address);

// Writes the address of the interface's peer to the INET_ADDRSTRLEN bytes at `text`.
[[nodiscard]] bool write_peer_address(const char* interface, char* text);

} // namespace roq

#endif
