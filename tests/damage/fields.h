// The header, link and size fields of a segment, and what a change of each must lead to. They are listed from a sound
// segment with the library's own records, independently of the inspector that is tested with them.
#ifndef ROQ_TESTS_DAMAGE_FIELDS_H
#define ROQ_TESTS_DAMAGE_FIELDS_H

#include "support/store_segment.h"
#include <vector>

namespace roq::test {

// What a change of one field means:
enum class Meaning {
  damage,    // never legal
  semaphore, // 0 is legal: locking is off
  counter,   // a counter of the past: some values are legal, all are noticed
  list,      // legal when it leads further down the list or ends it: variables are dropped, as a deletion drops them
  value,     // legal when it leads to a block of the module's own whose size suits the length
  length,    // legal when the block's size suits it
};

struct Field {
  uint32_t offset;
  uint32_t width; // bytes
  Meaning meaning;
  uint32_t variable = 0; // place in the list of the variable that the field belongs to
};

// The fields of a segment and its state, as far as the meaning of a change depends on it.
struct Anatomy {
  std::vector<Field> fields;
  std::vector<uint32_t> nodes;     // addresses, in list order
  std::vector<uint32_t> addresses; // of blocks and buffers: where a damaged link may lead by bad luck
  struct Buffer {
    uint32_t address;
    uint32_t block_size;
  };
  std::vector<Buffer> buffers; // of all allocated blocks
  std::vector<Buffer> own;     // of those that no variable uses
};

Anatomy anatomy_of(const StoreSegment& segment);

// Whether the allocator may have answered a request of `length` bytes with such a block.
bool block_may_be_for(uint32_t block_size, uint32_t length);

// Whether a segment with this one field changed is still one that the store may have left.
bool change_is_legal(const Anatomy& anatomy, const uint8_t* sound, uint32_t base, const Field& field, uint32_t value);

} // namespace roq::test

#endif
