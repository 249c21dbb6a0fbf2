// What the library does with its sockets while it looks up a name.
//
// The tool defines the system calls that a lookup makes. The dynamic linker prefers a program's definitions to those of
// the C library, so the library's calls pass through here and are noted down: the trace shows what really happened, and
// the library needs to know nothing of it.
#ifndef ROQ_TOOL_DNS_SOCKET_TRACE_H
#define ROQ_TOOL_DNS_SOCKET_TRACE_H

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <span>

namespace roq::tool {

enum class Wait : uint8_t { none, timed_out, failed, ready };

struct Attempt {
  int family;
  int error; // errno of the call that ended it, 0 when none did
  sockaddr_storage source, server;
  Wait wait;
  int32_t sent_length, received_length; // -1 when nothing was
  uint8_t sent[512], received[512];

  std::span<const uint8_t> sent_bytes() const { return {sent, sent_length > 0 ? static_cast<size_t>(sent_length) : 0}; }
  std::span<const uint8_t> received_bytes() const {
    return {received, received_length > 0 ? static_cast<size_t>(received_length) : 0};
  }
};

// Notes down the attempts of lookups for as long as it lives.
class SocketTrace {
public:
  SocketTrace();
  ~SocketTrace();
  SocketTrace(const SocketTrace&) = delete;
  SocketTrace& operator=(const SocketTrace&) = delete;

  static constexpr size_t kMostAttempts = 4;
  std::span<const Attempt> attempts() const { return {attempts_, count_}; }

  Attempt* begin(int family);
  Attempt* current() { return count_ > 0 ? &attempts_[count_ - 1] : nullptr; }

private:
  Attempt attempts_[kMostAttempts];
  size_t count_ = 0;
};

} // namespace roq::tool

#endif
