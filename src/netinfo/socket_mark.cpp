#include "netinfo/socket_mark.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace roq::netinfo {

int32_t mark_socket(int32_t socket, int option, uint32_t mark) {
  if (setsockopt(socket, SOL_SOCKET, option, &mark, sizeof mark) == 0) return 0;
  fprintf(stderr, "\r\nwarning:  QoS  setsockopt error: %s\r\n", strerror(errno));
  return -1;
}

} // namespace roq::netinfo
