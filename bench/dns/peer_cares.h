// c-ares, asked for addresses only (no hosts file), with a channel for one lookup and with one for all.
#ifndef ROQ_BENCH_DNS_PEER_CARES_H
#define ROQ_BENCH_DNS_PEER_CARES_H

#include "gvar/peers.h"
#include <ares.h>
#include <netdb.h>
#include <sys/select.h>
#include <sys/socket.h>

namespace bench {

class Channel {
public:
  Channel() {
    ares_options options{};
    char dns_only[] = "b";
    options.lookups = dns_only;
    require(ares_init_options(&channel_, &options, ARES_OPT_LOOKUPS) == ARES_SUCCESS, "ares_init_options");
  }
  ~Channel() { ares_destroy(channel_); }
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  bool look_up(const char* name) {
    bool found = false;
    ares_gethostbyname(channel_, name, AF_INET, take_host, &found);
    for (;;) {
      fd_set readers, writers;
      FD_ZERO(&readers);
      FD_ZERO(&writers);
      const int count = ares_fds(channel_, &readers, &writers);
      if (count == 0) return found;
      timeval room;
      select(count, &readers, &writers, nullptr, ares_timeout(channel_, nullptr, &room));
      ares_process(channel_, &readers, &writers);
    }
  }

private:
  static void take_host(void* found, int status, int, hostent* host) {
    *static_cast<bool*>(found) = status == ARES_SUCCESS && host->h_addr_list[0] != nullptr;
  }

  ares_channel channel_;
};

struct NewChannel {
  bool look_up(const char* name) { return Channel().look_up(name); }
};

using ReusedChannel = Channel;

} // namespace bench

#endif
