// A number that several threads may read and write without tearing it, and without any order among them. <atomic> would
// bring it too, but cannot be compiled over every C library's headers.
#ifndef ROQ_SUPPORT_RELAXED_H
#define ROQ_SUPPORT_RELAXED_H

namespace roq {

template <typename T> class Relaxed {
public:
  T load() const { return __atomic_load_n(&value_, __ATOMIC_RELAXED); }
  void store(T value) { __atomic_store_n(&value_, value, __ATOMIC_RELAXED); }

private:
  T value_ = 0;
};

} // namespace roq

#endif
