// What the tests of the message bus share: an empty bus folder, services in processes of their own, messages.
#ifndef ROQ_TESTS_SYSTEM_MSGBUS_BUS_TEST_H
#define ROQ_TESTS_SYSTEM_MSGBUS_BUS_TEST_H

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <optional>
#include <roqmsg.h>
#include <roqutil/msg.h>
#include <set>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace roq::test::msgbus {

inline constexpr uint32_t kLongLimitMs = 60000; // nothing is meant to take that long
inline const std::filesystem::path kBusFolder = "/var/run/roqmsg";

// Milliseconds since it was made.
class Stopwatch {
public:
  int64_t elapsed() const {
    auto passed = std::chrono::steady_clock::now() - start_;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
  }

private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// A signal every 20 milliseconds that interrupts system calls.
class FrequentAlarms {
public:
  FrequentAlarms() {
    struct sigaction on_alarm {};
    on_alarm.sa_handler = [](int) {};
    sigaction(SIGALRM, &on_alarm, &before_);
    every(20000);
  }
  ~FrequentAlarms() {
    every(0);
    sigaction(SIGALRM, &before_, nullptr);
  }
  FrequentAlarms(const FrequentAlarms&) = delete;
  FrequentAlarms& operator=(const FrequentAlarms&) = delete;

private:
  static void every(suseconds_t microseconds) {
    itimerval timer{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }
  struct sigaction before_;
};

// A pipe by which two processes wait for each other.
class Gate {
public:
  Gate() {
    if (pipe(ends_) != 0) abort();
  }
  ~Gate() {
    close(ends_[0]);
    close(ends_[1]);
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  void open() const {
    if (write(ends_[1], "o", 1) != 1) abort();
  }
  void wait() const {
    char byte;
    if (read(ends_[0], &byte, 1) != 1) abort();
  }

private:
  int ends_[2];
};

// A process that runs a function; killed, when it is still there, and reaped at the end.
class PeerProcess {
public:
  template <typename Function> explicit PeerProcess(Function&& run) : id_(fork()) {
    if (id_ == 0) _exit(run());
  }
  ~PeerProcess() {
    if (!reaped_) kill_and_reap();
  }
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;

  pid_t id() const { return id_; }

  // The exit code, or minus the signal that ended it.
  int result() {
    int status = 0;
    pid_t reaped;
    do
      reaped = waitpid(id_, &status, 0);
    while (reaped < 0 && errno == EINTR);
    EXPECT_EQ(reaped, id_);
    reaped_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  void kill_and_reap() {
    kill(id_, SIGKILL);
    result();
  }

private:
  pid_t id_;
  bool reaped_ = false;
};

struct UnregisterEndpoint {
  void operator()(RoqMsgEndpoint* endpoint) const { ROQ_MSG_Unregister(endpoint); }
};
using Endpoint = std::unique_ptr<RoqMsgEndpoint, UnregisterEndpoint>;

inline Endpoint register_endpoint(const char* name) { return Endpoint(ROQ_MSG_Register(name)); }

// A process that has registered a name before the constructor returns. `serve` takes the endpoint and gives the exit
// code; the name is not given up when it ends.
class Service {
public:
  template <typename Function>
  Service(const char* name, Function&& serve)
      : process_([&] {
          RoqMsgEndpoint* endpoint = ROQ_MSG_Register(name);
          ready_.open();
          return endpoint == nullptr ? 99 : serve(endpoint);
        }) {
    ready_.wait();
  }
  pid_t id() const { return process_.id(); }
  int result() { return process_.result(); }
  void kill() { process_.kill_and_reap(); }

private:
  Gate ready_;
  PeerProcess process_;
};

// Answers every request with its payload and the result value type + value, for ever.
inline int serve_echo(RoqMsgEndpoint* endpoint) {
  RoqMsgReceived message;
  while (ROQ_MSG_Receive(endpoint, &message, ROQ_MSG_NO_LIMIT) == 0) {
    if (message.expects_reply == 0) continue;
    ROQ_MSG_Reply(endpoint, &message, message.type + message.value, message.payload, message.payload_length);
  }
  return 1;
}

// A message as programs lay it out.
struct Message {
  alignas(4) char bytes[1024];

  Message(const char* addressee, uint32_t type, uint32_t value, const std::string& payload) {
    memset(bytes, 0, sizeof bytes);
    ROQ_MSG_SimpleBuilder(bytes, addressee, type, value);
    announce(static_cast<uint32_t>(payload.size()));
    memcpy(bytes + 40, payload.data(), std::min<size_t>(payload.size(), 984));
  }
  void announce(uint32_t length) { memcpy(bytes + 36, &length, sizeof length); }
};

// A reply that is released at the end.
struct Reply {
  int32_t code = 0;
  int error = 0;
  std::unique_ptr<char, decltype(&free)> bytes{nullptr, free};

  uint32_t field(size_t offset) const {
    uint32_t value;
    memcpy(&value, bytes.get() + offset, sizeof value);
    return value;
  }
  uint32_t result() const { return field(32); }
  std::string payload() const { return {bytes.get() + 40, field(36)}; }
};

inline Reply ask(Message& message, uint32_t limit_ms = kLongLimitMs) {
  Reply reply;
  void* bytes = nullptr;
  errno = 0;
  reply.code = ROQ_MSG_SendAndRecv(message.bytes, &bytes, limit_ms);
  reply.error = errno;
  reply.bytes.reset(static_cast<char*>(bytes));
  return reply;
}

inline Reply ask(const char* addressee, const std::string& payload, uint32_t limit_ms = kLongLimitMs) {
  Message message(addressee, 0x60007, 0, payload);
  return ask(message, limit_ms);
}

inline sockaddr_un address_of(const std::string& name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string path = kBusFolder / name;
  memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

// A plain datagram socket, bound to a place in the bus folder when a name is given.
class RawSocket {
public:
  explicit RawSocket(const char* name = nullptr) : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    EXPECT_GE(fd_, 0);
    if (name == nullptr) return;
    std::filesystem::create_directories(kBusFolder);
    sockaddr_un address = address_of(name);
    EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0) << strerror(errno);
  }
  ~RawSocket() { close(fd_); }
  RawSocket(const RawSocket&) = delete;
  RawSocket& operator=(const RawSocket&) = delete;

  int fd() const { return fd_; }
  bool send_to(const std::string& name, const std::string& bytes) const {
    sockaddr_un address = address_of(name);
    return sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&address), sizeof address) >= 0;
  }

private:
  int fd_;
};

inline auto descriptors_of(const std::string& process) {
  std::filesystem::directory_iterator open("/proc/" + process + "/fd");
  return std::distance(open, {});
}

inline auto open_descriptors() { return descriptors_of("self"); }

inline std::set<std::string> files_in_bus_folder() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kBusFolder))
    names.insert(entry.path().filename());
  return names;
}

class BusTest : public testing::Test {
protected:
  BusTest() { clean(); }
  ~BusTest() override { clean(); }

private:
  static void clean() {
    unsetenv("ROQ_MSG_DIR");
    unsetenv("ROQ_MSG_DEBUG");
    std::filesystem::remove_all(kBusFolder);
  }
};

} // namespace roq::test::msgbus

#endif
