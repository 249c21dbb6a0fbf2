// What grows: a text and an array, on malloc. Running out of memory ends the tool with its own message.
#ifndef ROQ_TOOL_BUFFERS_H
#define ROQ_TOOL_BUFFERS_H

#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

namespace roq::tool {

[[noreturn]] void end_out_of_memory();

// The text, cut behind so many bytes.
inline std::string_view first(std::string_view text, size_t length) {
  if (length < text.size()) text.remove_suffix(text.size() - length);
  return text;
}

// Takes the text up to the separator off the front of `rest`, and the separator with it.
inline std::string_view take_word(std::string_view& rest, char separator) {
  std::string_view word = first(rest, rest.find(separator));
  rest.remove_prefix(word.size() < rest.size() ? word.size() + 1 : word.size());
  return word;
}

// Elements that are plain data; they may move when one is added.
template <typename T> class Array {
  static_assert(std::is_trivially_copyable_v<T>);

public:
  Array() = default;
  Array(Array&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)),
        room_(std::exchange(other.room_, 0)) {}
  Array& operator=(Array&& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(room_, other.room_);
    return *this;
  }
  ~Array() { free(data_); }

  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  T* data() { return data_; }
  const T* data() const { return data_; }
  T* begin() { return data_; }
  T* end() { return data_ + size_; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + size_; }
  T& operator[](size_t index) { return data_[index]; }
  const T& operator[](size_t index) const { return data_[index]; }
  T& last() { return data_[size_ - 1]; }
  std::span<const T> view() const { return {data_, size_}; }

  void add(const T& element) {
    T copy = element; // which may lie in the storage that is about to move
    reserve(size_ + 1);
    data_[size_++] = copy;
  }
  void resize(size_t size, const T& fill) {
    reserve(size);
    for (size_t index = size_; index < size; ++index)
      data_[index] = fill;
    size_ = size;
  }
  void clear() { size_ = 0; }

  void reserve(size_t wanted) {
    if (wanted <= room_) return;
    size_t room = wanted > room_ * 2 ? wanted : room_ * 2;
    if (room > static_cast<size_t>(-1) / sizeof(T)) end_out_of_memory();
    auto* moved = static_cast<T*>(realloc(data_, room * sizeof(T)));
    if (moved == nullptr) end_out_of_memory();
    data_ = moved;
    room_ = room;
  }

private:
  T* data_ = nullptr;
  size_t size_ = 0;
  size_t room_ = 0;
};

// A terminated text that grows.
class Text {
public:
  Text() { bytes_.add('\0'); }

  size_t size() const { return bytes_.size() - 1; }
  bool empty() const { return size() == 0; }
  const char* c_str() const { return bytes_.data(); }
  std::string_view view() const { return {bytes_.data(), size()}; }

  void clear();
  void append(std::string_view more);
  void append(char c) { append(std::string_view(&c, 1)); }
  void append(char c, size_t times);
  void format(const char* form, ...) __attribute__((format(printf, 2, 3)));
  void format_list(const char* form, va_list values) __attribute__((format(printf, 2, 0)));

private:
  Array<char> bytes_;
};

} // namespace roq::tool

#endif
