#include "process/exec_no_hang.h"
#include "process/shell.h"
#include <roqutil/process.h>

using namespace roq::process;

extern "C" uint32_t ROQ_UTIL_ExecCmd(const char* pcCmd, const void* pucPrint) {
  return static_cast<uint32_t>(pcCmd != nullptr ? execute_in_shell(pcCmd, pucPrint != nullptr) : -1);
}

extern "C" int32_t ROQ_UTIL_ExecCmd_ByTime(const char* pcCmd, uint32_t ulSeconds) {
  return pcCmd != nullptr ? execute_in_shell_by_time(pcCmd, static_cast<int8_t>(ulSeconds)) : -1;
}

extern "C" int32_t ROQ_UTIL_ExecCmdNoHang(const char* pcCmd) { return execute_no_hang(pcCmd); }
