#ifndef ROQ_BENCH_GVAR_PEER_REDIS_H
#define ROQ_BENCH_GVAR_PEER_REDIS_H

#include "gvar/server_process.h"
#include <cstring>
#include <hiredis/hiredis.h>

namespace bench {

// A server in memory, asked over a Unix socket.
class Redis {
public:
  Redis()
      : server_([] {
          execlp("redis-server", "redis-server", "--port", "0", "--unixsocket", kSocket, "--save", "", "--daemonize",
                 "no", nullptr);
        }) {
    until_it_answers(
        [this] {
          if (connection_ != nullptr) redisFree(connection_);
          connection_ = redisConnectUnix(kSocket);
          return connection_ != nullptr && connection_->err == 0;
        },
        "redis-server");
    char value[kValueSize] = {};
    for (uint32_t number = 0; number < kVariables; ++number)
      set(number, value);
  }
  ~Redis() { redisFree(connection_); }
  Redis(const Redis&) = delete;
  Redis& operator=(const Redis&) = delete;

  void get(uint32_t number, char* out) {
    auto* reply = static_cast<redisReply*>(redisCommand(connection_, "GET %u", number));
    require(reply != nullptr && reply->len == kValueSize, "GET");
    memcpy(out, reply->str, kValueSize);
    freeReplyObject(reply);
  }
  void set(uint32_t number, char* bytes) {
    void* reply = redisCommand(connection_, "SET %u %b", number, bytes, size_t{kValueSize});
    require(reply != nullptr, "SET");
    freeReplyObject(reply);
  }

private:
  static constexpr const char* kSocket = "/var/run/roqutil-bench-redis";
  ServerProcess server_;
  redisContext* connection_ = nullptr;
};

} // namespace bench

#endif
