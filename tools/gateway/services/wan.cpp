// The WAN service: follows the settings of the connections and the addresses of their interfaces, and says in the store
// what is the case.
#include "ids.h"
#include "service.h"
#include "variables.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <roqutil/msg.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace gateway;

constexpr uint32_t kAskInterfaceType = 0x60007;
constexpr uint32_t kReplyLimitMs = 10000;
constexpr useconds_t kPause = 100'000;

struct Connection {
  uint32_t name, enable, interface;       // ids of the settings
  uint32_t state, address, type, changes; // ids of what is the case
};

constexpr Connection kConnections[] = {
    {id::wan_1_name, id::wan_1_enable, id::wan_1_interface, id::wan_1_now_state, id::wan_1_now_address,
     id::wan_1_now_type, id::wan_1_now_changes},
    {id::wan_2_name, id::wan_2_enable, id::wan_2_interface, id::wan_2_now_state, id::wan_2_now_address,
     id::wan_2_now_type, id::wan_2_now_changes},
    {id::wan_3_name, id::wan_3_enable, id::wan_3_interface, id::wan_3_now_state, id::wan_3_now_address,
     id::wan_3_now_type, id::wan_3_now_changes},
};

struct Message {
  char bus_header[32];
  uint32_t result, payload_length;
  char payload[984];
};
static_assert(sizeof(Message) == 1024);

// 0 when the configuration manager does not answer or does not know the interface.
uint32_t ask_interface_type(const char* interface) {
  Message request{};
  ROQ_MSG_SimpleBuilder(&request, "cms", kAskInterfaceType, 0);
  request.payload_length = static_cast<uint32_t>(strlen(interface)) + 1;
  memcpy(request.payload, interface, request.payload_length);
  void* reply = nullptr;
  if (ROQ_MSG_SendAndRecv(&request, &reply, kReplyLimitMs) != 0) return 0;
  uint32_t type = static_cast<Message*>(reply)->result;
  free(reply);
  return type;
}

// The interface's IPv4 address; false when it has none.
bool find_address(const char* interface, Value& address) {
  int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  memcpy(request.ifr_name, interface, strnlen(interface, sizeof request.ifr_name - 1));
  bool found = ioctl(descriptor, SIOCGIFADDR, &request) == 0;
  close(descriptor);
  if (!found) return false;
  sockaddr_in socket_address;
  memcpy(&socket_address, &request.ifr_addr, sizeof socket_address);
  return inet_ntop(AF_INET, &socket_address.sin_addr, address.text, sizeof address.text) != nullptr;
}

// Whether something changed.
bool follow(const Connection& connection) {
  Value address{};
  const char* state = "disabled";
  if (read_value(connection.enable).is("1")) {
    state = find_address(read_value(connection.interface).text, address) ? "connected" : "no address";
  }
  if (read_value(connection.state).is(state)) return false;
  write_value(connection.address, address.text[0] != '\0' ? address.text : "none");
  write_value(connection.state, state);
  count_one_more(connection.changes);
  return true;
}

void say(const Connection& connection) {
  printf("wan: %s on %s (type %s): %s, address %s\n", read_value(connection.name).text,
         read_value(connection.interface).text, read_value(connection.type).text, read_value(connection.state).text,
         read_value(connection.address).text);
}

void begin(const Connection& connection) {
  char type[16];
  snprintf(type, sizeof type, "%u", ask_interface_type(read_value(connection.interface).text));
  write_value(connection.type, type);
  follow(connection);
  say(connection);
}

} // namespace

int main() {
  Service service("wan");
  if (!attach_store("wan")) return 1;
  for (const Connection& connection : kConnections)
    begin(connection);
  service.is_ready();
  while (Service::is_wanted()) {
    for (const Connection& connection : kConnections) {
      if (follow(connection)) say(connection);
    }
    count_one_more(id::wan_looks);
    usleep(kPause);
  }
  return 0;
}
