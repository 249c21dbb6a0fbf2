#include "frame/bus_request.h"
#include "process/lookup.h"
#include <roqutil/process.h>

using namespace roq::process;

extern "C" uint32_t ROQ_UTIL_RmDelimitor(char* pcBuf) {
  if (pcBuf == nullptr) return 0;
  join_words(pcBuf);
  return 1;
}

extern "C" uint32_t* ROQ_UTIL_FindPidByName(const char* pcName) {
  return pcName != nullptr ? find_processes(pcName) : nullptr;
}

extern "C" uint32_t ROQ_UTIL_GetPid(const char* pcName) { return pcName != nullptr ? find_first_process(pcName) : 0; }

extern "C" void ROQ_UTIL_StopProcess(const char* pcName) {
  if (pcName != nullptr) roq::frame::send_notice(roq::frame::MessageType::stop_process, pcName);
}
