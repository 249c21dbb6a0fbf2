#include "damage/fields.h"

#include <algorithm>

namespace roq::test {
namespace {

uint32_t word(const uint8_t* bytes, uint32_t offset) {
  uint32_t value;
  memcpy(&value, bytes + offset, sizeof value);
  return value;
}

uint32_t header_field(size_t offset) { return static_cast<uint32_t>(offset); }

void list_header(Anatomy& anatomy) {
  using gvar::SegmentHeader;
  for (size_t offset :
       {offsetof(SegmentHeader, magic), offsetof(SegmentHeader, pool_length), offsetof(SegmentHeader, reserved)})
    anatomy.fields.push_back({header_field(offset), 4, Meaning::damage});
  for (size_t offset : {offsetof(SegmentHeader, header_size), offsetof(SegmentHeader, reserved2)})
    anatomy.fields.push_back({header_field(offset), 2, Meaning::damage});
  anatomy.fields.push_back({header_field(offsetof(SegmentHeader, semaphore_id)), 4, Meaning::semaphore});
  anatomy.fields.push_back({header_field(offsetof(SegmentHeader, variables)), 4, Meaning::list, 0});
  size_t handle = offsetof(SegmentHeader, pool);
  for (size_t offset :
       {offsetof(RoqPoolHandle, prevfree), offsetof(RoqPoolHandle, bsize), offsetof(RoqPoolHandle, flink),
        offsetof(RoqPoolHandle, blink), offsetof(RoqPoolHandle, totalloc)})
    anatomy.fields.push_back({header_field(handle + offset), 4, Meaning::damage});
  for (size_t offset : {offsetof(RoqPoolHandle, getcount), offsetof(RoqPoolHandle, relcount)})
    anatomy.fields.push_back({header_field(handle + offset), 4, Meaning::counter});
}

void list_blocks(Anatomy& anatomy, const StoreSegment& segment) {
  const uint8_t* bytes = segment.bytes();
  uint32_t at = segment.size() - segment.header()->pool_length;
  for (;;) {
    anatomy.fields.push_back({at, 4, Meaning::damage});
    anatomy.fields.push_back({at + 4, 4, Meaning::damage});
    anatomy.addresses.push_back(segment.base() + at);
    auto size = static_cast<int32_t>(word(bytes, at + 4));
    if (size == INT32_MIN) return;
    anatomy.addresses.push_back(segment.base() + at + 8);
    if (size > 0) {
      anatomy.fields.push_back({at + 8, 4, Meaning::damage});
      anatomy.fields.push_back({at + 12, 4, Meaning::damage});
    } else {
      anatomy.buffers.push_back({segment.base() + at + 8, static_cast<uint32_t>(-size)});
    }
    at += static_cast<uint32_t>(size > 0 ? size : -size);
  }
}

void list_variables(Anatomy& anatomy, const StoreSegment& segment) {
  auto variable = uint32_t{0};
  auto* node = gvar::from_segment_address<gvar::VariableNode>(segment.header()->variables);
  std::vector<uint32_t> used;
  for (; node != nullptr; node = gvar::from_segment_address<gvar::VariableNode>(node->next), ++variable) {
    uint32_t address = static_cast<uint32_t>(gvar::to_segment_address(node));
    uint32_t at = address - segment.base();
    anatomy.nodes.push_back(address);
    used.push_back(address);
    used.push_back(static_cast<uint32_t>(node->value));
    anatomy.fields.push_back({at + header_field(offsetof(gvar::VariableNode, value)), 4, Meaning::value, variable});
    anatomy.fields.push_back({at + header_field(offsetof(gvar::VariableNode, length)), 4, Meaning::length, variable});
    anatomy.fields.push_back({at + header_field(offsetof(gvar::VariableNode, next)), 4, Meaning::list, variable + 1});
  }
  for (const Anatomy::Buffer& buffer : anatomy.buffers)
    if (std::find(used.begin(), used.end(), buffer.address) == used.end()) anatomy.own.push_back(buffer);
}

const Anatomy::Buffer* find_buffer(const std::vector<Anatomy::Buffer>& buffers, uint32_t address) {
  for (const Anatomy::Buffer& buffer : buffers)
    if (buffer.address == address) return &buffer;
  return nullptr;
}

} // namespace

Anatomy anatomy_of(const StoreSegment& segment) {
  Anatomy anatomy;
  list_header(anatomy);
  list_blocks(anatomy, segment);
  list_variables(anatomy, segment);
  return anatomy;
}

bool block_may_be_for(uint32_t block_size, uint32_t length) {
  if (length == 0 || length > block_size) return false;
  uint32_t need = (std::max(length, 8U) + 3) / 4 * 4 + 8;
  return block_size >= need && block_size <= need + 16;
}

bool change_is_legal(const Anatomy& anatomy, const uint8_t* sound, uint32_t base, const Field& field, uint32_t value) {
  switch (field.meaning) {
  case Meaning::damage:
    return false;
  case Meaning::semaphore:
    return value == 0;
  case Meaning::counter:
    return true;
  case Meaning::list: {
    std::span<const uint32_t> nodes = anatomy.nodes;
    std::span<const uint32_t> further = nodes.subspan(std::min<size_t>(field.variable, nodes.size()));
    return value == 0 || std::find(further.begin(), further.end(), value) != further.end();
  }
  case Meaning::value: {
    uint32_t length = word(sound, anatomy.nodes[field.variable] - base + offsetof(gvar::VariableNode, length));
    const Anatomy::Buffer* own = find_buffer(anatomy.own, value);
    return own != nullptr && block_may_be_for(own->block_size, length);
  }
  case Meaning::length: {
    uint32_t address = word(sound, anatomy.nodes[field.variable] - base + offsetof(gvar::VariableNode, value));
    return block_may_be_for(find_buffer(anatomy.buffers, address)->block_size, value);
  }
  }
  return false;
}

} // namespace roq::test
