#include "gvar/pool.h"
#include <cstring>
#include <limits>

namespace roq::gvar {

void* pool_copy(RoqPoolHandle* handle, const void* bytes, size_t size) {
  if (size > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
    report_exhausted_pool();
    return nullptr;
  }
  void* copy = pool_allocate(handle, static_cast<int32_t>(size));
  if (copy != nullptr) memcpy(copy, bytes, size);
  return copy;
}

} // namespace roq::gvar

using namespace roq::gvar;

extern "C" void ROQ_UTIL_BgetInit(RoqPoolHandle* pstBH, void* pvRegion, int32_t lLen) {
  if (pstBH == nullptr) return;
  pool_set_up(pstBH, pvRegion, lLen);
}

extern "C" void* ROQ_UTIL_BgetMalloc(RoqPoolHandle* pstBH, int32_t lSize) {
  if (pstBH == nullptr) return nullptr;
  return pool_allocate(pstBH, lSize);
}

extern "C" void ROQ_UTIL_BgetFree(RoqPoolHandle* pstBH, void* pvBuf) {
  if (pstBH == nullptr) return;
  pool_release(pstBH, pvBuf);
}

extern "C" char* ROQ_UTIL_BgetStrdup(RoqPoolHandle* pstBH, const char* pcText) {
  if (pstBH == nullptr || pcText == nullptr) return nullptr;
  return static_cast<char*>(pool_copy(pstBH, pcText, strlen(pcText) + 1));
}
