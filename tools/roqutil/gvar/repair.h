// Makes a damaged segment one that the store can go on with, as far as its block chain tells the truth.
#ifndef ROQ_TOOL_GVAR_REPAIR_H
#define ROQ_TOOL_GVAR_REPAIR_H

#include "gvar/inspect.h"

namespace roq::tool::gvar {

enum class Refusal : uint8_t {
  none,
  segment_size,  // no segment of the store
  pool_unknown,  // header size and pool length contradict each other, and the blocks agree with neither
  chain_broken,  // a block leads nowhere, so what lies behind it is unknown
  still_damaged, // what was repaired is not clean
};

struct Repair {
  Refusal refusal = Refusal::none;
  uint32_t refused_at = 0; // address
  uint32_t fields = 0;     // header fields, tags, links and counters that have another value now
  bool list_was_cut = false;
  uint32_t cut_at = 0; // address of the link that ends the list now
  uint32_t kept_variables = 0;
  uint32_t unlisted_blocks = 0, unlisted_bytes = 0; // that are left
  uint32_t released_blocks = 0, released_bytes = 0;
};

// Works on the bytes of a segment (see Memory). On a refusal they are unchanged.
Repair repair(uint8_t* bytes, uint32_t size, uint32_t base, const Surroundings& surroundings, bool release_unlisted);

} // namespace roq::tool::gvar

#endif
