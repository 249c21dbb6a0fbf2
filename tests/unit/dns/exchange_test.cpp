// The system calls and the allocations of a lookup and of an SRV query. The calls are answered by the test: nothing is
// sent anywhere, and nobody waits.
#include "dns/host_entry.h"
#include "dns/lookup.h"
#include "dns/srv.h"
#include "support/allocation_probe.h"
#include "support/call_hooks.h"
#include "support/dns_message.h"
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <unistd.h>

namespace {

using namespace roq::tests;
using roq::test::AllocationProbe;
using roq::test::call_hooks;
using roq::test::Fails;
using roq::test::Hook;

// What the code under test asks of the system and what it is answered. Asking allocates nothing.
struct Machine {
  const char* failing = "";     // the call that fails whenever it is made
  int poll_result = 1;          // descriptors that are ready
  uint8_t id[2] = {};           // of the last query
  const Bytes* reply = nullptr; // received with that id
  size_t sent = 0;              // length of the last query
  int silent_receives = 0;      // receives that find nothing yet
  int receive_error = 0;        // what the first receive after them fails with
  int interrupted_sleeps = 0;   // sleeps that a signal ends a second early
  char calls[1024] = "";        // every call, with what matters of its arguments

  void note(const char* call, const char* detail = "") {
    const size_t used = strlen(calls);
    snprintf(calls + used, sizeof calls - used, "%s%s ", call, detail);
  }
  bool fails(const char* call) const {
    if (strcmp(call, failing) != 0) return false;
    errno = EIO;
    return true;
  }
};

Machine* machine;

// "=address:port"; an IPv6 address with a flow label or a scope shows as "=?".
struct Shown {
  char text[80];
  explicit Shown(const sockaddr* address) {
    char host[INET6_ADDRSTRLEN] = "?";
    uint16_t port = 0;
    if (address->sa_family == AF_INET) {
      sockaddr_in ipv4;
      memcpy(&ipv4, address, sizeof ipv4);
      inet_ntop(AF_INET, &ipv4.sin_addr, host, sizeof host);
      port = ntohs(ipv4.sin_port);
    } else {
      sockaddr_in6 ipv6;
      memcpy(&ipv6, address, sizeof ipv6);
      if (ipv6.sin6_flowinfo == 0 && ipv6.sin6_scope_id == 0) inet_ntop(AF_INET6, &ipv6.sin6_addr, host, sizeof host);
      port = ntohs(ipv6.sin6_port);
    }
    snprintf(text, sizeof text, "=%s:%d", host, port);
  }
};

int answer_socket(int family, int type, int protocol) {
  const bool datagrams = (type & ~SOCK_CLOEXEC) == SOCK_DGRAM && (protocol == IPPROTO_UDP || protocol == 0);
  machine->note("socket", !datagrams ? "=?" : family == AF_INET6 ? "=6" : "=4");
  return machine->fails("socket") ? -1 : open("/dev/null", O_RDWR | O_CLOEXEC);
}

int answer_bind(int, const sockaddr* address, socklen_t) {
  machine->note("bind", Shown(address).text);
  return machine->fails("bind") ? -1 : 0;
}

int answer_connect(int, const sockaddr* address, socklen_t) {
  machine->note("connect", Shown(address).text);
  return machine->fails("connect") ? -1 : 0;
}

ssize_t keep_query(const void* data, size_t size) {
  memcpy(machine->id, data, sizeof machine->id);
  machine->sent = size;
  return static_cast<ssize_t>(size);
}

ssize_t answer_send(int, const void* data, size_t size, int) {
  machine->note("send");
  const ssize_t sent = keep_query(data, size);
  return machine->fails("send") ? -1 : sent;
}

bool waits(int fd) { return (fcntl(fd, F_GETFL) & O_NONBLOCK) == 0; }

ssize_t answer_sendto(int fd, const void* data, size_t size, int, const sockaddr* address, socklen_t) {
  machine->note(waits(fd) ? "sendto" : "sendto without waiting", Shown(address).text);
  if (machine->fails("sendto")) return -1;
  return keep_query(data, size) - (strcmp(machine->failing, "whole sendto") == 0 ? 1 : 0);
}

int answer_poll(pollfd* events, nfds_t count, int timeout) {
  machine->note("poll", timeout == 2000 ? "=2s" : "=?");
  if (count != 1 || machine->fails("poll")) return -1;
  events->revents = POLLIN;
  return machine->poll_result;
}

ssize_t fail_with(int error) {
  errno = error;
  return -1;
}

ssize_t answer_recv(int, void* data, size_t size, int) {
  char detail[16];
  snprintf(detail, sizeof detail, "=%zu", size);
  machine->note("recv", detail);
  if (machine->fails("recv")) return -1;
  if (machine->silent_receives-- > 0) return fail_with(EAGAIN);
  if (machine->receive_error != 0) return fail_with(machine->receive_error);
  if (machine->reply == nullptr) return fail_with(EAGAIN);
  const size_t length = std::min(size, machine->reply->size());
  memcpy(data, machine->reply->data(), length);
  memcpy(data, machine->id, std::min(length, sizeof machine->id));
  return static_cast<ssize_t>(length);
}

int answer_nanosleep(const timespec* time, timespec* rest) {
  char detail[32];
  snprintf(detail, sizeof detail, "=%ld.%ld", static_cast<long>(time->tv_sec), static_cast<long>(time->tv_nsec));
  machine->note("sleep", detail);
  if (machine->interrupted_sleeps-- <= 0) return 0;
  *rest = {.tv_sec = 1, .tv_nsec = 0};
  errno = EINTR;
  return -1;
}

size_t open_descriptors() {
  size_t count = 0;
  for (int fd = 0; fd < 256; ++fd)
    count += fcntl(fd, F_GETFD) >= 0 ? 1U : 0U;
  return count;
}

class ScriptedMachine : public testing::Test {
protected:
  ScriptedMachine() { machine = &machine_; }
  ~ScriptedMachine() override {
    machine = nullptr;
    EXPECT_EQ(open_descriptors(), descriptors_) << "every socket is closed";
  }

