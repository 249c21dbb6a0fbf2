#include "process/lock_file.h"
#include "process/log_file.h"
#include <cstdarg>
#include <roqutil/process.h>

using namespace roq::process;

extern "C" int32_t ROQ_UTIL_LockFile(const char* pcPath, FILE** ppstStream) {
  return pcPath != nullptr ? lock_file(pcPath, ppstStream) : -1;
}

extern "C" int32_t ROQ_UTIL_UnlockFile(int32_t iFd) { return unlock_file(iFd); }

extern "C" int32_t ROQ_WriteFile(const char* pcName, const char* pcFormat, ...) {
  if (pcName == nullptr || pcFormat == nullptr) return 0;
  va_list values;
  va_start(values, pcFormat);
  int32_t result = write_log_file(pcName, pcFormat, values);
  va_end(values);
  return result;
}
