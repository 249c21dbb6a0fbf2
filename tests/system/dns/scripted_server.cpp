#include "system/dns/scripted_server.h"

#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace roq::tests {
namespace {

constexpr uint16_t kPort = 53;

struct Address {
  sockaddr_storage storage{};
  socklen_t size = sizeof storage;
  sockaddr* generic() { return reinterpret_cast<sockaddr*>(&storage); }
  sockaddr_in* ipv4() { return reinterpret_cast<sockaddr_in*>(&storage); }
  sockaddr_in6* ipv6() { return reinterpret_cast<sockaddr_in6*>(&storage); }
};

Address parse(const std::string& text) {
  Address address;
  if (inet_pton(AF_INET, text.c_str(), &address.ipv4()->sin_addr) == 1) {
    address.storage.ss_family = AF_INET;
    address.ipv4()->sin_port = htons(kPort);
    address.size = sizeof(sockaddr_in);
    return address;
  }
  EXPECT_EQ(inet_pton(AF_INET6, text.c_str(), &address.ipv6()->sin6_addr), 1) << text;
  address.storage.ss_family = AF_INET6;
  address.ipv6()->sin6_port = htons(kPort);
  address.size = sizeof(sockaddr_in6);
  return address;
}

std::string text_of(Address& address) {
  char text[INET6_ADDRSTRLEN] = "";
  const bool ipv4 = address.storage.ss_family == AF_INET;
  const void* bytes = ipv4 ? static_cast<void*>(&address.ipv4()->sin_addr) : &address.ipv6()->sin6_addr;
  inet_ntop(address.storage.ss_family, bytes, text, sizeof text);
  return text;
}

} // namespace

ScriptedServer::ScriptedServer(const std::vector<std::string>& addresses, Script script) : script_(std::move(script)) {
  for (const std::string& text : addresses) {
    Address address = parse(text);
    const int fd = socket(address.storage.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, address.generic(), address.size), 0) << text << ": " << strerror(errno);
    listeners_.push_back({fd, text});
  }
  EXPECT_EQ(pipe(stop_), 0);
  thread_ = std::thread([this] { serve(); });
}

ScriptedServer::~ScriptedServer() {
  close(stop_[1]);
  thread_.join();
  close(stop_[0]);
  for (const Listener& listener : listeners_)
    close(listener.socket);
}

void ScriptedServer::serve() {
  std::vector<pollfd> events{{stop_[0], POLLIN, 0}};
  for (const Listener& listener : listeners_)
    events.push_back({listener.socket, POLLIN, 0});
  while (poll(events.data(), events.size(), -1) > 0 || errno == EINTR) {
    if (events[0].revents != 0) return;
    for (size_t i = 0; i < listeners_.size(); ++i) {
      if (events[1 + i].revents != 0) answer(listeners_[i]);
    }
  }
}

void ScriptedServer::answer(const Listener& listener) {
  Bytes bytes(2048);
  Address client;
  const ssize_t length = recvfrom(listener.socket, bytes.data(), bytes.size(), 0, client.generic(), &client.size);
  if (length < 0) return;
  bytes.resize(static_cast<size_t>(length));
  const uint16_t port = ntohs(client.ipv4()->sin_port);
  Query query{bytes, listener.address, text_of(client), port, 0};
  {
    std::lock_guard guard(lock_);
    query.number = queries_.size();
    queries_.push_back(query);
  }
  for (const Bytes& reply : script_(query)) {
    sendto(listener.socket, reply.data(), reply.size(), 0, client.generic(), client.size);
  }
}

std::vector<Query> ScriptedServer::queries() const {
  std::lock_guard guard(lock_);
  return queries_;
}

std::vector<std::string> ScriptedServer::asked_servers() const {
  std::vector<std::string> servers;
  for (const Query& query : queries())
    servers.push_back(query.server);
  return servers;
}

std::vector<std::string> ScriptedServer::clients() const {
  std::vector<std::string> clients;
  for (const Query& query : queries())
    clients.push_back(query.client);
  return clients;
}

Script always(std::vector<Bytes> records) {
  return
      [records = std::move(records)](const Query& query) { return std::vector<Bytes>{reply_to(query.bytes, records)}; };
}

Script never() {
  return [](const Query&) { return std::vector<Bytes>{}; };
}

} // namespace roq::tests