  std::string calls() const { return machine_.calls; }

private:
  const size_t descriptors_ = open_descriptors();

protected:
  Machine machine_;

private:
  Hook<int(int, int, int)> socket_{call_hooks.socket, answer_socket};
  Hook<int(int, const sockaddr*, socklen_t)> bind_{call_hooks.bind, answer_bind};
  Hook<int(int, const sockaddr*, socklen_t)> connect_{call_hooks.connect, answer_connect};
  Hook<int(pollfd*, nfds_t, int)> poll_{call_hooks.poll, answer_poll};
  Hook<ssize_t(int, const void*, size_t, int)> send_{call_hooks.send, answer_send};
  Hook<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)> sendto_{call_hooks.sendto, answer_sendto};
  Hook<ssize_t(int, void*, size_t, int)> recv_{call_hooks.recv, answer_recv};
  Hook<int(const timespec*, timespec*)> nanosleep_{call_hooks.nanosleep, answer_nanosleep};
};

// ---- dns_lookup

constexpr char kName[] = "www.example.net";
const Bytes kQuery = header(0, 0x0100, 1, 0) + question(wire_name(kName), kA);
const Bytes kAddress = a_record(kAskedName, {192, 0, 2, 1}, 1234);
const Bytes kAlias = record(kAskedName, kCname, 60, wire_name("web.example.net"));
const Bytes kThreeAddresses = reply_to(kQuery, {kAlias, kAddress, kAddress, kAddress});

constexpr char kIpv4Attempt[] = "socket=4 bind=0.0.0.0:0 connect=127.0.0.1:53 send poll=2s recv=512 ";
constexpr char kIpv6Attempt[] = "socket=6 bind=:::0 connect=::1:53 send poll=2s recv=512 ";

std::string twice(const std::string& text) { return text + text; }

// One lookup, and the blocks that it asked for and left.
class DnsLookupExchange : public ScriptedMachine {
protected:
  DnsLookupExchange() { machine_.reply = &kThreeAddresses; }
  ~DnsLookupExchange() override { release(); }

