#include <roqutil/msg.h>

extern "C" const char* ROQ_UTIL_GetVersion() { return "ROQR2.3.0-BUILD075 ROQUTIL <libroqutilcore.a> V1.19"; }

extern "C" uint32_t ROQ_UTIL_SendMsgToNamedProcess() { return 0; }
