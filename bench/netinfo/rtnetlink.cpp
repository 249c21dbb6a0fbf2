#include "netinfo/rtnetlink.h"

#include "netinfo/networks.h"
#include <cstring>
#include <linux/if_link.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {
namespace {

template <typename Body> struct Question {
  nlmsghdr header;
  Body body;
  char attributes[64];
};

template <typename Body> Question<Body> question(uint16_t type, uint16_t flags) {
  Question<Body> asked{};
  asked.header.nlmsg_len = NLMSG_LENGTH(sizeof(Body));
  asked.header.nlmsg_type = type;
  asked.header.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
  return asked;
}

template <typename Body> void add_text(Question<Body>& asked, uint16_t type, const char* text) {
  auto* attribute = reinterpret_cast<rtattr*>(reinterpret_cast<char*>(&asked) + NLMSG_ALIGN(asked.header.nlmsg_len));
  attribute->rta_type = type;
  attribute->rta_len = static_cast<uint16_t>(RTA_LENGTH(strlen(text) + 1));
  strcpy(static_cast<char*>(RTA_DATA(attribute)), text);
  asked.header.nlmsg_len = static_cast<uint32_t>(NLMSG_ALIGN(asked.header.nlmsg_len) + RTA_ALIGN(attribute->rta_len));
}

const rtattr* find_attribute(const nlmsghdr* message, size_t body_size, uint16_t type) {
  auto* attribute =
      reinterpret_cast<const rtattr*>(reinterpret_cast<const char*>(NLMSG_DATA(message)) + NLMSG_ALIGN(body_size));
  auto left = static_cast<int>(message->nlmsg_len - NLMSG_LENGTH(body_size));
  for (; RTA_OK(attribute, left); attribute = RTA_NEXT(attribute, left)) {
    if ((attribute->rta_type & NLA_TYPE_MASK) == type) return attribute;
  }
  return nullptr;
}

class RouteSocket {
public:
  RouteSocket() : socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {
    require(socket_ >= 0, "socket");
  }
  ~RouteSocket() { close(socket_); }
  RouteSocket(const RouteSocket&) = delete;
  RouteSocket& operator=(const RouteSocket&) = delete;

  // Sends the question and hands every message of the answer to `take` until that returns false.
  template <typename Body, typename Take> void ask(const Question<Body>& asked, Take take) {
    require(send(socket_, &asked, asked.header.nlmsg_len, 0) >= 0, "send");
    for (;;) {
      ssize_t received = recv(socket_, buffer_, sizeof buffer_, 0);
      require(received > 0, "recv");
      auto left = static_cast<uint32_t>(received);
      for (auto* message = reinterpret_cast<nlmsghdr*>(buffer_); NLMSG_OK(message, left);
           message = NLMSG_NEXT(message, left)) {
        if (message->nlmsg_type == NLMSG_DONE || message->nlmsg_type == NLMSG_ERROR || !take(message)) return;
      }
    }
  }

private:
  int socket_;
  alignas(NLMSG_ALIGNTO) char buffer_[16384];
};

} // namespace

uint64_t rtnetlink_received_bytes(const char* interface) {
  auto asked = question<ifinfomsg>(RTM_GETLINK, 0);
  add_text(asked, IFLA_IFNAME, interface);
  uint64_t bytes = 0;
  RouteSocket().ask(asked, [&](const nlmsghdr* message) {
    const rtattr* counters = find_attribute(message, sizeof(ifinfomsg), IFLA_STATS64);
    rtnl_link_stats64 values;
    memcpy(&values, RTA_DATA(counters), sizeof values);
    bytes = values.rx_bytes;
    return false;
  });
  return bytes;
}

uint32_t rtnetlink_default_route() {
  auto asked = question<rtmsg>(RTM_GETROUTE, NLM_F_DUMP);
  asked.body.rtm_family = AF_INET;
  uint32_t index = 0;
  RouteSocket().ask(asked, [&](const nlmsghdr* message) {
    auto* route = static_cast<const rtmsg*>(NLMSG_DATA(message));
    if (route->rtm_table != RT_TABLE_MAIN || route->rtm_dst_len != 0) return true;
    memcpy(&index, RTA_DATA(find_attribute(message, sizeof(rtmsg), RTA_OIF)), sizeof index);
    return false;
  });
  return index;
}

} // namespace bench