  int32_t look_up(size_t failing_allocation = 0, Fails fails = Fails::never, const char* source = nullptr) {
    release();
    answer_ = {};
    answer_.buf = further_;
    answer_.buflen = sizeof further_;
    machine_.calls[0] = '\0';
    AllocationProbe probe(failing_allocation, fails);
    const int32_t result = dns_lookup(kName, 1, place_, &answer_, source);
    asked_ = probe.asked();
    held_ = probe.held();
    return result;
  }

  void release() {
    free(packet_);
    free(answer_.dotted);
    packet_ = nullptr;
    answer_.dotted = nullptr;
  }

  bool outputs_untouched() const {
    return packet_ == nullptr && answer_.dotted == nullptr && answer_.atype == 0 && answer_.ttl == 0 &&
           answer_.rdata == nullptr && answer_.add_count == 0 && answer_.buf == further_;
  }

  uint8_t* packet_ = nullptr;
  uint8_t** place_ = &packet_;
  dns_answer answer_{};
  uint8_t further_[64];
  size_t asked_ = 0, held_ = 0;
};

TEST_F(DnsLookupExchange, ReturnsTheLengthAndHandsOverThePacketAndTheOwnersName) {
  ASSERT_EQ(look_up(), static_cast<int32_t>(kThreeAddresses.size()));
  EXPECT_EQ(calls(), kIpv4Attempt);
  EXPECT_EQ(machine_.sent, kQuery.size());
  ASSERT_NE(packet_, nullptr);
  EXPECT_EQ(memcmp(packet_ + 2, &kThreeAddresses[2], kThreeAddresses.size() - 2), 0);
  EXPECT_STREQ(answer_.dotted, kName);
  EXPECT_EQ(answer_.atype, 1);
  EXPECT_EQ(answer_.aclass, 1);
  EXPECT_EQ(answer_.ttl, 1234);
  EXPECT_EQ(answer_.rdlength, 4);
  EXPECT_EQ(answer_.rdoffset, static_cast<int32_t>(kQuery.size() + kAlias.size() + 12));
  EXPECT_EQ(answer_.rdata, packet_ + answer_.rdoffset);
  EXPECT_EQ(answer_.add_count, 2U);
  EXPECT_EQ(asked_, 3U);
  EXPECT_EQ(held_, 2U) << "the packet and the name, and none of the aliases or of the further records";
}

TEST_F(DnsLookupExchange, WithoutAPlaceForThePacketReleasesIt) {
  place_ = nullptr;
  EXPECT_EQ(look_up(), static_cast<int32_t>(kThreeAddresses.size()));
  EXPECT_STREQ(answer_.dotted, kName);
  EXPECT_EQ(held_, 1U) << "the name";
}

TEST_F(DnsLookupExchange, OfALoneAliasLeavesThePacketOnly) {
  const Bytes alias = reply_to(kQuery, {kAlias});
  machine_.reply = &alias;
  EXPECT_EQ(look_up(), static_cast<int32_t>(alias.size()));
  EXPECT_EQ(answer_.atype, 5);
  EXPECT_EQ(held_, 1U);
}

TEST_F(DnsLookupExchange, WithoutItsTwoBuffersFailsAndAsksNobody) {
  for (size_t number : {1U, 2U}) {
    for (Fails fails : {Fails::once, Fails::from_there_on}) {
      EXPECT_EQ(look_up(number, fails), -1) << number;
      EXPECT_EQ(held_, 0U) << number;
      EXPECT_EQ(calls(), "") << number;
      EXPECT_TRUE(outputs_untouched()) << number;
    }
  }
}

TEST_F(DnsLookupExchange, WithoutMemoryForTheOwnersNameTriesAgain) {
  EXPECT_EQ(look_up(3, Fails::once), static_cast<int32_t>(kThreeAddresses.size()));
  EXPECT_EQ(calls(), twice(kIpv4Attempt));
  EXPECT_STREQ(answer_.dotted, kName);
  EXPECT_EQ(answer_.add_count, 2U);
  EXPECT_EQ(held_, 2U);
}

TEST_F(DnsLookupExchange, WithoutMemoryForTheOwnersNameInAnyAttemptFails) {
  EXPECT_EQ(look_up(3, Fails::from_there_on), -1);
  EXPECT_EQ(calls(), twice(kIpv4Attempt) + twice(kIpv6Attempt));
  EXPECT_EQ(held_, 0U);
  EXPECT_TRUE(outputs_untouched());
}

