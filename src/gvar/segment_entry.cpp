#include "gvar/segment.h"

using namespace roq::gvar;

extern "C" uint32_t ROQ_UTIL_GVarInitEx(uint32_t ulModule, uint32_t ulSize, uint32_t ulHeaderSize, uint32_t ulUseLock,
                                        uint32_t* pulCreated) {
  return initialise_module(ulModule, ulSize, ulHeaderSize, ulUseLock != 0, pulCreated);
}

extern "C" uint32_t ROQ_UTIL_GVarInit(uint32_t ulModule, uint32_t ulSize, uint32_t ulHeaderSize, uint32_t* pulCreated) {
  return initialise_module(ulModule, ulSize, ulHeaderSize, true, pulCreated);
}

extern "C" uint32_t ROQ_UTIL_GVarAttach(uint32_t ulModule) { return attach_module(ulModule); }

extern "C" uint32_t ROQ_UTIL_GVarDelModule(uint32_t ulModule, uint32_t ulSize) {
  return delete_module(ulModule, ulSize);
}

extern "C" RoqPoolHandle* ROQ_UTIL_GVarGetMemHandle(uint32_t ulModule) {
  return module_exists(ulModule) ? &segment_of(ulModule)->pool : nullptr;
}
