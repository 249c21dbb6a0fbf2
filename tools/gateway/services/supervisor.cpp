// The platform's supervisor: messages without an addressee come here, and those of type 0x2000d ask it to stop a
// process by name.
#include "service.h"

#include <csignal>
#include <cstdio>
#include <roqmsg.h>
#include <roqutil.h>

namespace {

using namespace gateway;

constexpr uint32_t kStopRequest = 0x2000d;
constexpr uint32_t kPauseMs = 200;
constexpr uint32_t kNoProcess = 0xFFFFFFFF;

void stop_process(const char* name) {
  uint32_t pid = ROQ_UTIL_GetPid(name);
  if (pid == 0 || pid == kNoProcess) {
    printf("supervisor: no process is called %s\n", name);
    return;
  }
  bool asked = kill(static_cast<pid_t>(pid), SIGTERM) == 0;
  printf("supervisor: %s process %u, %s\n", asked ? "asked" : "could not ask", pid, name);
}

} // namespace

int main() {
  Service service("supervisor");
  RoqMsgEndpoint* endpoint = ROQ_MSG_Register(ROQ_MSG_SUPERVISOR);
  if (endpoint == nullptr) {
    perror("supervisor: the message bus");
    return 1;
  }
  puts("supervisor: waits for requests");
  service.is_ready();
  while (Service::is_wanted()) {
    RoqMsgReceived message;
    if (ROQ_MSG_Receive(endpoint, &message, kPauseMs) == 0 && message.type == kStopRequest) {
      stop_process(message.payload);
    }
  }
  ROQ_MSG_Unregister(endpoint);
  return 0;
}
