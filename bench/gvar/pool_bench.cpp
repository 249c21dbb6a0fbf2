// Random pairs of an allocation and a release with a fixed number of live blocks: the pool allocator against the
// plainest loop that does the same work, against the C library's heap and, when it is installed, against another
// allocator that lives in a region of its own.
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <roqutil/gvar.h>
#include <sys/mman.h>
#include <vector>

#if BENCH_HAVE_BOOST
#include <boost/interprocess/managed_external_buffer.hpp>
#endif

namespace {

constexpr int32_t kRegionSize = 0x80000 - 52;

// Below 2 GiB, like a segment of the store.
void* region() {
  static void* mapped =
      mmap(nullptr, kRegionSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_32BIT, -1, 0);
  return mapped;
}

class RoqutilPool {
public:
  RoqutilPool() : handle_(static_cast<RoqPoolHandle*>(region())) {
    bpool(handle_, handle_ + 1, kRegionSize - int32_t{sizeof *handle_});
  }
  void* allocate(int32_t size) { return bget(handle_, size); }
  void release(void* buffer) { brel(handle_, buffer); }

private:
  RoqPoolHandle* handle_;
};

// The same blocks, best fit and wipe, written down without a check and without statistics.
class PlainPool {
public:
  PlainPool() : list_(static_cast<Block*>(region())) {
    *list_ = {0, 0, address(list_), address(list_)};
    Block* first = list_ + 1;
    int32_t size = (kRegionSize - int32_t{sizeof *list_}) / 4 * 4 - 8;
    first->prevfree = 0;
    first->size = size;
    append(first);
    memset(first + 1, 0x55, static_cast<size_t>(size) - sizeof *first);
    Block* end = behind(first, size);
    end->prevfree = size;
    end->size = INT32_MIN;
  }

  void* allocate(int32_t size) {
    const int32_t need = ((size < 8 ? 8 : size) + 3) / 4 * 4 + 8;
    Block* best = nullptr;
    for (Block* block = at(list_->next); block != list_; block = at(block->next)) {
      if (block->size >= need && (best == nullptr || block->size < best->size)) best = block;
    }
    if (best == nullptr) return nullptr;
    Block* taken = best;
    if (best->size - need > 16) {
      best->size -= need;
      taken = behind(best, best->size);
      taken->prevfree = best->size;
      taken->size = need;
    } else {
      unlink(best);
    }
    behind(taken, taken->size)->prevfree = 0;
    taken->size = -taken->size;
    return &taken->next;
  }

  void release(void* buffer) {
    Block* block = behind(static_cast<Block*>(buffer), -8);
    block->size = -block->size;
    Block* next = behind(block, block->size);
    char* wipe_from = reinterpret_cast<char*>(block + 1);
    char* wipe_to = reinterpret_cast<char*>(next);
    if (block->prevfree != 0) {
      wipe_from = reinterpret_cast<char*>(block);
      Block* previous = behind(block, -block->prevfree);
      previous->size += block->size;
      block = previous;
    } else {
      append(block);
    }
    if (next->size > 0) {
      unlink(next);
      block->size += next->size;
      wipe_to = reinterpret_cast<char*>(next + 1);
    }
    if (wipe_from < wipe_to) memset(wipe_from, 0x55, static_cast<size_t>(wipe_to - wipe_from));
    behind(block, block->size)->prevfree = block->size;
  }

private:
  struct Block {
    int32_t prevfree, size;
    uint32_t next, previous;
  };

  static uint32_t address(const Block* block) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(block)); }
  static Block* at(uint32_t address) { return reinterpret_cast<Block*>(static_cast<uintptr_t>(address)); }
  static Block* behind(Block* block, int32_t bytes) {
    return reinterpret_cast<Block*>(reinterpret_cast<char*>(block) + bytes);
  }
  static void unlink(Block* block) {
    at(block->previous)->next = block->next;
    at(block->next)->previous = block->previous;
  }
  void append(Block* block) {
    block->next = address(list_);
    block->previous = list_->previous;
    at(list_->previous)->next = address(block);
    list_->previous = address(block);
  }

  Block* list_;
};

struct HeapAllocator {
  void* allocate(int32_t size) { return malloc(static_cast<size_t>(size)); }
  void release(void* buffer) { free(buffer); }
};

#if BENCH_HAVE_BOOST
class BoostAllocator {
public:
  BoostAllocator() : buffer_(boost::interprocess::create_only, region(), kRegionSize) {}
  void* allocate(int32_t size) { return buffer_.allocate(static_cast<size_t>(size)); }
  void release(void* buffer) { buffer_.deallocate(buffer); }

private:
  boost::interprocess::managed_external_buffer buffer_;
};
#endif

struct Turn {
  uint32_t slot;
  int32_t size;
};

std::vector<Turn> turns(uint32_t live_blocks) {
  std::vector<Turn> made(8192);
  std::mt19937 random(7);
  for (Turn& turn : made)
    turn = {static_cast<uint32_t>(random() % live_blocks), static_cast<int32_t>(random() % 200 + 1)};
  return made;
}

template <typename Allocator> void allocate_and_release(benchmark::State& state) {
  Allocator allocator;
  auto live_blocks = static_cast<uint32_t>(state.range(0));
  std::vector<Turn> order = turns(live_blocks);
  std::vector<void*> live(live_blocks);
  for (uint32_t slot = 0; slot < live_blocks; ++slot)
    live[slot] = allocator.allocate(order[slot].size);
  size_t at = 0;
  for (auto _ : state) {
    const Turn& turn = order[at];
    allocator.release(live[turn.slot]);
    live[turn.slot] = allocator.allocate(turn.size);
    benchmark::DoNotOptimize(live[turn.slot]);
    at = (at + 1) % order.size();
  }
  for (void* buffer : live)
    allocator.release(buffer);
}

#define COMPARE(allocator)                                                                                             \
  BENCHMARK_TEMPLATE(allocate_and_release, allocator)->Arg(10)->Arg(100)->Arg(1000)->ArgName("live")

COMPARE(PlainPool);
COMPARE(RoqutilPool);
COMPARE(HeapAllocator);
#if BENCH_HAVE_BOOST
COMPARE(BoostAllocator);
#endif

} // namespace

BENCHMARK_MAIN();
