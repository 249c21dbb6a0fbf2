// A small pool in shared memory that tests look into, damage, and use from children that die of the damage.
#ifndef ROQ_TESTS_UNIT_GVAR_TEST_POOL_H
#define ROQ_TESTS_UNIT_GVAR_TEST_POOL_H

#include "support/child.h"
#include "support/pool_model.h"
#include <array>
#include <climits>
#include <map>
#include <roqutil/gvar.h>
#include <vector>

namespace roq::test {

inline constexpr int32_t kRegionSize = 1024;

// Field name of the handle, or "@place" for a word of the region, and its new value.
using Changes = std::map<std::string, int32_t>;

class TestPool {
public:
  explicit TestPool(int32_t length = kRegionSize) { bpool(handle(), region(), length); }

  RoqPoolHandle* handle() { return &memory_->handle; }
  unsigned char* region() { return memory_->region; }

  int32_t& word(int32_t place) { return *reinterpret_cast<int32_t*>(&memory_->region[place]); }
  int32_t& prevfree(int32_t block) { return word(block); }
  int32_t& bsize(int32_t block) { return word(block + 4); }
  int32_t& flink(int32_t block) { return word(block + 8); }
  int32_t& blink(int32_t block) { return word(block + 12); }

  int32_t link(int32_t block) { return static_cast<int32_t>(low_half(region() + block)); }
  int32_t list() { return static_cast<int32_t>(low_half(handle())); }

  // The place of a buffer's block, -1 for none.
  int32_t block_of(const void* buffer) {
    return buffer == nullptr ? -1 : static_cast<int32_t>(static_cast<const unsigned char*>(buffer) - region()) - 8;
  }
  void* buffer_of(int32_t block) { return region() + block + 8; }

  int32_t get(int32_t size) { return block_of(bget(handle(), size)); }
  void release(int32_t block) { brel(handle(), buffer_of(block)); }

  // The free blocks in the list's order, forwards.
  std::vector<int32_t> free_list() {
    std::vector<int32_t> blocks;
    auto next = static_cast<int32_t>(handle()->flink);
    while (next != list()) {
      blocks.push_back(next - link(0));
      next = flink(blocks.back());
    }
    return blocks;
  }

  // What differs after the piece has run in a child, which it may not survive.
  template <typename Piece> Changes changes_in_child(Outcome& outcome, Piece&& piece) {
    std::vector<int32_t> before = words();
    outcome = run_in_child(std::forward<Piece>(piece));
    std::vector<int32_t> after = words();
    static const std::array<const char*, 8> names = {"prevfree", "bsize",    "flink",    "blink",
                                                     "totalloc", "getcount", "relcount", "gap"};
    Changes changes;
    for (size_t i = 0; i < after.size(); ++i) {
      if (before[i] == after[i]) continue;
      std::string name = i < names.size() ? names[i] : "@" + std::to_string((i - names.size()) * 4);
      changes[name] = after[i];
    }
    return changes;
  }

private:
  struct Memory {
    RoqPoolHandle handle;
    int32_t gap;
    alignas(8) unsigned char region[kRegionSize];
  };
  static_assert(sizeof(Memory) == 32 + kRegionSize);

  std::vector<int32_t> words() {
    std::vector<int32_t> copy(sizeof(Memory) / 4);
    memcpy(copy.data(), memory_.get(), sizeof(Memory));
    return copy;
  }

  Shared<Memory> memory_;
};

} // namespace roq::test

#endif