TEST_F(DnsLookupExchange, LeavesNothingAllocatedWhenEveryAttemptFails) {
  const Bytes two_lengths = reply_to(kQuery, {kAddress, record(kAskedName, kA, 1, Bytes(5, 1))});
  const Bytes name_error = reply_to(kQuery, {}, 0x8183);
  for (const Bytes* reply : {&two_lengths, &name_error}) {
    machine_.reply = reply;
    EXPECT_EQ(look_up(), -1);
    EXPECT_EQ(held_, 0U);
    EXPECT_TRUE(outputs_untouched());
  }
}

TEST_F(DnsLookupExchange, TriesAgainWhenASocketCannotBeHad) {
  machine_.failing = "socket";
  EXPECT_EQ(look_up(), -1);
  EXPECT_EQ(calls(), "socket=4 socket=4 socket=6 socket=6 ");
  EXPECT_EQ(held_, 0U);
}

TEST_F(DnsLookupExchange, EndsWhenItsAddressCannotBeBound) {
  machine_.failing = "bind";
  EXPECT_EQ(look_up(), -1);
  EXPECT_EQ(calls(), "socket=4 bind=0.0.0.0:0 ");
  EXPECT_EQ(held_, 0U);
}

TEST_F(DnsLookupExchange, TriesAgainWhenTheRelayCannotBeConnected) {
  machine_.failing = "connect";
  EXPECT_EQ(look_up(), -1);
  EXPECT_EQ(calls(),
            twice("socket=4 bind=0.0.0.0:0 connect=127.0.0.1:53 ") + twice("socket=6 bind=:::0 connect=::1:53 "));
}

TEST_F(DnsLookupExchange, WaitsWhateverBecameOfSending) {
  machine_.failing = "send";
  EXPECT_EQ(look_up(), static_cast<int32_t>(kThreeAddresses.size()));
  EXPECT_EQ(calls(), kIpv4Attempt);
}

TEST_F(DnsLookupExchange, ReceivesNothingAfterATimeoutOrAFailedWait) {
  const std::string attempts = twice("socket=4 bind=0.0.0.0:0 connect=127.0.0.1:53 send poll=2s ") +
                               twice("socket=6 bind=:::0 connect=::1:53 send poll=2s ");
  machine_.poll_result = 0;
  EXPECT_EQ(look_up(), -1);
  EXPECT_EQ(calls(), attempts);
  machine_.failing = "poll";
  EXPECT_EQ(look_up(), -1);
  EXPECT_EQ(calls(), attempts);
}

TEST_F(DnsLookupExchange, TriesAgainWhenNothingCanBeReceived) {
  machine_.failing = "recv";
  EXPECT_EQ(look_up(), -1);
  EXPECT_EQ(calls(), twice(kIpv4Attempt) + twice(kIpv6Attempt));
  EXPECT_EQ(held_, 0U);
}

TEST_F(DnsLookupExchange, BindsToItsSourceInEveryAttempt) {
  machine_.poll_result = 0;
  EXPECT_EQ(look_up(0, Fails::never, "192.168.1.1"), -1);
  EXPECT_EQ(calls(), twice(twice("socket=4 bind=192.168.1.1:0 connect=127.0.0.1:53 send poll=2s ")));
  EXPECT_EQ(look_up(0, Fails::never, "2001:db8::5"), -1);
  EXPECT_EQ(calls(), twice(twice("socket=6 bind=2001:db8::5:0 connect=::1:53 send poll=2s ")));
  EXPECT_EQ(look_up(0, Fails::never, "0.0.0.0"), -1);
  EXPECT_EQ(calls(), twice(twice("socket=4 bind=0.0.0.0:0 connect=127.0.0.1:53 send poll=2s ")));
}

TEST_F(DnsLookupExchange, OfANullNameOrIntoANullRecordFailsAndAsksNobody) {
  dns_answer answer{};
  EXPECT_EQ(dns_lookup(nullptr, 1, &packet_, &answer, nullptr), -1);
  EXPECT_EQ(dns_lookup(kName, 1, &packet_, nullptr, nullptr), -1);
  EXPECT_EQ(packet_, nullptr);
  EXPECT_EQ(calls(), "");
}

