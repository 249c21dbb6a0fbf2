#include "transport.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <poll.h>
#include <sys/uio.h>
#include <time.h>

namespace roq::msgbus {
namespace {

constexpr const char* kDefaultFolder = "/var/run/roqmsg";
constexpr const char* kFolderVariable = "ROQ_MSG_DIR";

int milliseconds_until(Instant limit) {
  Instant at = now();
  if (limit <= at) return 0;
  Instant rounded_up = (limit - at - 1) / kMillisecond + 1;
  return static_cast<int>(std::min<Instant>(rounded_up, std::numeric_limits<int>::max()));
}

} // namespace

Instant now() {
  timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<Instant>(time.tv_sec) * 1000 * kMillisecond + static_cast<Instant>(time.tv_nsec);
}

bool wait_until(int socket, short events, Instant limit) {
  for (;;) {
    pollfd wanted{.fd = socket, .events = events, .revents = 0};
    int ready = poll(&wanted, 1, milliseconds_until(limit));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return false;
    if (now() >= limit) {
      errno = ETIMEDOUT;
      return false;
    }
  }
}

const char* bus_folder() {
  const char* folder = secure_getenv(kFolderVariable);
  return folder != nullptr && folder[0] != '\0' ? folder : kDefaultFolder;
}

std::optional<SocketAddress> endpoint_address(const Name& name) {
  if (!is_usable(name)) {
    errno = EINVAL;
    return std::nullopt;
  }
  SocketAddress place{};
  place.address.sun_family = AF_UNIX;
  auto length = static_cast<size_t>(
      snprintf(place.address.sun_path, sizeof place.address.sun_path, "%s/%s", bus_folder(), name.text));
  if (length >= sizeof place.address.sun_path) {
    errno = ENAMETOOLONG;
    return std::nullopt;
  }
  place.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length + 1);
  return place;
}

UniqueFd open_socket() { return UniqueFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)); }

bool send_message(int socket, const Header& header, const void* payload, const SocketAddress* address) {
  // The system's records have no const, but sending only reads.
  iovec pieces[] = {{.iov_base = const_cast<Header*>(&header), .iov_len = sizeof header},
                    {.iov_base = const_cast<void*>(payload), .iov_len = carried_length(header)}};
  msghdr message{};
  message.msg_iov = pieces;
  message.msg_iovlen = 2;
  if (address != nullptr) {
    message.msg_name = const_cast<sockaddr_un*>(&address->address);
    message.msg_namelen = address->length;
  }
  ssize_t sent;
  do
    sent = sendmsg(socket, &message, MSG_NOSIGNAL);
  while (sent < 0 && errno == EINTR);
  return sent >= 0;
}

std::optional<std::span<const char>> take_datagram(int socket, DatagramBuffer& buffer, SocketAddress* from) {
  sockaddr* address = from == nullptr ? nullptr : reinterpret_cast<sockaddr*>(&from->address);
  socklen_t* length = from == nullptr ? nullptr : &from->length;
  if (from != nullptr) from->length = sizeof from->address;
  ssize_t size = recvfrom(socket, buffer, sizeof buffer, 0, address, length);
  if (size < 0) return std::nullopt;
  return std::span<const char>(buffer, static_cast<size_t>(size));
}

} // namespace roq::msgbus
