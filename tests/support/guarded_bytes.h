// Bytes that end where an inaccessible page begins: one read beyond them ends the process.
#ifndef ROQ_TESTS_SUPPORT_GUARDED_BYTES_H
#define ROQ_TESTS_SUPPORT_GUARDED_BYTES_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <sys/mman.h>
#include <unistd.h>

namespace roq::tests {

class GuardedRoom {
public:
  // Room for up to `size` bytes.
  explicit GuardedRoom(size_t size) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    readable_ = (size + page - 1) / page * page;
    mapped_ = readable_ + page;
    void* base = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) abort();
    base_ = static_cast<uint8_t*>(base);
    if (mprotect(base_ + readable_, page, PROT_NONE) != 0) abort();
  }
  ~GuardedRoom() { munmap(base_, mapped_); }
  GuardedRoom(const GuardedRoom&) = delete;
  GuardedRoom& operator=(const GuardedRoom&) = delete;

  std::span<uint8_t> room(size_t size) { return {base_ + readable_ - size, size}; }

  std::span<uint8_t> hold(std::span<const uint8_t> bytes) {
    std::span<uint8_t> held = room(bytes.size());
    if (!bytes.empty()) memcpy(held.data(), bytes.data(), bytes.size());
    return held;
  }

private:
  uint8_t* base_;
  size_t readable_, mapped_;
};

} // namespace roq::tests

#endif
