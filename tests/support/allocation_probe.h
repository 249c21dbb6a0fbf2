// Makes allocations of the code under test fail, and counts what it leaves allocated.
//
//   AllocationProbe probe(3);                  // the third one fails
//   EXPECT_EQ(code_under_test(), 1U);
//   EXPECT_EQ(probe.held(), 0U);
//
// Works on calls of the C library's allocation functions from what is linked into the test program, which the linker is
// told to wrap. One probe exists at a time, and nothing else may allocate meanwhile.
#ifndef ROQ_TESTS_SUPPORT_ALLOCATION_PROBE_H
#define ROQ_TESTS_SUPPORT_ALLOCATION_PROBE_H

#include <cstddef>

namespace roq::test {

enum class Fails { never, once, from_there_on };

class AllocationProbe {
public:
  AllocationProbe() : AllocationProbe(0, Fails::never) {}
  // The allocation with this number, counted from 1, fails.
  explicit AllocationProbe(size_t number, Fails fails = Fails::once);
  ~AllocationProbe();
  AllocationProbe(const AllocationProbe&) = delete;
  AllocationProbe& operator=(const AllocationProbe&) = delete;

  // Allocations asked for since the probe was made.
  size_t asked() const { return asked_; }
  // The bytes that the last of them asked for.
  size_t last_size() const { return last_size_; }
  // Blocks that were allocated since and are not released.
  size_t held() const { return held_; }

  bool next_fails(size_t size);
  void count_allocated() { ++held_; }
  void count_released() { --held_; }

private:
  size_t number_;
  Fails fails_;
  size_t asked_ = 0;
  size_t last_size_ = 0;
  size_t held_ = 0;
};

} // namespace roq::test

#endif
