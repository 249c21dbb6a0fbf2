#include "support/interface_address.h"

#include "support/owners.h"
#include "support/text.h"
#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>

namespace roq {

bool ask_for_address(int socket, uint16_t request, const char* interface, sockaddr_in& address) {
  ifreq question{};
  copy_cut(question.ifr_name, sizeof question.ifr_name, interface);
  if (ioctl(socket, request, &question) == -1) return false;
  static_assert(sizeof address == sizeof question.ifr_addr);
  memcpy(&address, &question.ifr_addr, sizeof address);
  return true;
}

bool write_peer_address(const char* interface, char* text) {
  UniqueFd asked(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in peer;
  if (!asked.is_open() || !ask_for_address(asked.get(), SIOCGIFDSTADDR, interface, peer)) return false;
  return inet_ntop(AF_INET, &peer.sin_addr, text, INET_ADDRSTRLEN) != nullptr;
}

} // namespace roq
