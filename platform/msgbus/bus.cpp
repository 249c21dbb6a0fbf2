#include <cstdarg>
#include <roqutil/msg.h>

extern "C" void ROQ_MSG_SimpleBuilder(void*, const char*, uint32_t, uint32_t) {}
extern "C" int32_t ROQ_MSG_Send(void*) { return -1; }
extern "C" int32_t ROQ_MSG_SendAndRecv(void*, void**, uint32_t) { return -1; }
extern "C" void ROQ_DEBUG(const char*, ...) {}
