/* The receiving side as a C program sees it. */
#include <roqmsg.h>
#include <roqutil/msg.h>
#include <stddef.h>
#include <string.h>

int roqmsg_can_be_used_from_c(const char* name);

int roqmsg_can_be_used_from_c(const char* name) {
  uint32_t length = 3;
  char message[43];
  RoqMsgReceived received;
  RoqMsgEndpoint* endpoint = ROQ_MSG_Register(name);
  if (endpoint == NULL) return 1;
  ROQ_MSG_SimpleBuilder(message, name, 5, 6);
  memcpy(message + 36, &length, sizeof length);
  memcpy(message + 40, "abc", length);
  if (ROQ_MSG_Send(message) != 0) return 2;
  if (ROQ_MSG_Receive(endpoint, &received, 60000) != 0) return 3;
  ROQ_MSG_Unregister(endpoint);
  return received.type == 5 && received.value == 6 && strcmp(received.payload, "abc") == 0 ? 0 : 4;
}
