// Why a lookup did not take a reply.
#ifndef ROQ_TOOL_DNS_REPLY_H
#define ROQ_TOOL_DNS_REPLY_H

#include "buffers.h"
#include <cstdint>
#include <span>

namespace roq::tool {

// What is wrong with the reply; empty when nothing is, and it has an address record of the type asked for.
Text complaint(std::span<const uint8_t> query, std::span<const uint8_t> reply);

} // namespace roq::tool

#endif
