// The receiving side: endpoints.

#include "transport.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>

struct RoqMsgEndpoint {
  roq::UniqueFd socket;
  roq::msgbus::Name name;
  roq::msgbus::SocketAddress address;
  dev_t device; // of the socket file, so that only its own is removed
  ino_t inode;
};

namespace roq::msgbus {
namespace {

constexpr mode_t kFolderMode = 0755;

// Whoever changes the folder holds it locked, so that nobody removes a socket that somebody else has just put there.
// The lock ends with the descriptor.
UniqueFd lock_folder() {
  UniqueFd folder(open(bus_folder(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.is_open()) return folder;
  int result;
  do
    result = flock(folder.get(), LOCK_EX);
  while (result < 0 && errno == EINTR);
  if (result < 0) folder.reset();
  return folder;
}

UniqueFd lock_folder_or_make_it() {
  if (mkdir(bus_folder(), kFolderMode) < 0 && errno != EEXIST) return {};
  return lock_folder();
}

bool somebody_listens(const SocketAddress& address) {
  UniqueFd probe = open_socket();
  return !probe.is_open() || connect(probe.get(), address.get(), address.length) == 0 || errno != ECONNREFUSED;
}

// Removes what a dead process left; false, with errno, when the place stays taken.
bool clear_place(const SocketAddress& address) {
  struct stat file;
  if (lstat(address.path(), &file) < 0) return errno == ENOENT;
  if (!S_ISSOCK(file.st_mode)) {
    errno = EEXIST;
    return false;
  }
  if (somebody_listens(address)) {
    errno = EADDRINUSE;
    return false;
  }
  return unlink(address.path()) == 0;
}

bool listen_at(RoqMsgEndpoint* endpoint) {
  UniqueFd lock = lock_folder_or_make_it();
  if (!lock.is_open() || !clear_place(endpoint->address)) return false;
  endpoint->socket = open_socket();
  if (!endpoint->socket.is_open()) return false;
  if (bind(endpoint->socket.get(), endpoint->address.get(), endpoint->address.length) < 0) return false;
  struct stat file;
  if (lstat(endpoint->address.path(), &file) < 0) return false;
  endpoint->device = file.st_dev;
  endpoint->inode = file.st_ino;
  return true;
}

void release(RoqMsgEndpoint* endpoint) {
  endpoint->~RoqMsgEndpoint();
  free_quietly(endpoint);
}

using UniqueEndpoint = Unique<RoqMsgEndpoint, &release>;

RoqMsgEndpoint* register_name(const char* text) {
  Name name = make_name(text);
  std::optional<SocketAddress> address = endpoint_address(name);
  if (!address) return nullptr;
  void* memory = malloc(sizeof(RoqMsgEndpoint));
  if (memory == nullptr) return nullptr;
  UniqueEndpoint endpoint(new (memory)
                              RoqMsgEndpoint{.socket = {}, .name = name, .address = *address, .device = 0, .inode = 0});
  return listen_at(endpoint.get()) ? endpoint.release() : nullptr;
}

void unregister(RoqMsgEndpoint* endpoint) {
  UniqueEndpoint owned(endpoint);
  UniqueFd lock = lock_folder();
  struct stat file;
  if (lstat(endpoint->address.path(), &file) < 0) return;
  bool is_own = file.st_dev == endpoint->device && file.st_ino == endpoint->inode;
  if (is_own) unlink(endpoint->address.path());
}

// Stores where a reply goes. A sender without an address of its own cannot be answered.
void store_reply_address(const SocketAddress& from, RoqMsgReceived* received) {
  static_assert(sizeof from.address == sizeof received->reply_address);
  if (from.length <= offsetof(sockaddr_un, sun_path) || from.length > sizeof from.address) {
    received->expects_reply = 0;
    return;
  }
  memcpy(received->reply_address, &from.address, from.length);
  received->reply_address_length = from.length;
}

bool receive(const RoqMsgEndpoint* endpoint, RoqMsgReceived* received, Instant limit) {
  DatagramBuffer buffer;
  while (wait_until(endpoint->socket.get(), POLLIN, limit)) {
    SocketAddress from;
    std::optional<std::span<const char>> datagram = take_datagram(endpoint->socket.get(), buffer, &from);
    if (datagram && store_received(*datagram, endpoint->name, received)) {
      store_reply_address(from, received);
      return true;
    }
    if (!datagram && errno != EAGAIN && errno != EINTR) return false;
    if (now() >= limit) {
      errno = ETIMEDOUT;
      return false;
    }
  }
  return false;
}

bool reply(const RoqMsgEndpoint* endpoint, const RoqMsgReceived* received, uint32_t result,
           std::span<const char> payload) {
  SocketAddress to{};
  memcpy(&to.address, received->reply_address, received->reply_address_length);
  to.length = received->reply_address_length;
  Header header{};
  header.type = received->type;
  header.value = received->value;
  header.sender = static_cast<uint32_t>(getpid());
  header.serial = received->serial;
  header.result = result;
  header.payload_length = static_cast<uint32_t>(payload.size());
  return send_message(endpoint->socket.get(), header, payload.data(), &to);
}

bool can_be_answered(const RoqMsgReceived* received) {
  return received->expects_reply != 0 && received->reply_address_length <= sizeof(sockaddr_un);
}

int32_t failure(int reason) {
  errno = reason;
  return -1;
}

} // namespace
} // namespace roq::msgbus

using namespace roq::msgbus;

extern "C" RoqMsgEndpoint* ROQ_MSG_Register(const char* pcName) {
  return register_name(pcName == nullptr ? "" : pcName);
}

extern "C" int32_t ROQ_MSG_Descriptor(const RoqMsgEndpoint* pstEndpoint) {
  return pstEndpoint == nullptr ? failure(EINVAL) : pstEndpoint->socket.get();
}

extern "C" int32_t ROQ_MSG_Receive(RoqMsgEndpoint* pstEndpoint, RoqMsgReceived* pstReceived, uint32_t ulTimeoutMs) {
  if (pstEndpoint == nullptr || pstReceived == nullptr) return failure(EINVAL);
  Instant limit = ulTimeoutMs == ROQ_MSG_NO_LIMIT ? kNever : now() + ulTimeoutMs * kMillisecond;
  return receive(pstEndpoint, pstReceived, limit) ? 0 : -1;
}

extern "C" int32_t ROQ_MSG_Reply(RoqMsgEndpoint* pstEndpoint, const RoqMsgReceived* pstReceived, uint32_t ulResult,
                                 const void* pvPayload, uint32_t ulLength) {
  if (pstEndpoint == nullptr || pstReceived == nullptr) return failure(EINVAL);
  if (pvPayload == nullptr && ulLength != 0) return failure(EINVAL);
  if (!can_be_answered(pstReceived)) return failure(EINVAL);
  if (ulLength > kPayloadRoom) return failure(EMSGSIZE);
  return reply(pstEndpoint, pstReceived, ulResult, {static_cast<const char*>(pvPayload), ulLength}) ? 0 : -1;
}

extern "C" void ROQ_MSG_Unregister(RoqMsgEndpoint* pstEndpoint) {
  if (pstEndpoint != nullptr) unregister(pstEndpoint);
}
