#include "process/parse.h"

using namespace roq::process;

extern "C" uint32_t ROQ_UTIL_ParseArgs(const char* pcCmd, char*** pppcArgv, int32_t* piArgc, RedirectPlan* pstPlan) {
  return parse_command(pcCmd, pppcArgv, piArgc, pstPlan) ? 0 : 1;
}

extern "C" void ROQ_UTIL_FreeArgs(char** ppcArgv) {
  if (ppcArgv != nullptr) free_arguments(ppcArgv);
}
