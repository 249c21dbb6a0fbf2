#include "netinfo/module.h"
#include <roqutil/netinfo.h>

using namespace roq::netinfo;

extern "C" uint32_t ROQ_UTIL_IsModuleInserted(const char* pcName) {
  return pcName != nullptr && is_module_loaded(pcName);
}

extern "C" uint32_t ROQ_UTIL_InsertModule(const char* pcName, const char* pcDirectory) {
  if (pcName == nullptr || pcDirectory == nullptr) return 0;
  load_module(pcName, pcDirectory);
  return 1;
}

extern "C" uint32_t ROQ_UTIL_RemoveModule(const char* pcName, const char* pcDirectory) {
  if (pcName == nullptr || pcDirectory == nullptr) return 0;
  unload_module(pcName, pcDirectory);
  return 1;
}

extern "C" uint32_t ROQ_UTIL_InsertModulesDir(const char* pcDirectory) {
  return pcDirectory != nullptr && load_modules_of(pcDirectory);
}
