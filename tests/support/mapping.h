// Memory at a chosen address.
#ifndef ROQ_TESTS_SUPPORT_MAPPING_H
#define ROQ_TESTS_SUPPORT_MAPPING_H

#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>

namespace roq::test {

class Mapping {
public:
  // At `address`, which must be free, or anywhere (0). Pages are only used up when they are touched.
  Mapping(uintptr_t address, size_t size) : size_(size) {
    int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | (address != 0 ? MAP_FIXED_NOREPLACE : 0);
    start_ = mmap(reinterpret_cast<void*>(address), size, PROT_READ | PROT_WRITE, flags, -1, 0);
    if (start_ == MAP_FAILED || (address != 0 && reinterpret_cast<uintptr_t>(start_) != address)) abort();
  }
  ~Mapping() { munmap(start_, size_); }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  unsigned char* at(size_t offset) const { return static_cast<unsigned char*>(start_) + offset; }

private:
  void* start_;
  size_t size_;
};

} // namespace roq::test

#endif
