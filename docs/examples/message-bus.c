/* A stand-in for the configuration manager, and a process that asks it for the type of two interfaces. */
#define _POSIX_C_SOURCE 200809L
#include <roqmsg.h>
#include <roqutil.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

enum { ASK_INTERFACE_TYPE = 0x60007, TYPE_PPP = 2 };

static void ask(const char* name) { printf("%s has type %u\n", name, ROQ_UTIL_GetIntfType(name)); }

static void answer(RoqMsgEndpoint* endpoint) {
  RoqMsgReceived request;
  if (ROQ_MSG_Receive(endpoint, &request, 5000) != 0) return;
  printf("asked %#x about %s\n", request.type, request.payload);
  fflush(stdout);
  uint32_t type = request.type == ASK_INTERFACE_TYPE && strcmp(request.payload, "ppp0") == 0 ? TYPE_PPP : 0;
  if (request.expects_reply) ROQ_MSG_Reply(endpoint, &request, type, NULL, 0);
}

int main(void) {
  RoqMsgEndpoint* endpoint = ROQ_MSG_Register("cms");
  if (endpoint == NULL) {
    perror("the name cms cannot be had");
    return 1;
  }
  /* Two processes must not receive from one endpoint: the child only asks. */
  pid_t client = fork();
  if (client == 0) {
    ask("ppp0");
    ask("eth7");
    fflush(stdout);
    _exit(0);
  }
  answer(endpoint);
  answer(endpoint);
  waitpid(client, NULL, 0);
  ROQ_MSG_Unregister(endpoint);
  return 0;
}
