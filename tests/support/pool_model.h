// What a pool must look like, byte by byte, after any sequence of allocations and releases. Keeps its own books, as
// plainly as possible, and shares nothing with the allocator.
#ifndef ROQ_TESTS_SUPPORT_POOL_MODEL_H
#define ROQ_TESTS_SUPPORT_POOL_MODEL_H

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <roqutil/gvar.h>
#include <string>
#include <vector>

namespace roq::test {

inline uint32_t low_half(const void* address) { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address)); }

class PoolModel {
public:
  // The model of a pool that was just set up on a region of `length` bytes, a multiple of 4.
  PoolModel(const RoqPoolHandle* handle, const void* region, int32_t length)
      : handle_(low_half(handle)), region_(low_half(region)), image_(static_cast<size_t>(length), 0x55) {
    blocks_[0] = {length - 8, true};
    free_list_ = {0};
    render();
  }

  // The place of the new buffer in the region.
  std::optional<int32_t> get(int32_t size) {
    int64_t need = std::max<int64_t>((int64_t{size} + 3) / 4 * 4, 8) + 8;
    int32_t best = -1;
    for (int32_t start : free_list_) {
      if (blocks_[start].size >= need && (best < 0 || blocks_[start].size < blocks_[best].size)) best = start;
    }
    if (best < 0) return std::nullopt;
    int32_t taken = best;
    if (blocks_[best].size - need > 16) {
      blocks_[best].size -= static_cast<int32_t>(need);
      taken = best + blocks_[best].size;
      blocks_[taken] = {static_cast<int32_t>(need), false};
    } else {
      blocks_[best].is_free = false;
      std::erase(free_list_, best);
    }
    allocated_ += blocks_[taken].size;
    ++gets_;
    render();
    return taken + 8;
  }

  void release(int32_t buffer) {
    ++releases_;
    auto block = blocks_.find(buffer - 8);
    allocated_ -= block->second.size;
    block->second.is_free = true;
    if (block != blocks_.begin() && std::prev(block)->second.is_free) {
      auto previous = std::prev(block);
      previous->second.size += block->second.size;
      blocks_.erase(block);
      block = previous;
    } else {
      free_list_.push_back(block->first);
    }
    auto next = std::next(block);
    if (next != blocks_.end() && next->second.is_free) {
      block->second.size += next->second.size;
      std::erase(free_list_, next->first);
      blocks_.erase(next);
    }
    memset(&image_[static_cast<size_t>(block->first) + 16], 0x55, static_cast<size_t>(block->second.size) - 16);
    render();
  }

  // The caller fills a buffer.
  void fill(int32_t buffer, int value, int32_t count) {
    memset(&image_[static_cast<size_t>(buffer)], value, static_cast<size_t>(count));
  }

  int32_t usable(int32_t buffer) const { return blocks_.at(buffer - 8).size - 8; }
  int32_t allocated() const { return allocated_; }
  int32_t gets() const { return gets_; }
  int32_t releases() const { return releases_; }

  int32_t total_free() const {
    int32_t total = 0;
    for (int32_t start : free_list_)
      total += blocks_.at(start).size;
    return total;
  }

  int32_t largest_free() const {
    int32_t largest = -1;
    for (int32_t start : free_list_)
      largest = std::max(largest, blocks_.at(start).size);
    return largest;
  }

  // Empty when every byte is as it must be, else the first difference.
  std::string difference(const RoqPoolHandle& handle, const void* region) const {
    RoqPoolHandle expected{0, 0, handle_, handle_, allocated_, gets_, releases_};
    if (!free_list_.empty()) {
      expected.flink = link(free_list_.front());
      expected.blink = link(free_list_.back());
    }
    if (memcmp(&handle, &expected, sizeof handle) != 0) return "the handle differs";
    const auto* bytes = static_cast<const unsigned char*>(region);
    auto [actual, modelled] = std::mismatch(bytes, bytes + image_.size(), image_.begin());
    if (modelled == image_.end()) return "";
    return "byte " + std::to_string(actual - bytes) + " is " + std::to_string(*actual) + " instead of " +
           std::to_string(*modelled);
  }

private:
  struct Block {
    int32_t size;
    bool is_free;
  };

  uint32_t link(int32_t start) const { return region_ + static_cast<uint32_t>(start); }

  template <typename Word> void write(int32_t place, Word word) {
    memcpy(&image_[static_cast<size_t>(place)], &word, sizeof word);
  }

  void render() {
    int32_t free_in_front = 0;
    for (auto [start, block] : blocks_) {
      write(start, free_in_front);
      write(start + 4, block.is_free ? block.size : -block.size);
      free_in_front = block.is_free ? block.size : 0;
    }
    auto sentinel = static_cast<int32_t>(image_.size()) - 8;
    write(sentinel, free_in_front);
    write(sentinel + 4, INT32_MIN);
    for (size_t i = 0; i < free_list_.size(); ++i) {
      write(free_list_[i] + 8, i + 1 < free_list_.size() ? link(free_list_[i + 1]) : handle_);
      write(free_list_[i] + 12, i > 0 ? link(free_list_[i - 1]) : handle_);
    }
  }

  uint32_t handle_, region_;
  std::map<int32_t, Block> blocks_; // by place in the region
  std::vector<int32_t> free_list_;
  std::vector<unsigned char> image_;
  int32_t allocated_ = 0, gets_ = 0, releases_ = 0;
};

} // namespace roq::test

#endif
