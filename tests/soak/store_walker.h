// Reads a module's segment without the library and without its lock, and names the first thing that is wrong with it.
#ifndef ROQ_TESTS_SOAK_STORE_WALKER_H
#define ROQ_TESTS_SOAK_STORE_WALKER_H

#include <climits>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace soak {

struct Variable {
  uint32_t id;
  const unsigned char* value;
  uint32_t length;
};

class StoreWalker {
public:
  StoreWalker(const void* segment, uint32_t size)
      : segment_(static_cast<const unsigned char*>(segment)),
        base_(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(segment))), size_(size) {}

  // Empty when the store is consistent.
  std::string problem() {
    std::string found = walk_blocks();
    if (found.empty()) found = walk_free_list();
    if (found.empty()) found = walk_variables();
    return found;
  }

  const std::vector<Variable>& variables() const { return variables_; }

  // Allocated blocks that no variable uses.
  size_t unlisted_blocks() const { return allocated_.size() - used_.size(); }

private:
  uint32_t word(uint32_t place) const {
    uint32_t value;
    memcpy(&value, segment_ + place, sizeof value);
    return value;
  }
  int32_t size_at(uint32_t place) const { return static_cast<int32_t>(word(place)); }
  static std::string at(const char* what, uint32_t place) { return std::string(what) + " at " + std::to_string(place); }

  static constexpr uint32_t kPool = 24, kHeader = 52;

  std::string walk_blocks() {
    if (word(0) != 0x00042047) return "the magic is wrong";
    if (word(4) != size_ - kHeader) return "the pool length is wrong";
    int32_t free_in_front = 0;
    int64_t allocated = 0;
    uint32_t place = kHeader;
    while (size_at(place + 4) != INT32_MIN) {
      int64_t size = size_at(place + 4);
      bool is_free = size > 0;
      if (!is_free) size = -size;
      if (size < 16 || size % 4 != 0 || place + size > size_ - 8) return at("a size is impossible", place);
      if (size_at(place) != free_in_front) return at("prevfree is wrong", place);
      if (is_free && free_in_front != 0) return at("two free blocks in a row", place);
      if (is_free)
        free_[place] = static_cast<int32_t>(size);
      else
        allocated_[place] = static_cast<int32_t>(size);
      if (!is_free) allocated += size;
      free_in_front = is_free ? static_cast<int32_t>(size) : 0;
      place += static_cast<uint32_t>(size);
    }
    if (place != size_ - 8) return at("an end mark in the middle", place);
    if (size_at(place) != free_in_front) return at("prevfree is wrong", place);
    if (size_at(kPool + 16) != allocated) return "the total of allocated bytes is wrong";
    return "";
  }

  std::string walk_free_list() {
    uint32_t list = base_ + kPool, previous = list, link = word(kPool + 8);
    size_t count = 0;
    for (; link != list; ++count) {
      uint32_t place = link - base_;
      if (count >= free_.size() || free_.count(place) == 0) return "the free list leads to what is no free block";
      if (word(place + 12) != previous) return at("a free block links back wrongly", place);
      previous = link;
      link = word(place + 8);
    }
    if (word(kPool + 12) != previous) return "the list's end is wrong";
    return count == free_.size() ? "" : "a free block is not on the list";
  }

  // The place of an allocated block with room for so many bytes, which nobody else uses.
  bool use(uint32_t address, uint32_t length) {
    auto block = allocated_.find(address - base_ - 8);
    if (block == allocated_.end() || length > static_cast<uint32_t>(block->second - 8)) return false;
    return used_.insert(block->first).second;
  }

  std::string walk_variables() {
    std::set<uint32_t> ids;
    for (uint32_t address = word(20); address != 0;) {
      if (!use(address, 16)) return "the list leads to what is no node";
      uint32_t node = address - base_;
      Variable variable{word(node), segment_ + (word(node + 4) - base_), word(node + 8)};
      if (variable.length == 0 || !use(word(node + 4), variable.length)) return at("a node without a value", node);
      if (!ids.insert(variable.id).second) return at("an id that is there twice", node);
      variables_.push_back(variable);
      address = word(node + 12);
    }
    return "";
  }

  const unsigned char* segment_;
  uint32_t base_, size_;
  std::map<uint32_t, int32_t> free_, allocated_;
  std::set<uint32_t> used_;
  std::vector<Variable> variables_;
};

} // namespace soak

#endif
