// The tokens of one command line: at first pointers into the line, in the end the argument vector that the caller gets.
#ifndef ROQ_PROCESS_TOKEN_LIST_H
#define ROQ_PROCESS_TOKEN_LIST_H

#include "support/owners.h"
#include <cstddef>

namespace roq::process {

// Owns the array, not the texts.
class TokenList {
public:
  TokenList() : array_(static_cast<char**>(malloc(kFirstCapacity * sizeof(char*)))) {}

  bool is_allocated() const { return static_cast<bool>(array_); }
  size_t size() const { return size_; }
  char*& operator[](size_t index) { return array_.get()[index]; }
  char* last() { return array_.get()[size_ - 1]; }
  char* before_last() { return array_.get()[size_ - 2]; }

  // False when the array cannot grow.
  [[nodiscard]] bool append(char* token) {
    if (size_ + 1 >= capacity_ - kRoomKeptFree && !grow()) return false;
    array_.get()[size_++] = token;
    return true;
  }

  void drop_last(size_t count) {
    while (count-- > 0)
      array_.get()[--size_] = nullptr;
  }

  // The terminated array; the caller takes over.
  [[nodiscard]] char** release() {
    array_.get()[size_] = nullptr;
    return array_.release();
  }

private:
  static constexpr size_t kFirstCapacity = 10;
  static constexpr size_t kRoomKeptFree = 4; // the terminator is in it

  bool grow() {
    size_t capacity = capacity_ + capacity_ / 2;
    auto* grown = static_cast<char**>(realloc(array_.get(), capacity * sizeof(char*)));
    if (grown == nullptr) return false;
    (void)array_.release(); // realloc has taken the old array over
    array_.reset(grown);
    capacity_ = capacity;
    return true;
  }

  MallocPtr<char*> array_;
  size_t size_ = 0;
  size_t capacity_ = kFirstCapacity;
};

} // namespace roq::process

#endif
