// Byte layout of a pool: the handle, the blocks and their links, as every process that maps a store reads them.
#ifndef ROQ_GVAR_BGET_H
#define ROQ_GVAR_BGET_H

#include <cstddef>
#include <cstdint>
#include <roqutil/gvar.h>

namespace roq::gvar {

// The low 32 bits of an address inside the pool. Not a number to calculate with: PoolSpace widens it.
enum class Link : uint32_t {};

struct BlockHeader {
  int32_t prevfree; // size of the block in front of this one when that one is free, else 0
  int32_t bsize;    // positive: free; negative: allocated; kSentinelSize: end of the region
};

struct FreeBlock {
  BlockHeader bh;
  Link flink;
  Link blink;
};

static_assert(sizeof(BlockHeader) == 8);
static_assert(offsetof(BlockHeader, prevfree) == 0);
static_assert(offsetof(BlockHeader, bsize) == 4);
static_assert(sizeof(FreeBlock) == 16);
static_assert(offsetof(FreeBlock, flink) == 8);
static_assert(offsetof(FreeBlock, blink) == 12);

// The handle begins like a free block, so that it serves as the free list's own node.
static_assert(sizeof(RoqPoolHandle) == 28);
static_assert(offsetof(RoqPoolHandle, prevfree) == offsetof(FreeBlock, bh.prevfree));
static_assert(offsetof(RoqPoolHandle, bsize) == offsetof(FreeBlock, bh.bsize));
static_assert(offsetof(RoqPoolHandle, flink) == offsetof(FreeBlock, flink));
static_assert(offsetof(RoqPoolHandle, blink) == offsetof(FreeBlock, blink));
static_assert(offsetof(RoqPoolHandle, totalloc) == 16);
static_assert(offsetof(RoqPoolHandle, getcount) == 20);
static_assert(offsetof(RoqPoolHandle, relcount) == 24);

inline constexpr int32_t kSizeQuantum = 4;
inline constexpr int32_t kMinimumRequest = 8;
inline constexpr int32_t kHeaderSize = sizeof(BlockHeader);
inline constexpr int32_t kFreeHeaderSize = sizeof(FreeBlock);
inline constexpr int32_t kSentinelSize = INT32_MIN;
inline constexpr int kFreeWipe = 0x55;

} // namespace roq::gvar

#endif
