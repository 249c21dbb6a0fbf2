// The pool allocator as the rest of the library calls it.
#ifndef ROQ_GVAR_POOL_H
#define ROQ_GVAR_POOL_H

#include <cstddef>
#include <roqutil/gvar.h>

namespace roq::gvar {

void pool_set_up(RoqPoolHandle* handle, void* region, int32_t length);
void* pool_allocate(RoqPoolHandle* handle, int32_t size);
void pool_release(RoqPoolHandle* handle, void* buffer);

// A copy of at least one byte; null, after the line of an exhausted pool, when there is no room or the size is none
// that a pool can have.
void* pool_copy(RoqPoolHandle* handle, const void* bytes, size_t size);

// Prints the line that says that no free block is large enough.
void report_exhausted_pool();

} // namespace roq::gvar

#endif
