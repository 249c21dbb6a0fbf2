// Looks through the bytes of a segment and names everything that the store would not have left that way. Whatever the
// bytes are: every access stays inside them, and every loop ends.
#ifndef ROQ_TOOL_GVAR_INSPECT_H
#define ROQ_TOOL_GVAR_INSPECT_H

#include "buffers.h"
#include "gvar/layout.h"
#include <cstdint>

namespace roq::tool::gvar {

// A segment, or a copy of one: its bytes, and the address at which the store's links expect it.
struct Memory {
  const uint8_t* bytes;
  uint32_t size;
  uint32_t base;
};

// What the segment must agree with and cannot tell itself.
struct Surroundings {
  uint32_t module;
  int32_t semaphore_id; // of the module's semaphore set, -1 when there is none
};

enum class Invariant : uint8_t {
  segment_size,
  magic,
  pool_length,
  semaphore_id,
  reserved,
  header_size,
  reserved2,
  handle_prevfree,
  handle_bsize,
  block_size,
  end_mark,
  prevfree,
  adjacent_free,
  free_link,
  free_back_link,
  free_cycle,
  free_unlisted,
  totalloc,
  getcount,
  relcount,
  node_link,
  node_block,
  node_cycle,
  id_module,
  id_duplicate,
  value_link,
  value_is_node,
  value_shared,
  length_zero,
  length_too_long,
  length_too_short,
};

struct Finding {
  Invariant invariant;
  uint32_t address;  // of the field, or of the block where no single field is wrong
  uint32_t expected; // where the invariant asks for a definite value
  uint32_t actual;
};

// Legal states that somebody who looks for damage wants to know.
enum class NoteKind : uint8_t { locking_off, failed_releases, wipe };

struct Note {
  NoteKind kind;
  uint32_t address;
  uint32_t count;
};

enum class Use : uint8_t { free, node, value, unlisted };

struct Block {
  uint32_t address;
  uint32_t size;
  Use use;
  bool on_free_list;
  uint32_t variable; // index of the variable that uses it
};

struct Variable {
  uint32_t id;
  uint32_t node;  // address
  uint32_t value; // address
  uint32_t length;
  bool proved; // everything about it holds, so its value may be read
};

struct Report {
  uint32_t pool = 0;            // address of the first block
  uint32_t pool_end = 0;        // address of the end mark
  bool pool_is_proved = false;  // where it begins is told by more than one field
  bool chain_is_intact = false; // the blocks lead from the pool's start exactly to its end
  uint32_t chain_breaks_at = 0; // address of the first block that leads nowhere
  Array<Block> blocks;          // in address order, up to the break
  Array<Variable> variables;    // in list order, newest first, as far as the links hold
  bool list_is_intact = false;  // the variable list was walked to its end
  Array<Finding> findings;
  Array<Note> notes;
  uint32_t allocated_bytes = 0, allocated_blocks = 0;
  uint32_t free_bytes = 0, free_blocks = 0, largest_free = 0;
  uint32_t unlisted_bytes = 0, unlisted_blocks = 0; // allocated, and used by no listed variable
  uint32_t dropped_variables = 0;                   // unlisted blocks that look like a variable's node

  bool clean() const { return findings.empty(); }
  // The block that begins at the address; null when none does.
  const Block* block_at(uint32_t address) const;
  Block* block_at(uint32_t address) { return const_cast<Block*>(static_cast<const Report*>(this)->block_at(address)); }
};

Report inspect(const Memory& memory, const Surroundings& surroundings);

} // namespace roq::tool::gvar

#endif
