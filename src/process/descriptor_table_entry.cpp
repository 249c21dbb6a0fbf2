#include "process/descriptor_table.h"
#include <algorithm>
#include <roqutil/process.h>

using namespace roq::process;

extern "C" uint32_t ROQ_UTIL_MIC_ResetBackupAppFds(uint32_t* pulFds, uint32_t ulLen) {
  if (pulFds == nullptr || ulLen == 0) return 1;
  std::fill_n(pulFds, ulLen, 0U);
  return 0;
}

extern "C" uint32_t ROQ_UTIL_MIC_AddBackupAppFds(uint32_t* pulFds, uint32_t ulLen, uint32_t ulFd) {
  if (pulFds == nullptr || ulLen == 0 || ulFd == 0) return 1;
  return add_descriptor({pulFds, ulLen}, ulFd) ? 0 : 1;
}

extern "C" uint32_t ROQ_UTIL_MIC_CloseBackupAppFdsReadableConnection(uint32_t* pulFds, uint32_t ulLen) {
  if (pulFds == nullptr || ulLen == 0) return 1;
  return drain_connections({pulFds, ulLen}) ? 0 : 1;
}
