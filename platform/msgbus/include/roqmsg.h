/*
 * The receiving side of the message bus stand-in: what a service needs to be reached by name, and what a test needs to
 * play one.
 *
 * The sending side is <roqutil/msg.h>. Here a process registers a name, receives the messages that are sent to it and
 * answers those that expect a reply. The platform's own bus library brings a receiving side of its own, so programs
 * for the gateway itself do not use this header.
 *
 * Every endpoint is a socket file named like the endpoint in one folder: /var/run/roqmsg, or what the environment
 * variable ROQ_MSG_DIR says (at most 91 characters; ignored in programs that run with raised rights). Who may send to
 * an endpoint is decided by the permissions of that folder and file; the file is created under the process's umask.
 *
 * Names have up to 15 characters; longer ones are cut to 15, alike when registering and when sending. They do not begin
 * with a dot and hold no slash. Messages that are sent without an addressee go to the endpoint named
 * ROQ_MSG_SUPERVISOR.
 *
 * The functions are reentrant; one endpoint may be used by several threads at once. They print nothing and raise no
 * signal. Waiting goes on after an interrupting signal. Failures leave their reason in errno.
 *
 * HAZARD: fork. A child shares its parent's endpoints: both would receive. Let one of them use the endpoint, and let
 * only the process that registered a name unregister it. A program started with exec does not inherit endpoints.
 *
 * Example: a service that knows the types of two interfaces.
 *
 *   void serve(void) {
 *     RoqMsgEndpoint* endpoint = ROQ_MSG_Register("cms");
 *     RoqMsgReceived message;
 *     while (endpoint != NULL && ROQ_MSG_Receive(endpoint, &message, ROQ_MSG_NO_LIMIT) == 0)
 *       if (message.expects_reply)
 *         ROQ_MSG_Reply(endpoint, &message, strcmp(message.payload, "ppp0") == 0 ? 2 : 1, NULL, 0);
 *     ROQ_MSG_Unregister(endpoint);
 *   }
 */
#ifndef ROQMSG_H
#define ROQMSG_H

#include <roqutil/api.h>
#include <stdint.h>

ROQ_EXTERN_C_BEGIN

#define ROQ_MSG_SUPERVISOR "supervisor"
#define ROQ_MSG_NAME_ROOM 16     /* bytes of a name, terminator included */
#define ROQ_MSG_PAYLOAD_ROOM 984 /* bytes of the largest payload */
#define ROQ_MSG_NO_LIMIT UINT32_C(0xFFFFFFFF)

/* A registered name. */
typedef struct RoqMsgEndpoint RoqMsgEndpoint;

/* A message as it was received. Nothing in it needs to be released. */
typedef struct RoqMsgReceived {
  uint32_t type;                          /* as given to ROQ_MSG_SimpleBuilder */
  uint32_t value;                         /* likewise */
  uint32_t sender;                        /* process id of the sender, as the sender says */
  uint32_t expects_reply;                 /* 1: the sender waits for ROQ_MSG_Reply; 0: nobody does */
  uint32_t announced_length;              /* payload length that the sender wrote into its message */
  uint32_t payload_length;                /* bytes that came: the announced length, but 984 at most */
  char payload[ROQ_MSG_PAYLOAD_ROOM + 1]; /* always with a zero byte behind the last one that came */
  unsigned char reply_address[110];       /* from here on for ROQ_MSG_Reply alone */
  uint32_t reply_address_length;
  uint32_t serial;
} RoqMsgReceived;

/*
 * Makes this process reachable as pcName. The folder is created when it is missing (its parent is not). The socket
 * that a dead process left under the name is replaced.
 *
 * Returns the endpoint, which ROQ_MSG_Unregister releases, or null:
 *   EADDRINUSE    a live process, perhaps this one, holds the name
 *   EEXIST        there is a file of the name that is no socket; it is left alone
 *   EINVAL        the name is null, empty, begins with a dot or holds a slash
 *   ENAMETOOLONG  the folder's name is too long
 * and what the system says to creating files and sockets.
 */
ROQ_API RoqMsgEndpoint* ROQ_MSG_Register(const char* pcName);

/*
 * The endpoint's descriptor, for waiting with poll or select on several things at once. It becomes readable when
 * something has arrived; ROQ_MSG_Receive then tells whether it was a message. Neither read from it nor close it.
 */
ROQ_API int32_t ROQ_MSG_Descriptor(const RoqMsgEndpoint* pstEndpoint);

/*
 * Waits up to ulTimeoutMs milliseconds for a message (ROQ_MSG_NO_LIMIT: without limit, 0: not at all) and stores it.
 *
 * What arrives and is no message to this endpoint, too short, too long, with lengths that contradict each other or
 * with another addressee, is dropped and the wait goes on. With a limit of 0 one arrival at most is looked at.
 *
 * Returns 0, or -1 with *pstReceived untouched: ETIMEDOUT when the time is over, EINVAL for a null pointer.
 */
ROQ_API int32_t ROQ_MSG_Receive(RoqMsgEndpoint* pstEndpoint, RoqMsgReceived* pstReceived, uint32_t ulTimeoutMs);

/*
 * Answers a received message, once, through the endpoint that received it. The sender gets ulResult as the result
 * value of the reply (offset 32) and ulLength bytes at pvPayload (null when 0) as its payload. Never waits.
 *
 * Returns 0, or -1:
 *   ECONNREFUSED  the sender waits no longer; so does EPERM
 *   EINVAL        nobody expects a reply to this message, or a pointer is null
 *   EMSGSIZE      the payload is longer than 984 bytes
 */
ROQ_API int32_t ROQ_MSG_Reply(RoqMsgEndpoint* pstEndpoint, const RoqMsgReceived* pstReceived, uint32_t ulResult,
                              const void* pvPayload, uint32_t ulLength);

/*
 * Gives the name up, removes its socket file and releases the endpoint. Messages that were not yet received are lost;
 * their senders get no reply. Does nothing with null.
 */
ROQ_API void ROQ_MSG_Unregister(RoqMsgEndpoint* pstEndpoint);

ROQ_EXTERN_C_END

#endif
