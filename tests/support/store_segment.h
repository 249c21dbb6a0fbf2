// A module's segment in ordinary memory at the module's address: the library itself lays out its pool and its
// variables, and no System V object is needed.
#ifndef ROQ_TESTS_STORE_SEGMENT_H
#define ROQ_TESTS_STORE_SEGMENT_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/mman.h>

#include "gvar/pool.h"
#include "gvar/segment.h"
#include "gvar/variable.h"

namespace roq::test {

inline constexpr int32_t kSemaphoreOfSegment = 77;

class StoreSegment {
public:
  StoreSegment(uint32_t module, uint32_t size, uint32_t header_size = sizeof(gvar::SegmentHeader))
      : module_(module), size_(size) {
    void* place = gvar::segment_of(module);
    void* got = mmap(place, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (got != place) {
      perror("the module's address is taken");
      abort();
    }
    header()->magic = gvar::kMagic;
    header()->pool_length = size - header_size;
    header()->semaphore_id = kSemaphoreOfSegment;
    header()->header_size = static_cast<uint16_t>(header_size);
    gvar::pool_set_up(&header()->pool, bytes() + header_size, static_cast<int32_t>(size - header_size));
  }
  ~StoreSegment() { munmap(bytes(), size_); }
  StoreSegment(const StoreSegment&) = delete;
  StoreSegment& operator=(const StoreSegment&) = delete;

  uint32_t module() const { return module_; }
  uint32_t size() const { return size_; }
  uint32_t base() const { return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(bytes())); }
  uint8_t* bytes() const { return gvar::from_segment_address<uint8_t>(gvar::to_segment_address(header())); }
  gvar::SegmentHeader* header() const { return gvar::segment_of(module_); }
  RoqPoolHandle* pool() const { return &header()->pool; }

  bool set(uint32_t number, std::string_view value) const {
    return gvar::set_variable(header(), module_ << 16 | number, {value.data(), value.size()}) == 0;
  }
  gvar::VariableNode* node(uint32_t number) const { return gvar::find_variable(header(), module_ << 16 | number); }

private:
  uint32_t module_;
  uint32_t size_;
};

} // namespace roq::test

#endif
