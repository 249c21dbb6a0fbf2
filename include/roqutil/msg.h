/*
 * Version banner and message bus.
 *
 * The library identifies its build with one constant text, and is a client of the platform's message bus: a few
 * functions ask the configuration manager for information or ask the platform to act. The four bus operations below
 * are declared here for the programs that talk to the bus themselves; they live in the bus library
 * (libroqmsg.so.1, the platform's own or the stand-in that comes with this project), never in libroqutil.
 *
 * Message layout, 32-bit fields in the processor's own byte order:
 *
 *   offset  width     field
 *        0  32 bytes  bus header, filled by ROQ_MSG_SimpleBuilder; its inner layout belongs to the bus
 *       32  u32       result value: in a reply, what the addressee answers
 *       36  u32       payload length: bytes that follow the 40-byte header
 *       40  ...       payload
 */
#ifndef ROQUTIL_MSG_H
#define ROQUTIL_MSG_H

#include <roqutil/api.h>
#include <stdint.h>

ROQ_EXTERN_C_BEGIN

/*
 * The version banner, "ROQR2.3.0-BUILD075 ROQUTIL <libroqutilcore.a> V1.19".
 *
 * Returns the address of a constant text, the same on every call; the caller neither changes nor frees it.
 * Prints nothing. Reentrant.
 */
ROQ_API const char* ROQ_UTIL_GetVersion(void);

/*
 * A placeholder that does nothing and sends nothing. Always returns 0. It is exported because callers link it.
 */
ROQ_API uint32_t ROQ_UTIL_SendMsgToNamedProcess(void);

/*
 * Bus operation: fills the 32-byte bus header of the message at pvMsg.
 *
 * pcAddressee  process name of the receiver; null addresses the platform's supervisor
 * ulType       message type; libroqutil itself sends 0x60007 (interface type, to "cms") and 0x2000d (stop a process)
 * ulValue      a value for the receiver; 0 in every use by libroqutil
 *
 * The caller writes the payload length (offset 36) and the payload (offset 40) after this call.
 */
ROQ_API void ROQ_MSG_SimpleBuilder(void* pvMsg, const char* pcAddressee, uint32_t ulType, uint32_t ulValue);

/* Bus operation: sends the message without waiting for an answer. Returns 0 when the bus took it. */
ROQ_API int32_t ROQ_MSG_Send(void* pvMsg);

/*
 * Bus operation: sends the message and waits for its reply, at most ulTimeoutMs milliseconds.
 *
 * Returns 0 when a reply arrived; *ppvReply is then a message (same layout) on the process heap that the caller
 * releases with free. Anything else is a failure or a time-out, and there is nothing to release.
 */
ROQ_API int32_t ROQ_MSG_SendAndRecv(void* pvMsg, void** ppvReply, uint32_t ulTimeoutMs);

/* Bus operation: writes one line to the platform's debug channel; pcFormat as for printf. */
ROQ_API void ROQ_DEBUG(const char* pcFormat, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

ROQ_EXTERN_C_END

#endif