// ---- handy_gethostbyname_r

class HostEntryExchange : public ScriptedMachine {};

TEST_F(HostEntryExchange, WithoutMemoryFailsAndLeavesTheRecord) {
  machine_.reply = &kThreeAddresses;
  alignas(16) char buffer[600];
  hostent untouched;
  memset(&untouched, 0x5A, sizeof untouched);
  const auto resolve_with = [&](size_t failing_allocation, Fails fails) {
    hostent record = untouched, *result = &record;
    AllocationProbe probe(failing_allocation, fails);
    const int32_t code = handy_gethostbyname_r(kName, &record, buffer, sizeof buffer, &result, nullptr);
    const size_t held = probe.held();
    EXPECT_EQ(held, 0U);
    EXPECT_EQ(result, code == 0 ? &record : nullptr);
    EXPECT_EQ(memcmp(&record, &untouched, sizeof record) == 0, code != 0);
    return code;
  };
  EXPECT_EQ(resolve_with(0, Fails::never), 0);
  EXPECT_EQ(resolve_with(1, Fails::once), 2);
  EXPECT_EQ(resolve_with(2, Fails::once), 2);
  EXPECT_EQ(resolve_with(3, Fails::once), 0) << "the second attempt";
  for (size_t number : {1U, 2U, 3U})
    EXPECT_EQ(resolve_with(number, Fails::from_there_on), 2) << number;
}

// ---- doit, do_dns_query

constexpr char kToServer[] = "sendto=192.0.2.53:53 ";
const Bytes kSrvQuery = header(0x0929, 0x0100, 1, 0) + question(wire_name("_sip._udp"), kSrv);
const Bytes kSrvReply = reply_to(kSrvQuery, {kAddress});

class SrvExchange : public ScriptedMachine {
protected:
  SrvExchange() {
    strcpy(g_resolvename, "_sip._udp");
    g_resolvenums = 0;
    server_.sin_family = AF_INET;
    server_.sin_port = htons(53);
    inet_pton(AF_INET, "192.0.2.53", &server_.sin_addr);
  }
  ~SrvExchange() override {
    g_resolvenums = 0;
    for (char* text : {g_resolvename, g_primary, g_secondary, g_wanipaddr, g_resolveaddr[0]})
      *text = '\0';
  }

  // What `step` returns; keeps what it printed.
  template <typename Step> int32_t run(Step step) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int32_t result = step();
    output_ = testing::internal::GetCapturedStdout();
    errors_ = testing::internal::GetCapturedStderr();
    return result;
  }

  int32_t query() {
    const int fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    const int32_t result =
        run([&] { return do_dns_query(fd, reinterpret_cast<const sockaddr*>(&server_), sizeof server_, &table_); });
    EXPECT_EQ(waits(fd), calls().find("recv") == std::string::npos) << "it waits no more once it receives";
    close(fd);
    return result;
  }

  sockaddr_in server_{};
  RoqSrvRecord marker_{}, *table_ = &marker_;
  std::string output_, errors_;
};

TEST_F(SrvExchange, StopsWaitingForDataOnlyAfterTheQueryWasSent) {
  machine_.reply = &kSrvReply;
  EXPECT_EQ(query(), 0);
  EXPECT_EQ(calls(), std::string(kToServer) + "recv=1024 ");
  EXPECT_EQ(machine_.sent, kSrvQuery.size());
  EXPECT_EQ(table_, &marker_) << "an address, and no services";
  EXPECT_STREQ(g_resolveaddr[0], "192.0.2.1");
}

TEST_F(SrvExchange, LooksSixTimesWithFiveSecondsBetween) {
  EXPECT_EQ(query(), -1);
  std::string expected = kToServer;
  for (int i = 0; i < 5; ++i)
    expected += "recv=1024 sleep=5.0 ";
  EXPECT_EQ(calls(), expected + "recv=1024 ");
  EXPECT_EQ(output_ + errors_, "");
}

TEST_F(SrvExchange, TakesAReplyAtItsLastLook) {
  machine_.reply = &kSrvReply;
  machine_.silent_receives = 5;
  EXPECT_EQ(query(), 0);
  EXPECT_EQ(g_resolvenums, 1);
}

