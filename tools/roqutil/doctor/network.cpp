// Who has to answer: the DNS relay and the message bus.
#include "clock.h"
#include "dns/host.h"
#include "doctor/checkup.h"
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <roqutil/msg.h>
#include <sys/socket.h>
#include <unistd.h>

namespace roq::tool::doctor {
namespace {

constexpr uint32_t kPatience = 1000; // milliseconds

// A question that every relay can answer by itself: the address of "localhost". Its id is the first two bytes.
constexpr uint8_t kQuery[] = {'r', 'q', 1,   0,   0,   1,   0,   0,   0, 0, 0, 0, 9, 'l',
                              'o', 'c', 'a', 'l', 'h', 'o', 's', 't', 0, 0, 1, 0, 1};
constexpr size_t kHeaderSize = 12;

// Any answer will do, an error code, too: the relay is there.
bool is_answer(const uint8_t* message, ssize_t length) {
  return length >= static_cast<ssize_t>(kHeaderSize) && memcmp(message, kQuery, 2) == 0 && (message[2] & 0x80) != 0;
}

// A relay that was asked.
class Probe {
public:
  explicit Probe(int family) : fd_(socket(family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    constexpr uint16_t kPort = 53;
    sockaddr_in ipv4{};
    ipv4.sin_family = AF_INET;
    ipv4.sin_port = htons(kPort);
    ipv4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_in6 ipv6{};
    ipv6.sin6_family = AF_INET6;
    ipv6.sin6_port = htons(kPort);
    ipv6.sin6_addr = in6addr_loopback;
    bool is_ipv4 = family == AF_INET;
    const void* address = is_ipv4 ? static_cast<const void*>(&ipv4) : &ipv6;
    socklen_t size = is_ipv4 ? sizeof ipv4 : sizeof ipv6;
    bool was_asked = fd_ >= 0 && connect(fd_, static_cast<const sockaddr*>(address), size) == 0 &&
                     send(fd_, kQuery, sizeof kQuery, 0) >= 0;
    if (!was_asked) error_ = errno;
  }
  ~Probe() {
    if (fd_ >= 0) close(fd_);
  }
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;

  bool is_open() const { return error_ == 0 && !answered_; }
  int fd() const { return is_open() ? fd_ : -1; }

  void receive() {
    uint8_t message[512];
    ssize_t length = recv(fd_, message, sizeof message, 0);
    if (length < 0 && errno != EAGAIN && errno != EINTR) error_ = errno;
    if (is_answer(message, length)) answered_ = true;
  }

  void report(Checkup& checkup, const char* subject) const {
    const char* found = answered_ ? "it answers" : error_ != 0 ? strerror(error_) : "no answer within a second";
    checkup.expect(answered_, subject, found, "start the DNS relay, on port 53 of 127.0.0.1 and ::1");
  }

private:
  int fd_;
  int error_ = 0;
  bool answered_ = false;
};

// Both at once, so that two that do not answer cost no more than one.
void check_relays(Checkup& checkup) {
  Probe ipv4(AF_INET), ipv6(AF_INET6);
  int64_t end = nanoseconds_now() + int64_t{kPatience} * 1000000;
  while (ipv4.is_open() || ipv6.is_open()) {
    int64_t left = (end - nanoseconds_now()) / 1000000;
    pollfd wanted[] = {{ipv4.fd(), POLLIN, 0}, {ipv6.fd(), POLLIN, 0}};
    if (left <= 0 || poll(wanted, 2, static_cast<int>(left)) == 0) break;
    if (wanted[0].revents != 0) ipv4.receive();
    if (wanted[1].revents != 0) ipv6.receive();
  }
  ipv4.report(checkup, "relay at 127.0.0.1");
  ipv6.report(checkup, "relay at ::1");
}

// Looking up an address asks nobody, but is refused where look-ups are switched off.
void check_switch(Checkup& checkup, const char* subject, const char* address, int32_t family) {
  constexpr int32_t kRefusedByTheLibrary = 22;
  Host host;
  look_up(host, address, family, nullptr);
  bool is_on = host.code != kRefusedByTheLibrary;
  checkup.expect(is_on, subject, is_on ? "they are switched on" : reason(host),
                 "write 1 into that file, if they are to work");
}

} // namespace

void check_dns(Checkup& checkup) {
  check_relays(checkup);
  check_switch(checkup, "IPv4 look-ups", "127.0.0.1", AF_INET);
  check_switch(checkup, "IPv6 look-ups", "::1", AF_INET6);
  check_wan_files(checkup);
}

void check_bus(Checkup& checkup) {
  constexpr uint32_t kAskInterfaceType = 0x60007;
  struct {
    uint8_t bus_header[32];
    uint32_t result, payload_length;
    char payload[16];
  } request{};
  ROQ_MSG_SimpleBuilder(&request, "cms", kAskInterfaceType, 0);
  strcpy(request.payload, "lo");
  request.payload_length = sizeof "lo";
  void* reply = nullptr;
  errno = 0;
  bool answers = ROQ_MSG_SendAndRecv(&request, &reply, kPatience) == 0;
  Text found;
  if (answers) {
    free(reply);
    found.append("it answers");
  } else {
    found.format("'cms' does not answer: %s", errno == 0 ? "no reply within a second" : strerror(errno));
  }
  checkup.expect(answers, "configuration manager", found.c_str(), "start the message bus, and that process");
}

} // namespace roq::tool::doctor
