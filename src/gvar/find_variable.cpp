#include "gvar/variable.h"

namespace roq::gvar {
namespace {

// A module's list can be hundreds of nodes long, and most of them are not in the processor's cache. So a process
// remembers in `found` where it found which variable, and in `known` to which list that applies.
//
// Nodes never change their id or their successor, so the list is the same as long as its head is and no node was
// released. Nodes are released by deletions only, and each of those counts up the word behind the list head: the
// handle's `prevfree`, which stands where a release through the segment's base counts.
struct KnownList {
  uint32_t head = 0;
  uint32_t deletions = 0;
};

constinit KnownList known[kModuleLimit];
constexpr uint32_t kPlaces = 128;
constinit uint32_t found[kPlaces]; // addresses of nodes, each at the place that its id selects

uint32_t& place_of(uint32_t id) { return found[id % kPlaces]; }

bool is_known(const KnownList& list, const SegmentHeader* segment) {
  return __atomic_load_n(&list.head, __ATOMIC_ACQUIRE) == static_cast<uint32_t>(segment->variables) &&
         __atomic_load_n(&list.deletions, __ATOMIC_ACQUIRE) == static_cast<uint32_t>(segment->pool.prevfree);
}

// Forgets first and takes note of the new list then: another thread that finds the list known must not meet what was
// found in the old one.
void get_to_know(KnownList& list, const SegmentHeader* segment) {
  forget_found_variables();
  __atomic_store_n(&list.deletions, static_cast<uint32_t>(segment->pool.prevfree), __ATOMIC_RELEASE);
  __atomic_store_n(&list.head, static_cast<uint32_t>(segment->variables), __ATOMIC_RELEASE);
}

VariableNode* node_at(SegmentAddress address) { return from_segment_address<VariableNode>(address); }

VariableNode* walk_list(const SegmentHeader* segment, uint32_t id) {
  VariableNode* node = node_at(segment->variables);
  while (node != nullptr && node->id != id)
    node = node_at(node->next);
  return node;
}

// Null when this process does not know where the variable is. The place may hold a node of another module, which need
// not be attached any more.
VariableNode* find_known(const SegmentHeader* segment, uint32_t id) {
  uint32_t address = __atomic_load_n(&place_of(id), __ATOMIC_RELAXED);
  uint32_t offset = address - static_cast<uint32_t>(to_segment_address(segment));
  VariableNode* node = node_at(static_cast<SegmentAddress>(address));
  return offset < kSegmentSpacing && node->id == id ? node : nullptr;
}

} // namespace

VariableNode* find_variable(const SegmentHeader* segment, uint32_t id) {
  // The first of the list comes before whatever is remembered.
  VariableNode* newest = node_at(segment->variables);
  if (newest == nullptr || newest->id == id) return newest;
  // What stands at the other modules' addresses is changed by the caller, who does not tell.
  if (id >> 16 >= kModuleLimit) return walk_list(segment, id);
  KnownList& list = known[id >> 16];
  if (!is_known(list, segment)) {
    get_to_know(list, segment);
  } else if (VariableNode* node = find_known(segment, id)) {
    return node;
  }
  VariableNode* node = walk_list(segment, id);
  if (node != nullptr) {
    __atomic_store_n(&place_of(id), static_cast<uint32_t>(to_segment_address(node)), __ATOMIC_RELAXED);
  }
  return node;
}

void forget_found_variables() {
  for (uint32_t& place : found)
    __atomic_store_n(&place, 0U, __ATOMIC_RELAXED);
}

} // namespace roq::gvar
