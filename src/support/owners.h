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
  ErrnoKeeper() : saved_(errno) {}
  // Not written needlessly: after a fork the parent would have to copy the page that errno is in.
  ~ErrnoKeeper() {
    if (errno != saved_) errno = saved_;
  }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

private:
  int saved_;
};

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
  ~UniqueFd() { reset(); }

  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }
  [[nodiscard]] int release() { return std::exchange(fd_, -1); }

  void reset(int fd = -1) {
    if (fd_ >= 0) {
      ErrnoKeeper keep;
      // Not retried on EINTR: Linux has freed the number already, and another thread may own it by now.
      close(fd_);
    }
    fd_ = fd;
  }

private:
  int fd_ = -1;
};

// Anything that a C function allocates and another one releases.
template <typename T, auto release_function> class Unique {
public:
  constexpr Unique() = default;
  constexpr explicit Unique(T* object) : object_(object) {}
  Unique(Unique&& other) noexcept : object_(other.release()) {}
  Unique& operator=(Unique&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~Unique() { reset(); }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  [[nodiscard]] T* release() { return std::exchange(object_, nullptr); }

  void reset(T* object = nullptr) {
    if (object_ != nullptr) {
      ErrnoKeeper keep;
      release_function(object_);
    }
    object_ = object;
  }

private:
  T* object_ = nullptr;
};

template <typename T> using MallocPtr = Unique<T, &std::free>;
using UniqueStream = Unique<FILE, &std::fclose>;
using UniqueDir = Unique<DIR, &closedir>;

} // namespace roq

#endif
