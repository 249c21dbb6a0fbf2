#include "process/descriptor_table.h"

#include <algorithm>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace roq::process {
namespace {

constexpr uint32_t kFree = 0;

// What a set has room for. In this type the macros of every C library take it without a change of sign.
using SetMember = uint16_t;
static_assert(FD_SETSIZE <= 0x10000);

bool can_be_watched(uint32_t fd) { return fd != kFree && fd < FD_SETSIZE; }

struct Watched {
  fd_set set;
  int largest; // 0 when there is nothing to watch
};

Watched watch(std::span<const uint32_t> table) {
  Watched watched;
  FD_ZERO(&watched.set);
  watched.largest = 0;
  for (uint32_t fd : table) {
    if (!can_be_watched(fd)) continue;
    FD_SET(static_cast<SetMember>(fd), &watched.set);
    watched.largest = std::max(watched.largest, static_cast<int>(fd));
  }
  return watched;
}

bool accept_and_close(int fd) {
  int connection = accept(fd, nullptr, nullptr);
  if (connection < 0) return false;
  close(connection);
  return true;
}

} // namespace

bool add_descriptor(std::span<uint32_t> table, uint32_t fd) {
  for (uint32_t& entry : table) {
    if (entry != kFree) continue;
    entry = fd;
    return true;
  }
  return false;
}

bool drain_connections(std::span<const uint32_t> table) {
  Watched watched = watch(table);
  if (watched.largest == 0) return true;
  timeval at_once{};
  // The set keeps what was ready in the pass before and nothing else, and that is meant.
  while (select(watched.largest + 1, &watched.set, nullptr, nullptr, &at_once) > 0) {
    for (uint32_t fd : table) {
      if (!can_be_watched(fd) || !FD_ISSET(static_cast<SetMember>(fd), &watched.set)) continue;
      if (!accept_and_close(static_cast<int>(fd))) return false;
    }
  }
  return true;
}

} // namespace roq::process
