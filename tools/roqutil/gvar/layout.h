// The store's byte layout as its manual documents it (roqutil/gvar.h), read and written over plain memory.
#ifndef ROQ_TOOL_GVAR_LAYOUT_H
#define ROQ_TOOL_GVAR_LAYOUT_H

#include <cstdint>
#include <cstring>

namespace roq::tool::gvar {

inline constexpr uint32_t kModules = 7;
inline constexpr uint32_t kFirstAddress = 0x2EF00000;
inline constexpr uint32_t kSpacing = 0x100000;
inline constexpr uint32_t kSmallestSegment = 1024;
inline constexpr uint32_t kLargestSegment = 0x80000;
inline constexpr uint32_t kMagic = 0x00042047;
inline constexpr int kAllUnits = 10;

constexpr uint32_t address_of_module(uint32_t module) { return kFirstAddress + module * kSpacing; }

// Offsets in the segment header.
inline constexpr uint32_t kMagicAt = 0;
inline constexpr uint32_t kPoolLengthAt = 4;
inline constexpr uint32_t kSemaphoreAt = 8;
inline constexpr uint32_t kReservedAt = 12;
inline constexpr uint32_t kHeaderSizeAt = 16;
inline constexpr uint32_t kReserved2At = 18;
inline constexpr uint32_t kVariablesAt = 20;
inline constexpr uint32_t kHandleAt = 24;
inline constexpr uint32_t kTotallocAt = kHandleAt + 16;
inline constexpr uint32_t kGetcountAt = kHandleAt + 20;
inline constexpr uint32_t kRelcountAt = kHandleAt + 24;
inline constexpr uint32_t kFixedHeader = 52;

// Offsets in a block, and in the pool handle, which begins like a free block.
inline constexpr uint32_t kPrevfreeAt = 0;
inline constexpr uint32_t kBsizeAt = 4;
inline constexpr uint32_t kFlinkAt = 8;
inline constexpr uint32_t kBlinkAt = 12;
inline constexpr uint32_t kBlockHeader = 8;
inline constexpr uint32_t kFreeHeader = 16;
inline constexpr uint32_t kSmallestBlock = 16;
inline constexpr uint32_t kLargestSurplus = 16; // bytes by which a block may exceed what was asked for
inline constexpr uint32_t kQuantum = 4;
inline constexpr uint32_t kEndMark = 0x80000000;
inline constexpr uint8_t kWipe = 0x55;
inline constexpr uint32_t kSmallestPool = 24;

// Offsets in a variable's node.
inline constexpr uint32_t kIdAt = 0;
inline constexpr uint32_t kValueAt = 4;
inline constexpr uint32_t kLengthAt = 8;
inline constexpr uint32_t kNextAt = 12;
inline constexpr uint32_t kNodeSize = 16;

// The block that a request of so many bytes needs; 0 when no block can be that large.
constexpr uint32_t block_size_for(uint32_t bytes) {
  if (bytes > 0x7FFFFFF0) return 0;
  uint32_t usable = bytes < kSmallestBlock - kBlockHeader ? kSmallestBlock - kBlockHeader : bytes;
  return (usable + kQuantum - 1) / kQuantum * kQuantum + kBlockHeader;
}

// Whether the allocator may have answered a request of so many bytes with a block of this size.
constexpr bool block_suits(uint32_t block_size, uint32_t bytes) {
  uint32_t need = block_size_for(bytes);
  return need != 0 && block_size >= need && block_size - need <= kLargestSurplus;
}

// Fields need not be aligned: the pool of a module with an odd header size is not.
inline uint32_t read32(const uint8_t* bytes, uint32_t offset) {
  uint32_t value;
  memcpy(&value, bytes + offset, sizeof value);
  return value;
}

inline uint16_t read16(const uint8_t* bytes, uint32_t offset) {
  uint16_t value;
  memcpy(&value, bytes + offset, sizeof value);
  return value;
}

inline void write32(uint8_t* bytes, uint32_t offset, uint32_t value) { memcpy(bytes + offset, &value, sizeof value); }
inline void write16(uint8_t* bytes, uint32_t offset, uint16_t value) { memcpy(bytes + offset, &value, sizeof value); }

} // namespace roq::tool::gvar

#endif
