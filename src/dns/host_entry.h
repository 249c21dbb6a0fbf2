// Host entry records out of lookups: switch files, and the carving of the caller's buffer.
#ifndef ROQ_DNS_HOST_ENTRY_H
#define ROQ_DNS_HOST_ENTRY_H

#include <cstddef>
#include <cstdint>
#include <netdb.h>
#include <optional>

extern "C" int32_t handy_gethostbyname_r(const char* name, hostent* result, char* buf, uint32_t buflen,
                                         hostent** resultptr, const char* source);

namespace roq::dns {

enum ResolveResult : int32_t { kResolved = 0, kNotFound = 2, kRefused = 22, kBufferTooSmall = 34 };

struct AddressFamily {
  int32_t number, record_type;
  uint32_t address_size, alias_slots;
};

inline constexpr AddressFamily kIpv4{AF_INET, 1, 4, 8};
inline constexpr AddressFamily kIpv6{AF_INET6, 28, 16, 0};

// The pieces of a caller's buffer, in their order.
struct HostBuffer {
  char* first_address;
  char** addresses; // the first address and null, until further ones are placed
  char** aliases;   // null without alias slots
  char* name;
  size_t name_size;
};

inline constexpr size_t kNameAreaMinimum = 256;

// Nothing when the buffer is too short; a buffer that is not aligned for pointers begins at its first aligned byte.
[[nodiscard]] std::optional<HostBuffer> carve(char* buffer, size_t size, const AddressFamily& family);

// Moves `count` addresses from the start of the name area into the list, which moves the name area. False, with
// nothing changed, when the name area would become too small.
[[nodiscard]] bool place_further_addresses(HostBuffer& buffer, size_t count, const AddressFamily& family);

// What the caller gave: everything but the name and the source may be null here.
struct HostRequest {
  hostent* record;
  char* buffer;
  uint32_t buffer_size;
  hostent** result;

  bool is_complete() const { return record != nullptr && buffer != nullptr && result != nullptr; }
};

int32_t resolve_ipv4(const char* name, const HostRequest& request, const char* source);
int32_t resolve(const char* name, int32_t family, const HostRequest& request, const char* source);

// Into static storage; null when it cannot be resolved.
hostent* resolve_into_static(const char* name, int32_t family, const char* source);

} // namespace roq::dns

#endif
