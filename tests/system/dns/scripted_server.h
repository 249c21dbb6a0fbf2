// A name server that does what the test tells it to.
#ifndef ROQ_TESTS_SYSTEM_DNS_SCRIPTED_SERVER_H
#define ROQ_TESTS_SYSTEM_DNS_SCRIPTED_SERVER_H

#include "support/dns_message.h"
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace roq::tests {

struct Query {
  Bytes bytes;
  std::string server, client; // the addresses it came to and from
  uint16_t client_port;
  size_t number; // counted from 0 over all addresses
};

// The datagrams to send back, in order. It may take its time.
using Script = std::function<std::vector<Bytes>(const Query&)>;

class ScriptedServer {
public:
  // Listens at port 53 of every address.
  ScriptedServer(const std::vector<std::string>& addresses, Script script);
  explicit ScriptedServer(Script script) : ScriptedServer({"127.0.0.1", "::1"}, std::move(script)) {}
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  std::vector<Query> queries() const;
  // The addresses that the queries came to, in their order.
  std::vector<std::string> asked_servers() const;
  std::vector<std::string> clients() const;

private:
  struct Listener {
    int socket;
    std::string address;
  };

  void serve();
  void answer(const Listener& listener);

  Script script_;
  std::vector<Listener> listeners_;
  int stop_[2];
  mutable std::mutex lock_;
  std::vector<Query> queries_;
  std::thread thread_;
};

// Answers every query with these records.
Script always(std::vector<Bytes> records);
// Answers nothing.
Script never();

} // namespace roq::tests

#endif
