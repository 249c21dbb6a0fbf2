// The sending side: messages and requests.

#include "transport.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <roqutil/msg.h>

namespace roq::msgbus {
namespace {

// How often a waiting request looks whether its addressee is still there.
constexpr Instant kLivenessInterval = 1000 * kMillisecond;
constexpr int kAddressAttempts = 16;

// Callers hold messages in buffers of any alignment.
Header header_of(const void* message) {
  Header header;
  memcpy(&header, message, sizeof header);
  header.addressee = make_name(header.addressee.text, sizeof header.addressee.text);
  header.sender = static_cast<uint32_t>(getpid());
  header.serial = 0;
  return header;
}

const char* payload_of(const void* message) { return static_cast<const char*>(message) + sizeof(Header); }

// From then on only the addressee can send to the socket.
bool connect_to(int socket, const Name& addressee) {
  std::optional<SocketAddress> address = endpoint_address(addressee);
  return address && connect(socket, address->get(), address->length) == 0;
}

uint32_t next_serial() {
  static constinit uint32_t count = 0;
  // The clock keeps apart what a process and a later one with the same id send.
  auto serial = static_cast<uint32_t>(now() / 1024) + __atomic_add_fetch(&count, 1, __ATOMIC_RELAXED);
  return serial == 0 ? 1 : serial;
}

// An address in the abstract name space: no file that a killed process would leave behind. The terminator is part of
// it, because the user-mode emulator adds one to names that have none.
SocketAddress reply_address(const Header& header) {
  SocketAddress place{};
  place.address.sun_family = AF_UNIX;
  char* name = place.address.sun_path + 1;
  int length = snprintf(name, sizeof place.address.sun_path - 1, "roqmsg:%08x%08x", header.sender, header.serial);
  place.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + static_cast<size_t>(length) + 1);
  return place;
}

// Gives the request its serial number and its socket the address for the reply.
bool bind_reply_address(int socket, Header& request) {
  for (int attempt = 0; attempt < kAddressAttempts; ++attempt) {
    request.serial = next_serial();
    SocketAddress address = reply_address(request);
    if (bind(socket, address.get(), address.length) == 0) return true;
    if (errno != EADDRINUSE) return false;
  }
  return false;
}

bool send_before(int socket, const Header& request, const char* payload, Instant limit) {
  while (!send_message(socket, request, payload, nullptr)) {
    if (errno != EAGAIN || !wait_until(socket, POLLOUT, limit)) return false;
  }
  return true;
}

// With a zero byte behind it, so that a payload that is a text ends even when its sender did not end it.
void* copy_on_heap(std::span<const char> bytes) {
  auto* copy = static_cast<char*>(malloc(bytes.size() + 1));
  if (copy == nullptr) return nullptr;
  memcpy(copy, bytes.data(), bytes.size());
  copy[bytes.size()] = '\0';
  return copy;
}

// The reply to a request on the heap; null, with errno EAGAIN, when what has arrived is not it.
void* take_reply(int socket, const Header& request) {
  DatagramBuffer buffer;
  std::optional<std::span<const char>> datagram = take_datagram(socket, buffer, nullptr);
  if (!datagram) return nullptr;
  std::optional<Header> header = decode(*datagram);
  if (!header || header->serial != request.serial) {
    errno = EAGAIN;
    return nullptr;
  }
  return copy_on_heap(*datagram);
}

// As take_reply, but waits for it, until `limit` or until the addressee is gone.
void* await_reply(int socket, const Header& request, Instant limit) {
  for (;;) {
    Instant pause = std::min(limit, now() + kLivenessInterval);
    if (wait_until(socket, POLLIN, pause)) {
      void* reply = take_reply(socket, request);
      if (reply != nullptr || (errno != EAGAIN && errno != EINTR)) return reply;
      if (now() < limit) continue;
      errno = ETIMEDOUT;
      return nullptr;
    }
    if (errno != ETIMEDOUT || pause == limit) return nullptr;
    if (!connect_to(socket, request.addressee)) {
      // It may have answered before it went.
      ErrnoKeeper keep;
      return take_reply(socket, request);
    }
  }
}

bool send_notice(const void* message) {
  Header header = header_of(message);
  UniqueFd socket = open_socket();
  return socket.is_open() && connect_to(socket.get(), header.addressee) &&
         send_message(socket.get(), header, payload_of(message), nullptr);
}

void* request(const void* message, uint32_t timeout_ms) {
  Instant limit = now() + timeout_ms * kMillisecond;
  Header header = header_of(message);
  UniqueFd socket = open_socket();
  if (!socket.is_open() || !connect_to(socket.get(), header.addressee)) return nullptr;
  if (!bind_reply_address(socket.get(), header)) return nullptr;
  if (!send_before(socket.get(), header, payload_of(message), limit)) return nullptr;
  return await_reply(socket.get(), header, limit);
}

int32_t invalid_argument() {
  errno = EINVAL;
  return -1;
}

} // namespace
} // namespace roq::msgbus

using namespace roq::msgbus;

extern "C" void ROQ_MSG_SimpleBuilder(void* pvMsg, const char* pcAddressee, uint32_t ulType, uint32_t ulValue) {
  if (pvMsg == nullptr) return;
  Header header{};
  header.addressee = make_name(pcAddressee == nullptr ? ROQ_MSG_SUPERVISOR : pcAddressee);
  header.type = ulType;
  header.value = ulValue;
  memcpy(pvMsg, &header, kBusHeaderSize);
}

extern "C" int32_t ROQ_MSG_Send(void* pvMsg) {
  if (pvMsg == nullptr) return invalid_argument();
  return send_notice(pvMsg) ? 0 : -1;
}

extern "C" int32_t ROQ_MSG_SendAndRecv(void* pvMsg, void** ppvReply, uint32_t ulTimeoutMs) {
  if (pvMsg == nullptr || ppvReply == nullptr) return invalid_argument();
  void* reply = request(pvMsg, ulTimeoutMs);
  if (reply == nullptr) return -1;
  *ppvReply = reply;
  return 0;
}
