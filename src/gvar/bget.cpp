// The checks hold in every build.
#undef NDEBUG
#include <cassert>

#include "gvar/bget.h"

#include "gvar/pool.h"
#include <cstdio>
#include <cstring>
#include <limits>
#include <unistd.h>

namespace roq::gvar {
namespace {

// What an assertion reports is put together only when it fails: passing checks cost one comparison.
// The C libraries do not agree on the sign of a line number.
[[noreturn, gnu::cold, gnu::noinline]] void stop(const char* function, uint16_t line, const char* text) {
  __assert_fail(text, "bget.c", line, function);
}

inline void require(bool holds, const char* function, uint16_t line, const char* text) {
  if (!holds) stop(function, line, text);
}

constexpr const char* kLastLinksBack = "pstBH->freelist.ql.blink->ql.flink == &pstBH->freelist";
constexpr const char* kFirstLinksBack = "pstBH->freelist.ql.flink->ql.blink == &pstBH->freelist";

// The counters lie in shared memory and may hold anything, so they wrap instead of overflowing.
inline int32_t wrapping_add(int32_t left, int32_t right) {
  return static_cast<int32_t>(static_cast<uint32_t>(left) + static_cast<uint32_t>(right));
}

// Also for the most negative size, which the end sentinel holds.
inline int32_t wrapping_negate(int32_t value) { return static_cast<int32_t>(0U - static_cast<uint32_t>(value)); }

inline uintptr_t address_of(const void* object) { return reinterpret_cast<uintptr_t>(object); }

inline FreeBlock* block_at(uintptr_t address) { return reinterpret_cast<FreeBlock*>(address); }

inline FreeBlock* block_behind(const FreeBlock* block, int32_t bytes) {
  return block_at(address_of(block) + static_cast<uintptr_t>(static_cast<intptr_t>(bytes)));
}

inline FreeBlock* block_before(const FreeBlock* block, int32_t bytes) {
  return block_at(address_of(block) - static_cast<uintptr_t>(static_cast<intptr_t>(bytes)));
}

// An allocated block holds its size negated.
inline FreeBlock* block_after_allocated(const FreeBlock* block) { return block_before(block, block->bh.bsize); }

inline FreeBlock* block_of(void* buffer) { return block_before(static_cast<FreeBlock*>(buffer), kHeaderSize); }

inline void* buffer_of(FreeBlock* block) { return block_behind(block, kHeaderSize); }

inline FreeBlock* list_node(RoqPoolHandle* handle) { return reinterpret_cast<FreeBlock*>(handle); }

inline Link link_to(const void* object) { return static_cast<Link>(static_cast<uint32_t>(address_of(object))); }

// The full address of a link: the handle's own address plus the signed distance of the low 32 bits.
inline FreeBlock* follow(const RoqPoolHandle* handle, Link link) {
  uintptr_t base = address_of(handle);
  auto distance = static_cast<int32_t>(static_cast<uint32_t>(link) - static_cast<uint32_t>(base));
  return block_at(base + static_cast<uintptr_t>(static_cast<intptr_t>(distance)));
}

// Below 2 GiB, where every store segment lies, a link is the plain address: all that is in reach lies below 4 GiB.
inline bool links_are_addresses(const RoqPoolHandle* handle) {
  return sizeof(uintptr_t) == sizeof(uint32_t) || address_of(handle) < 0x80000000U;
}

inline FreeBlock* follow_plain(const RoqPoolHandle*, Link link) { return block_at(static_cast<uint32_t>(link)); }

bool in_reach(const RoqPoolHandle* handle, const void* region, int64_t length) {
  if constexpr (sizeof(uintptr_t) == sizeof(uint32_t)) return true;
  auto first = static_cast<int64_t>(address_of(region) - address_of(handle));
  int64_t last = first + length - 1;
  return first >= std::numeric_limits<int32_t>::min() && last <= std::numeric_limits<int32_t>::max();
}

void append_to_list(RoqPoolHandle* handle, FreeBlock* block, const char* function, uint16_t line) {
  FreeBlock* list = list_node(handle);
  Link list_link = link_to(list);
  require(follow(handle, list->blink)->flink == list_link, function, line, kLastLinksBack);
  require(follow(handle, list->flink)->blink == list_link, function, static_cast<uint16_t>(line + 1), kFirstLinksBack);
  block->flink = list_link;
  block->blink = list->blink;
  follow(handle, list->blink)->flink = link_to(block);
  list->blink = link_to(block);
}

void unlink_from_list(RoqPoolHandle* handle, FreeBlock* block) {
  follow(handle, block->blink)->flink = block->flink;
  follow(handle, block->flink)->blink = block->blink;
}

// Free space is wiped from the end of a block's free header to the end of the block.
void wipe(uintptr_t from, uintptr_t to) {
#ifndef __OPTIMIZE_SIZE__
  // Most values are small: two fills of a fixed size that overlap take less time than a call.
  constexpr size_t kPiece = 32;
  if (from + kPiece <= to && to <= from + 2 * kPiece) {
    memset(reinterpret_cast<void*>(from), kFreeWipe, kPiece);
    memset(reinterpret_cast<void*>(to - kPiece), kFreeWipe, kPiece);
    return;
  }
#endif
  if (from < to) memset(reinterpret_cast<void*>(from), kFreeWipe, to - from);
}

uintptr_t body_of(const FreeBlock* block) { return address_of(block) + kFreeHeaderSize; }

// Bytes that the caller may use of an allocated block.
inline int32_t usable_size(const FreeBlock* block) {
  return wrapping_add(wrapping_negate(block->bh.bsize), -kHeaderSize);
}

// The block size that holds `size` bytes. Where rounding passes what a size field can tell, a size that no block has:
// block sizes are multiples of the quantum.
int32_t needed_block_size(int32_t size) {
  if (size < kMinimumRequest) return kMinimumRequest + kHeaderSize;
  constexpr int32_t largest = std::numeric_limits<int32_t>::max();
  if (size > largest - kHeaderSize - (kSizeQuantum - 1)) return largest;
  return ((size + (kSizeQuantum - 1)) & -kSizeQuantum) + kHeaderSize;
}

template <FreeBlock* (*follow_link)(const RoqPoolHandle*, Link)>
FreeBlock* walk_for_best_fit(RoqPoolHandle* handle, int32_t need) {
  FreeBlock* const list = list_node(handle);
  FreeBlock* best = nullptr;
  // Above every positive size; a block of the same size further down the list never replaces an earlier one.
  uint32_t best_size = 0x80000000U;
  for (FreeBlock* block = follow_link(handle, list->flink); block != list; block = follow_link(handle, block->flink)) {
    int32_t size = block->bh.bsize;
    if (size >= need && static_cast<uint32_t>(size) < best_size) {
      best = block;
      best_size = static_cast<uint32_t>(size);
    }
  }
  return best;
}

FreeBlock* find_best_fit(RoqPoolHandle* handle, int32_t need) {
  return links_are_addresses(handle) ? walk_for_best_fit<follow_plain>(handle, need)
                                     : walk_for_best_fit<follow>(handle, need);
}

// Cuts the allocated piece from the high end; what remains of the free block keeps its place on the list.
FreeBlock* split(RoqPoolHandle* handle, FreeBlock* free_block, int32_t need) {
  FreeBlock* next = block_behind(free_block, free_block->bh.bsize);
  require(next->bh.prevfree == free_block->bh.bsize, "bget", 606, "bn->prevfree == b->bh.bsize");
  free_block->bh.bsize -= need;
  FreeBlock* piece = block_behind(free_block, free_block->bh.bsize);
  piece->bh.prevfree = free_block->bh.bsize;
  piece->bh.bsize = -need;
  next->bh.prevfree = 0;
  handle->totalloc = wrapping_add(handle->totalloc, need);
  return piece;
}

FreeBlock* take_whole(RoqPoolHandle* handle, FreeBlock* block) {
  FreeBlock* next = block_behind(block, block->bh.bsize);
  Link link = link_to(block);
  require(next->bh.prevfree == block->bh.bsize, "bget", 626, "ba->prevfree == b->bh.bsize");
  require(follow(handle, block->blink)->flink == link, "bget", 631, "b->ql.blink->ql.flink == b");
  require(follow(handle, block->flink)->blink == link, "bget", 632, "b->ql.flink->ql.blink == b");
  unlink_from_list(handle, block);
  handle->totalloc = wrapping_add(handle->totalloc, block->bh.bsize);
  block->bh.bsize = -block->bh.bsize;
  next->bh.prevfree = 0;
  return block;
}

FreeBlock* merge_with_previous(FreeBlock* block) {
  int32_t previous_size = block->bh.prevfree;
  FreeBlock* previous = block_before(block, previous_size);
  require(previous->bh.bsize == previous_size, "brel", 856,
          "((struct bhead *) ((char *) b - b->bh.prevfree))->bsize == b->bh.prevfree");
  previous->bh.bsize = wrapping_add(previous->bh.bsize, wrapping_negate(block->bh.bsize));
  return previous;
}

void merge_with_next(RoqPoolHandle* handle, FreeBlock* block, FreeBlock* next) {
  int32_t next_size = next->bh.bsize;
  Link link = link_to(next);
  require(block_behind(next, next_size)->bh.prevfree == next_size, "brel", 884,
          "((struct bhead *) ((char *) bn + bn->bh.bsize))->prevfree == bn->bh.bsize");
  require(follow(handle, next->blink)->flink == link, "brel", 885, "bn->ql.blink->ql.flink == bn");
  require(follow(handle, next->flink)->blink == link, "brel", 886, "bn->ql.flink->ql.blink == bn");
  unlink_from_list(handle, next);
  block->bh.bsize = wrapping_add(block->bh.bsize, next_size);
}

} // namespace

void pool_set_up(RoqPoolHandle* handle, void* region, int32_t length) {
  require(handle != nullptr, "bpool", 966, "pstBH");
  FreeBlock* list = list_node(handle);
  *handle = RoqPoolHandle{};
  list->flink = list->blink = link_to(list);

  int32_t rounded = length & -kSizeQuantum;
  require(rounded >= kFreeHeaderSize + kHeaderSize && in_reach(handle, region, rounded), "bpool", 1000,
          "len - sizeof(struct bhead) <= -((bufsize) ((bufsize) (-(((1L << (sizeof(bufsize) * 8 - 2)) - 1) * 2) - 2)) "
          "+ 1)");
  auto* block = static_cast<FreeBlock*>(region);
  block->bh = {.prevfree = 0, .bsize = rounded - kHeaderSize};
  append_to_list(handle, block, "bpool", 1010);
  FreeBlock* sentinel = block_behind(block, block->bh.bsize);
  wipe(body_of(block), address_of(sentinel));
  sentinel->bh = {.prevfree = block->bh.bsize, .bsize = kSentinelSize};
}

void* pool_allocate(RoqPoolHandle* handle, int32_t size) {
  require(handle != nullptr, "bget", 546, "pstBH");
  require(size > 0, "bget", 547, "size > 0");
  int32_t need = needed_block_size(size);
  FreeBlock* best = find_best_fit(handle, need);
  if (best == nullptr) {
    report_exhausted_pool();
    return nullptr;
  }
  bool remainder_is_a_block = best->bh.bsize - need > kFreeHeaderSize;
  FreeBlock* taken = remainder_is_a_block ? split(handle, best, need) : take_whole(handle, best);
  handle->getcount = wrapping_add(handle->getcount, 1);
  return buffer_of(taken);
}

void pool_release(RoqPoolHandle* handle, void* buffer) {
  require(handle != nullptr, "brel", 796, "pstBH");
  handle->relcount = wrapping_add(handle->relcount, 1);
  require(buffer != nullptr, "brel", 802, "buf != ((void *)0)");

  FreeBlock* block = block_of(buffer);
  require(block->bh.bsize < 0, "brel", 831, "b->bh.bsize < 0");
  FreeBlock* next = block_after_allocated(block);
  require(next->bh.prevfree == 0, "brel", 836, "((struct bhead *) ((char *) b - b->bh.bsize))->prevfree == 0");
  handle->totalloc = wrapping_add(handle->totalloc, block->bh.bsize);
  require(handle->totalloc >= 0, "brel", 840, "pstBH->totalloc >= 0");

  // The bodies of the free neighbours are wiped already; what is left is the block itself and the headers that merging
  // turns into free space.
  uintptr_t wipe_from = body_of(block);
  uintptr_t wipe_to = address_of(next);
  if (block->bh.prevfree != 0) {
    wipe_from = address_of(block);
    block = merge_with_previous(block);
  } else {
    append_to_list(handle, block, "brel", 864);
    block->bh.bsize = wrapping_negate(block->bh.bsize);
  }
  if (next->bh.bsize > 0) {
    merge_with_next(handle, block, next);
    wipe_to = body_of(next);
    next = block_behind(block, block->bh.bsize);
  }
  wipe(wipe_from, wipe_to);
  require(next->bh.bsize < 0, "brel", 904, "bn->bh.bsize < 0");
  next->bh.prevfree = block->bh.bsize;
}

void report_exhausted_pool() { printf("bget report: memory expired, pid:%d\n", getpid()); }

} // namespace roq::gvar

