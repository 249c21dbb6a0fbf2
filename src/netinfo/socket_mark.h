// The mark that a socket's packets carry for the classification of traffic.
#ifndef ROQ_NETINFO_SOCKET_MARK_H
#define ROQ_NETINFO_SOCKET_MARK_H

#include <cstdint>
#include <sys/socket.h>

namespace roq::netinfo {

// The gateway's own kernel has a mark of its own, under a number that means something else on a mainline kernel.
#ifdef ROQ_QOS_MARK_PLATFORM
inline constexpr int kMarkOption = 66;
#else
inline constexpr int kMarkOption = SO_MARK;
#endif

// 0, or -1 after a line on standard error.
int32_t mark_socket(int32_t socket, int option, uint32_t mark);

} // namespace roq::netinfo

#endif
