// Owners of resources: each releases what it holds exactly once, on every way out of a scope.
#ifndef ROQ_SUPPORT_OWNERS_H
#define ROQ_SUPPORT_OWNERS_H

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <unistd.h>
#include <utility>

namespace roq {

// Keeps errno over a release that must not disturb what the caller reports.
class ErrnoKeeper {
public:
  [[gnu::always_inline]] ErrnoKeeper() : errno_(errno), saved_(errno) {}
  // Not written needlessly: after a fork the parent would have to copy the page that errno is in.
  [[gnu::always_inline]] ~ErrnoKeeper() {
    if (errno_ != saved_) errno_ = saved_;
  }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

private:
  int& errno_; // the thread's own
  int saved_;
};

// Releases that keep errno. One copy of each serves all owners, which themselves are inlined: what does not take an
// owner's address leaves the compiler free to keep the owner in a register.
[[gnu::noinline]] inline void close_quietly(int fd) {
  ErrnoKeeper keep;
  // Not retried on EINTR: Linux has freed the number already, and another thread may own it by now.
  close(fd);
}
[[gnu::noinline]] inline void free_quietly(void* block) {
  ErrnoKeeper keep;
  free(block);
}
[[gnu::noinline]] inline void close_stream_quietly(FILE* stream) {
  ErrnoKeeper keep;
  fclose(stream);
}
[[gnu::noinline]] inline void close_directory_quietly(DIR* directory) {
  ErrnoKeeper keep;
  closedir(directory);
}

// A file descriptor. There is no conversion to bool: 0 is a valid descriptor.
class UniqueFd {
public:
  constexpr UniqueFd() = default;
  constexpr explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(other.release());
    return *this;
  }
  [[gnu::always_inline]] ~UniqueFd() { reset(); }

  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }
  [[nodiscard]] int release() { return std::exchange(fd_, -1); }

  [[gnu::always_inline]] void reset(int fd = -1) {
    if (is_open()) close_quietly(fd_);
    fd_ = fd;
  }

private:
  int fd_ = -1;
};

// Anything that a function allocates and another one releases, which leaves errno alone.
template <typename T, auto release_function> class Unique {
public:
  constexpr Unique() = default;
  constexpr explicit Unique(T* object) : object_(object) {}
  Unique(Unique&& other) noexcept : object_(other.release()) {}
  Unique& operator=(Unique&& other) noexcept {
    reset(other.release());
    return *this;
  }
  [[gnu::always_inline]] ~Unique() { reset(); }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  [[nodiscard]] T* release() { return std::exchange(object_, nullptr); }

  [[gnu::always_inline]] void reset(T* object = nullptr) {
    if (object_ != nullptr) release_function(object_);
    object_ = object;
  }

private:
  T* object_ = nullptr;
};

template <typename T> using MallocPtr = Unique<T, &free_quietly>;
using UniqueStream = Unique<FILE, &close_stream_quietly>;
using UniqueDir = Unique<DIR, &close_directory_quietly>;

} // namespace roq

#endif
