#include "gvar/pool.h"
#include <cstring>

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
  size_t size = strlen(pcText) + 1;
  void* copy = pool_allocate(pstBH, static_cast<int32_t>(size));
  if (copy != nullptr) memcpy(copy, pcText, size);
  return static_cast<char*>(copy);
}