using namespace roq::gvar;

extern "C" void bpool(RoqPoolHandle* pstBH, void* pvRegion, int32_t lLen) { pool_set_up(pstBH, pvRegion, lLen); }

extern "C" void* bget(RoqPoolHandle* pstBH, int32_t lSize) { return pool_allocate(pstBH, lSize); }

extern "C" void* bgetz(RoqPoolHandle* pstBH, int32_t lSize) {
  void* buffer = pool_allocate(pstBH, lSize);
  if (buffer == nullptr) return nullptr;
  const FreeBlock* block = block_of(buffer);
  // A header of size 0 would belong to a directly acquired block, whose total size stands in front of it.
  int32_t usable = block->bh.bsize != 0
                       ? usable_size(block)
                       : static_cast<const int32_t*>(buffer)[-3] - static_cast<int32_t>(sizeof(int32_t) * 3);
  // Compared with the handle's address, not with the request: meant, and fatal for every handle below 2 GiB.
  auto size = static_cast<int32_t>(static_cast<uint32_t>(address_of(pstBH)));
  require(usable >= size, "bgetz", 740, "rsize >= size");
  memset(buffer, 0, static_cast<size_t>(usable));
  return buffer;
}

extern "C" void* bgetr(RoqPoolHandle* pstBH, void* pvBuf, int32_t lSize) {
  require(pstBH != nullptr, "bgetr", 761, "pstBH");
  // The size stands where the handle belongs: meant. What follows it is no size that anybody chose; it is positive,
  // so that the pool at that address is what decides.
  auto* named_by_size = reinterpret_cast<RoqPoolHandle*>(static_cast<uintptr_t>(static_cast<uint32_t>(lSize)));
  void* buffer = pool_allocate(named_by_size, lSize > 0 ? lSize : kMinimumRequest);
  if (buffer == nullptr || pvBuf == nullptr) return buffer;
  int32_t old_size = usable_size(block_of(pvBuf));
  require(old_size > 0, "bgetr", 781, "osize > 0");
  memcpy(buffer, pvBuf, static_cast<size_t>(lSize < old_size ? lSize : old_size));
  pool_release(pstBH, pvBuf);
  return buffer;
}

extern "C" void brel(RoqPoolHandle* pstBH, void* pvBuf) { pool_release(pstBH, pvBuf); }

extern "C" void bstats(RoqPoolHandle* pstBH, int32_t* plCurAlloc, int32_t* plTotFree, int32_t* plMaxFree,
                       int32_t* plGets, int32_t* plRels) {
  require(pstBH != nullptr, "bstats", 1048, "pstBH");
  *plGets = pstBH->getcount;
  *plRels = pstBH->relcount;
  *plCurAlloc = pstBH->totalloc;
  *plTotFree = 0;
  *plMaxFree = -1;
  FreeBlock* list = list_node(pstBH);
  for (FreeBlock* block = follow(pstBH, list->flink); block != list; block = follow(pstBH, block->flink)) {
    require(block->bh.bsize > 0, "bstats", 1057, "b->bh.bsize > 0");
    *plTotFree = wrapping_add(*plTotFree, block->bh.bsize);
    if (block->bh.bsize > *plMaxFree) *plMaxFree = block->bh.bsize;
  }
}