TEST_F(SrvExchange, SleepsOnAfterASignal) {
  machine_.reply = &kSrvReply;
  machine_.silent_receives = 1;
  machine_.interrupted_sleeps = 2;
  EXPECT_EQ(query(), 0);
  EXPECT_EQ(calls(), std::string(kToServer) + "recv=1024 sleep=5.0 sleep=1.0 sleep=1.0 recv=1024 ");
}

TEST_F(SrvExchange, EndsWithAnyErrorButNothingThere) {
  for (int error : {EINTR, ECONNREFUSED, EIO}) {
    machine_.calls[0] = '\0';
    machine_.silent_receives = 1;
    machine_.receive_error = error;
    EXPECT_EQ(query(), -1);
    EXPECT_EQ(calls(), std::string(kToServer) + "recv=1024 sleep=5.0 recv=1024 ");
    EXPECT_EQ(output_ + errors_, "");
  }
}

TEST_F(SrvExchange, ReportsAFailedOrPartialSendOnStandardOutput) {
  for (const char* failing : {"sendto", "whole sendto"}) {
    machine_.failing = failing;
    machine_.calls[0] = '\0';
    EXPECT_EQ(query(), -1);
    EXPECT_EQ(output_, "\nsendto error") << failing;
    EXPECT_EQ(errors_, "");
    EXPECT_EQ(calls(), kToServer);
  }
}

TEST_F(SrvExchange, SendsNothingWhenTheQueryDoesNotFit) {
  memset(g_resolvename, 'x', 255);
  EXPECT_EQ(query(), -1);
  EXPECT_EQ(calls(), "");
  EXPECT_EQ(output_ + errors_, "");
  memset(g_resolvename, 0, sizeof g_resolvename);
}

TEST_F(SrvExchange, GoesToThePrimaryServerForSelectorOneAndElseToTheSecondary) {
  machine_.failing = "sendto";
  strcpy(g_primary, "192.0.2.1\n");
  strcpy(g_secondary, "192.0.2.2\n");
  strcpy(g_wanipaddr, "192.0.2.7");
  const std::pair<int32_t, const char*> servers[] = {{1, "192.0.2.1"}, {2, "192.0.2.2"}, {0, "192.0.2.2"}};
  for (const auto& [selector, server] : servers) {
    machine_.calls[0] = '\0';
    EXPECT_EQ(run([selector = selector] { return doit(selector); }), -1);
    EXPECT_EQ(calls(), std::string("socket=4 bind=192.0.2.7:0 sendto=") + server + ":53 ");
    EXPECT_EQ(output_, "\nsendto error");
    EXPECT_EQ(errors_, "");
  }
}

TEST_F(SrvExchange, BindsToAnyAddressWithoutAWanAddress) {
  machine_.failing = "sendto";
  strcpy(g_primary, "192.0.2.1");
  EXPECT_EQ(run([] { return doit(1); }), -1);
  EXPECT_EQ(calls(), "socket=4 bind=0.0.0.0:0 sendto=192.0.2.1:53 ");
}

TEST_F(SrvExchange, ReportsWithoutASocketAndWithoutItsAddress) {
  machine_.failing = "socket";
  EXPECT_EQ(run([] { return doit(1); }), -1);
  EXPECT_EQ(errors_, "socket error @ line 598.\n");
  EXPECT_EQ(output_, "");
  machine_.failing = "bind";
  EXPECT_EQ(run([] { return doit(1); }), -1);
  EXPECT_EQ(errors_, "socket error @ line 609.\n");
  EXPECT_EQ(output_, "");
}

TEST_F(DnsLookupExchange, OfOtherTypesAsksTheIpv4RelayFirst) {
  machine_.poll_result = 0;
  dns_answer answer{};
  EXPECT_EQ(dns_lookup(kName, 33, nullptr, &answer, nullptr), -1);
  EXPECT_EQ(calls(), twice("socket=4 bind=0.0.0.0:0 connect=127.0.0.1:53 send poll=2s ") +
                         twice("socket=6 bind=:::0 connect=::1:53 send poll=2s "));
}

} // namespace
