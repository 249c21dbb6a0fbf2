#include "support/allocation_probe.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace roq::test {
namespace {

AllocationProbe* current = nullptr;

} // namespace

AllocationProbe::AllocationProbe(size_t number, Fails fails) : number_(number), fails_(fails) { current = this; }

AllocationProbe::~AllocationProbe() { current = nullptr; }

bool AllocationProbe::next_fails(size_t size) {
  ++asked_;
  last_size_ = size;
  if (fails_ == Fails::never) return false;
  return fails_ == Fails::once ? asked_ == number_ : asked_ >= number_;
}

} // namespace roq::test

using roq::test::current;

namespace {

template <typename Allocate> auto allocate(size_t size, Allocate really_allocate) -> decltype(really_allocate()) {
  if (current == nullptr) return really_allocate();
  if (current->next_fails(size)) {
    errno = ENOMEM;
    return nullptr;
  }
  auto* block = really_allocate();
  if (block != nullptr) current->count_allocated();
  return block;
}

} // namespace

// The linker leads calls of malloc here and those of __real_malloc to the C library, and so on.
extern "C" {

void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* block, size_t size);
char* __real_strdup(const char* text);
void __real_free(void* block);

void* __wrap_malloc(size_t size);
void* __wrap_calloc(size_t count, size_t size);
void* __wrap_realloc(void* block, size_t size);
char* __wrap_strdup(const char* text);
void __wrap_free(void* block);

void* __wrap_malloc(size_t size) {
  return allocate(size, [&] { return __real_malloc(size); });
}

void* __wrap_calloc(size_t count, size_t size) {
  return allocate(count * size, [&] { return __real_calloc(count, size); });
}

void* __wrap_realloc(void* block, size_t size) {
  void* moved = allocate(size, [&] { return __real_realloc(block, size); });
  if (current != nullptr && moved != nullptr && block != nullptr) current->count_released();
  return moved;
}

char* __wrap_strdup(const char* text) {
  return allocate(strlen(text) + 1, [&] { return __real_strdup(text); });
}

void __wrap_free(void* block) {
  if (current != nullptr && block != nullptr) current->count_released();
  __real_free(block);
}
}
