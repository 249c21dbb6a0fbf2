// Sockets in the bus folder, and waiting for them with a time limit.
#ifndef ROQ_MSGBUS_TRANSPORT_H
#define ROQ_MSGBUS_TRANSPORT_H

#include "message.h"
#include "support/owners.h"
#include <optional>
#include <span>
#include <sys/socket.h>
#include <sys/un.h>

namespace roq::msgbus {

// A point of the monotonic clock, in nanoseconds.
using Instant = uint64_t;
inline constexpr Instant kNever = UINT64_MAX;
inline constexpr Instant kMillisecond = 1000000;

Instant now();

// Waits until poll reports one of the events. False with errno ETIMEDOUT when the time is over first; the events are
// looked at once in any case.
bool wait_until(int socket, short events, Instant limit);

struct SocketAddress {
  sockaddr_un address;
  socklen_t length;
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
  const char* path() const { return address.sun_path; }
};

const char* bus_folder();

// Where the endpoint of a name lies; none, with errno, when there can be no such endpoint.
std::optional<SocketAddress> endpoint_address(const Name& name);

// A datagram socket of the bus, not blocking.
UniqueFd open_socket();

// Sends header and payload as one datagram, to `address` or, when it is null, to the connected peer. Never waits.
bool send_message(int socket, const Header& header, const void* payload, const SocketAddress* address);

// One byte more than the largest message, so that what is too long shows.
using DatagramBuffer = char[kLargestMessage + 1];

// Takes the next datagram and where it came from; `from` may be null. None, with errno, when there is nothing to take.
std::optional<std::span<const char>> take_datagram(int socket, DatagramBuffer& buffer, SocketAddress* from);

} // namespace roq::msgbus

#endif
