// Tables of listening descriptors, in which 0 marks a free entry.
#ifndef ROQ_PROCESS_DESCRIPTOR_TABLE_H
#define ROQ_PROCESS_DESCRIPTOR_TABLE_H

#include <cstdint>
#include <span>

namespace roq::process {

// False when no entry is free.
[[nodiscard]] bool add_descriptor(std::span<uint32_t> table, uint32_t fd);

// Accepts and closes what is pending. False as soon as a connection cannot be accepted.
[[nodiscard]] bool drain_connections(std::span<const uint32_t> table);

} // namespace roq::process

#endif
