#include "netinfo/address.h"

#include "netinfo/fields.h"
#include <arpa/inet.h>
#include <cstring>

namespace roq::netinfo {
namespace {

constexpr size_t kLineSize = 256;
constexpr size_t kFieldSize = 64;
constexpr size_t kColumns = 6;
constexpr size_t kDigitsPerGroup = 4;

// The address has a buffer of its own; the other five columns share one, in which the device stays behind.
enum : size_t { kAddress = 0, kDevice = 1, kBuffers = 2 };

constexpr size_t kGroupedSize = kFieldSize + (kFieldSize - 1) / kDigitsPerGroup;

// "fe80...0001" becomes "fe80:...:0001".
void group_digits(const char* digits, char (&grouped)[kGroupedSize]) {
  char* out = grouped;
  for (size_t index = 0; digits[index] != '\0'; ++index) {
    if (index != 0 && index % kDigitsPerGroup == 0) *out++ = ':';
    *out++ = digits[index];
  }
  *out = '\0';
}

bool parse_address(const char* digits, in6_addr& address) {
  char grouped[kGroupedSize];
  group_digits(digits, grouped);
  return inet_pton(AF_INET6, grouped, &address) == 1;
}

} // namespace

bool find_link_local_address(LineReader& table, const char* name, char* address) {
  char line[kLineSize];
  Fields<kBuffers, kFieldSize> fields;
  while (table.next(line)) {
    fields.split(line, kColumns);
    if (strcmp(fields[kDevice], name) != 0) continue;
    in6_addr parsed;
    if (!parse_address(fields[kAddress], parsed) || !IN6_IS_ADDR_LINKLOCAL(&parsed)) continue;
    return inet_ntop(AF_INET6, &parsed, address, INET6_ADDRSTRLEN) != nullptr;
  }
  return false;
}

} // namespace roq::netinfo
