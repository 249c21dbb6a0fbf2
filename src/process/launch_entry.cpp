#include "process/launch.h"
#include "process/search_path.h"
#include "process/wait.h"

using namespace roq::process;

extern "C" int32_t ROQ_UTIL_GetExeFullPath(const char* pcName, char* pcFull, uint32_t ulLen) {
  if (pcName == nullptr || pcFull == nullptr) return -1;
  return find_program(pcName, pcFull, ulLen) ? 0 : -1;
}

extern "C" int32_t ROQ_UTIL_WaitForPid(int32_t iPid, int32_t iTimeLimit, uint32_t* pulSignal, uint32_t* pulExitCode) {
  return wait_for_child(iPid, iTimeLimit, pulSignal, pulExitCode);
}

extern "C" int32_t ROQ_UTIL_ForkProcessFull(char** ppcArgv, int32_t iTimeLimit, uint32_t* pulSignal,
                                            uint32_t* pulExitCode, RedirectPlan* pstPlan) {
  if (ppcArgv == nullptr || ppcArgv[0] == nullptr) return -1;
  return launch(ppcArgv, iTimeLimit, pulSignal, pulExitCode, pstPlan);
}

extern "C" int32_t ROQ_UTIL_ForkProcessEx(char** ppcArgv, int32_t iTimeLimit, uint32_t* pulSignal,
                                          uint32_t* pulExitCode) {
  if (ppcArgv == nullptr || ppcArgv[0] == nullptr) return -1;
  return launch(ppcArgv, iTimeLimit, pulSignal, pulExitCode, nullptr);
}

extern "C" int32_t ROQ_UTIL_ForkProcess(const char* pcCmd, int32_t iTimeLimit, uint32_t* pulSignal,
                                        uint32_t* pulExitCode) {
  return launch_command(pcCmd, iTimeLimit, pulSignal, pulExitCode);
}
