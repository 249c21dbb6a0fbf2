#include "gvar/findings.h"

namespace roq::tool::gvar {
namespace {

enum class Form : uint8_t { decimal, hexadecimal };

struct Wording {
  Invariant invariant;
  const char* name;
  Form form;
  const char* sentence;
  const char* expected; // null: the value in the finding
};

constexpr Wording kWordings[] = {
    {Invariant::segment_size, "segment-size", Form::decimal, "the size of the segment is one the store creates",
     "1024 to 524288"},
    {Invariant::magic, "magic", Form::hexadecimal, "the segment begins with the store's magic number", nullptr},
    {Invariant::pool_length, "pool-length", Form::decimal, "the pool is as long as the segment less its header",
     nullptr},
    {Invariant::semaphore_id, "semaphore-id", Form::decimal, "the semaphore id is that of the module's set, or 0",
     nullptr},
    {Invariant::reserved, "reserved", Form::hexadecimal, "the reserved field is zero", nullptr},
    {Invariant::header_size, "header-size", Form::decimal, "the header ends where the pool begins", nullptr},
    {Invariant::reserved2, "reserved2", Form::hexadecimal, "the second reserved field is zero", nullptr},
    {Invariant::handle_prevfree, "handle-prevfree", Form::decimal, "the pool handle's prevfree is zero", nullptr},
    {Invariant::handle_bsize, "handle-bsize", Form::decimal, "the pool handle's bsize is zero", nullptr},
    {Invariant::block_size, "block-size", Form::decimal,
     "the size of a block leads to the next block or to the end mark",
     "a multiple of 4, 16 or more, that stays in the pool"},
    {Invariant::end_mark, "end-mark", Form::hexadecimal, "the pool ends with the end mark", nullptr},
    {Invariant::prevfree, "prevfree", Form::decimal,
     "prevfree is the size of the block in front when it is free, else 0", nullptr},
    {Invariant::adjacent_free, "adjacent-free", Form::decimal, "two free blocks never touch", "an allocated block"},
    {Invariant::free_link, "free-link", Form::hexadecimal,
     "a link of the free list leads to a free block or to the handle", "the address of a free block"},
    {Invariant::free_back_link, "free-back-link", Form::hexadecimal, "the free list's links agree in both directions",
     nullptr},
    {Invariant::free_cycle, "free-cycle", Form::hexadecimal, "every free block is on the list once",
     "a block that was not met before"},
    {Invariant::free_unlisted, "free-unlisted", Form::decimal, "every free block is on the list once",
     "a block on the list"},
    {Invariant::totalloc, "totalloc", Form::decimal, "totalloc is the size of all allocated blocks", nullptr},
    {Invariant::getcount, "getcount", Form::decimal, "getcount is the number of allocated blocks at least", nullptr},
    {Invariant::relcount, "relcount", Form::decimal, "getcount less relcount is the number of allocated blocks",
     nullptr},
    {Invariant::node_link, "node-link", Form::hexadecimal, "a link of the variable list leads to an allocated block",
     "the address of an allocated block"},
    {Invariant::node_block, "node-block", Form::decimal, "a variable's node lies in a block for 16 bytes",
     "a block of 24 to 40 bytes"},
    {Invariant::node_cycle, "node-cycle", Form::hexadecimal, "the variable list ends",
     "a node that was not met before"},
    {Invariant::id_module, "id-module", Form::hexadecimal, "the high half of a variable's id is its module", nullptr},
    {Invariant::id_duplicate, "id-duplicate", Form::hexadecimal, "the ids of a list are unique",
     "an id that was not met before"},
    {Invariant::value_link, "value-link", Form::hexadecimal, "a variable's value begins an allocated block",
     "the address of an allocated block"},
    {Invariant::value_is_node, "value-is-node", Form::hexadecimal, "a variable's value is no node",
     "a block of its own"},
    {Invariant::value_shared, "value-shared", Form::hexadecimal, "a value belongs to one variable",
     "a block of its own"},
    {Invariant::length_zero, "length-zero", Form::decimal, "a variable's length is not 0", "1 or more"},
    {Invariant::length_too_long, "length-too-long", Form::decimal, "a value fits into its block", "at most"},
    {Invariant::length_too_short, "length-too-short", Form::decimal,
     "a block exceeds what was asked for by 16 bytes at most", "a length for the usable bytes"},
};

const Wording& wording_of(Invariant invariant) { return kWordings[static_cast<size_t>(invariant)]; }

constexpr bool wordings_are_in_order() {
  for (size_t index = 0; index < sizeof kWordings / sizeof *kWordings; ++index)
    if (static_cast<size_t>(kWordings[index].invariant) != index) return false;
  return sizeof kWordings / sizeof *kWordings == static_cast<size_t>(Invariant::length_too_short) + 1;
}
static_assert(wordings_are_in_order());

void append_value(Text& out, const Finding& finding, uint32_t value) {
  // The end mark's field and the odd sizes are signed in the layout; a sign says "allocated".
  if (wording_of(finding.invariant).form == Form::hexadecimal)
    out.format("0x%08x", value);
  else if (finding.invariant == Invariant::length_too_long)
    out.format("%u", value);
  else
    out.format("%d", static_cast<int32_t>(value));
}

} // namespace

const char* name_of(Invariant invariant) { return wording_of(invariant).name; }
const char* sentence_of(Invariant invariant) { return wording_of(invariant).sentence; }

void append_expected(Text& out, const Finding& finding) {
  if (finding.invariant == Invariant::id_module) {
    out.format("0x%04x....", finding.expected);
    return;
  }
  const char* expected = wording_of(finding.invariant).expected;
  if (expected != nullptr) out.append(expected);
  if (finding.invariant == Invariant::length_too_long || finding.invariant == Invariant::length_too_short)
    out.format(" %u", finding.expected);
  else if (expected == nullptr)
    append_value(out, finding, finding.expected);
}

void append_actual(Text& out, const Finding& finding) { append_value(out, finding, finding.actual); }

const char* name_of(NoteKind kind) {
  switch (kind) {
  case NoteKind::locking_off:
    return "locking-off";
  case NoteKind::failed_releases:
    return "failed-releases";
  case NoteKind::wipe:
    return "wipe";
  }
  return "";
}

void append_sentence(Text& out, const Note& note) {
  switch (note.kind) {
  case NoteKind::locking_off:
    out.append("the header's semaphore id is 0: no process takes a lock");
    return;
  case NoteKind::failed_releases:
    out.format("%u more releases were counted than succeeded: each ended its process, or died in its midst",
               note.count);
    return;
  case NoteKind::wipe:
    out.format("%u free blocks were written to after their release, first the one at 0x%08x", note.count, note.address);
    return;
  }
}

} // namespace roq::tool::gvar
