#include "dns/socket_trace.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>

#define ROQ_INTERPOSED extern "C" __attribute__((visibility("default")))

namespace roq::tool {
namespace {

SocketTrace* active_trace;

Attempt* current_attempt() { return active_trace != nullptr ? active_trace->current() : nullptr; }

// The C library's own function of the same name.
template <typename Function> Function* next_function(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Notes the error of a call that failed, and passes its result on.
template <typename Result> Result note_error(Result result) {
  const int error = errno;
  if (Attempt* attempt = current_attempt(); attempt != nullptr && result < 0) attempt->error = error;
  errno = error;
  return result;
}

void note_bytes(uint8_t (&room)[512], int32_t& noted, const void* bytes, ssize_t length) {
  noted = static_cast<int32_t>(length);
  if (length > 0) memcpy(room, bytes, std::min(static_cast<size_t>(length), sizeof room));
}

void note_address(sockaddr_storage& place, const sockaddr* address, socklen_t length) {
  memcpy(&place, address, std::min<size_t>(length, sizeof place));
}

} // namespace

SocketTrace::SocketTrace() { active_trace = this; }

SocketTrace::~SocketTrace() { active_trace = nullptr; }

Attempt* SocketTrace::begin(int family) {
  if (count_ == kMostAttempts) return nullptr;
  Attempt& attempt = attempts_[count_++];
  attempt = {};
  attempt.family = family;
  attempt.sent_length = attempt.received_length = -1;
  return &attempt;
}

} // namespace roq::tool

using namespace roq::tool;

ROQ_INTERPOSED int socket(int family, int type, int protocol) noexcept {
  static const auto next = next_function<decltype(socket)>("socket");
  if (active_trace != nullptr) active_trace->begin(family);
  return note_error(next(family, type, protocol));
}

ROQ_INTERPOSED int bind(int fd, const sockaddr* address, socklen_t length) noexcept {
  static const auto next = next_function<decltype(bind)>("bind");
  if (Attempt* attempt = current_attempt()) note_address(attempt->source, address, length);
  return note_error(next(fd, address, length));
}

ROQ_INTERPOSED int connect(int fd, const sockaddr* address, socklen_t length) {
  static const auto next = next_function<decltype(connect)>("connect");
  Attempt* attempt = current_attempt();
  if (attempt != nullptr) note_address(attempt->server, address, length);
  const int result = note_error(next(fd, address, length));
  // Only now the kernel has chosen address and port.
  if (attempt != nullptr && result == 0) {
    socklen_t room = sizeof attempt->source;
    getsockname(fd, reinterpret_cast<sockaddr*>(&attempt->source), &room);
  }
  return result;
}

ROQ_INTERPOSED ssize_t send(int fd, const void* bytes, size_t length, int flags) {
  static const auto next = next_function<decltype(send)>("send");
  const ssize_t sent = note_error(next(fd, bytes, length, flags));
  if (Attempt* attempt = current_attempt()) note_bytes(attempt->sent, attempt->sent_length, bytes, sent);
  return sent;
}

ROQ_INTERPOSED int poll(pollfd* descriptors, nfds_t count, int timeout) {
  static const auto next = next_function<decltype(poll)>("poll");
  const int ready = note_error(next(descriptors, count, timeout));
  if (Attempt* attempt = current_attempt()) {
    attempt->wait = ready > 0 ? Wait::ready : ready == 0 ? Wait::timed_out : Wait::failed;
  }
  return ready;
}

ROQ_INTERPOSED ssize_t recv(int fd, void* bytes, size_t length, int flags) {
  static const auto next = next_function<decltype(recv)>("recv");
  const ssize_t received = note_error(next(fd, bytes, length, flags));
  if (Attempt* attempt = current_attempt()) note_bytes(attempt->received, attempt->received_length, bytes, received);
  return received;
}
