#include "bus_test.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <vector>

using namespace roq::test::msgbus;

extern "C" int roqmsg_can_be_used_from_c(const char* name);

namespace {

class MessageEndpoint : public BusTest {};
class HostileDatagram : public BusTest {};
class HostileReply : public BusTest {};

// The bytes of a message as it travels.
std::string wire(const std::string& addressee, uint32_t serial, uint32_t announced, const std::string& payload) {
  std::string name = addressee;
  name.resize(16);
  uint32_t fields[] = {7, 8, 4711, serial, 0, announced};
  return name + std::string(reinterpret_cast<char*>(fields), sizeof fields) + payload;
}

// Where the last datagram came from.
struct Source {
  sockaddr_un address{};
  socklen_t length = sizeof address;
};

// The next request at a socket that plays a service by hand, and its serial number.
uint32_t take_request(const RawSocket& service, Source& client) {
  char request[2048];
  EXPECT_GE(
      recvfrom(service.fd(), request, sizeof request, 0, reinterpret_cast<sockaddr*>(&client.address), &client.length),
      40);
  uint32_t serial;
  memcpy(&serial, request + 28, sizeof serial);
  return serial;
}

bool send_back(const RawSocket& service, const Source& client, const std::string& bytes) {
  return sendto(service.fd(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&client.address),
                client.length) >= 0;
}

} // namespace

TEST_F(MessageEndpoint, IsASocketInAFolderThatIsCreatedWhenMissing) {
  Endpoint endpoint = register_endpoint("cms");
  ASSERT_NE(endpoint, nullptr);
  EXPECT_TRUE(std::filesystem::is_socket(kBusFolder / "cms"));
}

TEST_F(MessageEndpoint, IsNotCreatedWhenTheParentOfTheFolderIsMissing) {
  setenv("ROQ_MSG_DIR", "/var/tmp/missing/bus", 1);
  EXPECT_EQ(ROQ_MSG_Register("cms"), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(MessageEndpoint, IsNotCreatedInAFolderThatIsAFile) {
  std::ofstream("/var/run/roqmsg") << "text";
  EXPECT_EQ(ROQ_MSG_Register("cms"), nullptr);
  EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(MessageEndpoint, IsRefusedWhenALiveProcessHoldsTheName) {
  Service service("cms", serve_echo);
  EXPECT_EQ(ROQ_MSG_Register("cms"), nullptr);
  EXPECT_EQ(errno, EADDRINUSE);
  EXPECT_EQ(ask("cms", "").code, 0);
}

TEST_F(MessageEndpoint, IsRefusedWhenThisProcessHoldsTheName) {
  Endpoint endpoint = register_endpoint("cms");
  EXPECT_EQ(ROQ_MSG_Register("cms"), nullptr);
  EXPECT_EQ(errno, EADDRINUSE);
}

TEST_F(MessageEndpoint, ReplacesTheSocketOfADeadProcess) {
  Service dead("cms", serve_echo);
  dead.kill();
  ASSERT_TRUE(std::filesystem::is_socket(kBusFolder / "cms"));
  Service service("cms", serve_echo);
  EXPECT_EQ(ask("cms", "").code, 0);
}

TEST_F(MessageEndpoint, LeavesAFileAloneThatIsNoSocket) {
  std::filesystem::create_directories(kBusFolder);
  std::ofstream(kBusFolder / "cms") << "text";
  EXPECT_EQ(ROQ_MSG_Register("cms"), nullptr);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_TRUE(std::filesystem::is_regular_file(kBusFolder / "cms"));
  std::filesystem::create_symlink("/var/tmp/elsewhere", kBusFolder / "wan");
  EXPECT_EQ(ROQ_MSG_Register("wan"), nullptr);
  EXPECT_EQ(errno, EEXIST);
}

TEST_F(MessageEndpoint, IsHeldByOneOfManyThatWantItAtOnce) {
  constexpr int kRivals = 8;
  for (int round = 0; round < 20; ++round) {
    Service dead("cms", serve_echo);
    dead.kill();
    Gate start, tried, finish;
    std::vector<std::unique_ptr<PeerProcess>> rivals;
    for (int rival = 0; rival < kRivals; ++rival) {
      rivals.push_back(std::make_unique<PeerProcess>([&] {
        start.wait();
        RoqMsgEndpoint* endpoint = ROQ_MSG_Register("cms");
        tried.open();
        finish.wait();
        return endpoint != nullptr ? 1 : 0;
      }));
    }
    for (int rival = 0; rival < kRivals; ++rival)
      start.open();
    for (int rival = 0; rival < kRivals; ++rival)
      tried.wait();
    for (int rival = 0; rival < kRivals; ++rival)
      finish.open();
    int holders = 0;
    for (auto& rival : rivals)
      holders += rival->result();
    EXPECT_EQ(holders, 1);
  }
}

// Who registers looks, removes a stale socket and binds under the folder's lock, so that nobody removes a fresh one.
TEST_F(MessageEndpoint, IsCreatedWhileNobodyElseHoldsTheFolder) {
  std::filesystem::create_directories(kBusFolder);
  int folder = open(kBusFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(folder, LOCK_EX), 0);
  Gate registered;
  PeerProcess child([&] {
    close(folder);
    RoqMsgEndpoint* endpoint = ROQ_MSG_Register("cms");
    registered.open();
    return endpoint != nullptr ? 0 : 1;
  });
  usleep(200000);
  EXPECT_TRUE(files_in_bus_folder().empty());
  close(folder);
  registered.wait();
  EXPECT_EQ(files_in_bus_folder(), std::set<std::string>{"cms"});
  EXPECT_EQ(child.result(), 0);
}

TEST_F(MessageEndpoint, IsRefusedForANameThatIsNoPlainFileName) {
  for (const char* name : {"", ".", "..", ".hidden", "../cms", "/cms", "a/b"}) {
    EXPECT_EQ(ROQ_MSG_Register(name), nullptr) << name;
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_EQ(ROQ_MSG_Register(nullptr), nullptr);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(MessageEndpoint, IsGoneOnceItIsUnregistered) {
  Endpoint endpoint = register_endpoint("cms");
  auto with_endpoint = open_descriptors();
  endpoint.reset();
  EXPECT_EQ(open_descriptors(), with_endpoint - 1);
  EXPECT_TRUE(files_in_bus_folder().empty());
  EXPECT_NE(ask("cms", "").code, 0);
  EXPECT_NE(register_endpoint("cms"), nullptr);
}

TEST_F(MessageEndpoint, LeavesTheSocketOfItsSuccessorAloneWhenItIsUnregistered) {
  Endpoint old = register_endpoint("cms");
  std::filesystem::remove_all(kBusFolder);
  Service successor("cms", serve_echo);
  old.reset();
  EXPECT_EQ(ask("cms", "").code, 0);
}

TEST_F(MessageEndpoint, IsUnregisteredThoughItsFolderIsGone) {
  Endpoint endpoint = register_endpoint("cms");
  auto with_endpoint = open_descriptors();
  std::filesystem::remove_all(kBusFolder);
  endpoint.reset();
  EXPECT_EQ(open_descriptors(), with_endpoint - 1);
}

TEST_F(MessageEndpoint, OfNullIsUnregisteredWithoutEffect) { ROQ_MSG_Unregister(nullptr); }

TEST_F(MessageEndpoint, IsClosedWhenAProgramIsExecuted) {
  Endpoint endpoint = register_endpoint("cms");
  EXPECT_NE(fcntl(ROQ_MSG_Descriptor(endpoint.get()), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(MessageEndpoint, CanBeAwaitedWithPoll) {
  Endpoint endpoint = register_endpoint("cms");
  pollfd wanted{ROQ_MSG_Descriptor(endpoint.get()), POLLIN, 0};
  EXPECT_EQ(poll(&wanted, 1, 0), 0);
  Message message("cms", 1, 0, "");
  ASSERT_EQ(ROQ_MSG_Send(message.bytes), 0);
  EXPECT_EQ(poll(&wanted, 1, 0), 1);
  RoqMsgReceived received;
  EXPECT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, 0), 0);
  EXPECT_EQ(poll(&wanted, 1, 0), 0);
}

TEST_F(MessageEndpoint, ReceivesNothingWhenTheTimeIsOver) {
  Endpoint endpoint = register_endpoint("cms");
  for (uint32_t limit : {0U, 1U, 300U}) {
    RoqMsgReceived received;
    memset(&received, 'x', sizeof received);
    Stopwatch watch;
    EXPECT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, limit), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(watch.elapsed(), limit);
    std::string bytes(reinterpret_cast<char*>(&received), sizeof received);
    EXPECT_EQ(bytes, std::string(sizeof received, 'x'));
  }
}

TEST_F(MessageEndpoint, ReceivesWithinItsLimitUnderInterruptingSignals) {
  Endpoint endpoint = register_endpoint("cms");
  PeerProcess sender([] {
    usleep(300000);
    Message message("cms", 1, 0, "");
    return ROQ_MSG_Send(message.bytes);
  });
  FrequentAlarms alarms;
  RoqMsgReceived received;
  EXPECT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, ROQ_MSG_NO_LIMIT), 0);
  Stopwatch watch;
  EXPECT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, 300), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_GE(watch.elapsed(), 300);
}

TEST_F(MessageEndpoint, AnswersOnlyWhatExpectsAReply) {
  Endpoint endpoint = register_endpoint("cms");
  Message message("cms", 1, 0, "");
  ASSERT_EQ(ROQ_MSG_Send(message.bytes), 0);
  RoqMsgReceived received;
  ASSERT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, kLongLimitMs), 0);
  EXPECT_EQ(ROQ_MSG_Reply(endpoint.get(), &received, 1, nullptr, 0), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(MessageEndpoint, RefusesAReplyThatIsTooLongAndMayStillAnswer) {
  Service service("cms", [](RoqMsgEndpoint* endpoint) {
    RoqMsgReceived message;
    std::vector<char> payload(985, 'p');
    if (ROQ_MSG_Receive(endpoint, &message, kLongLimitMs) != 0) return 1;
    if (ROQ_MSG_Reply(endpoint, &message, 1, payload.data(), 985) == 0 || errno != EMSGSIZE) return 2;
    if (ROQ_MSG_Reply(endpoint, &message, 1, nullptr, 1) == 0 || errno != EINVAL) return 3;
    return ROQ_MSG_Reply(endpoint, &message, 6, payload.data(), 984);
  });
  Reply reply = ask("cms", "");
  ASSERT_EQ(reply.code, 0);
  EXPECT_EQ(reply.result(), 6U);
  EXPECT_EQ(reply.payload(), std::string(984, 'p'));
  EXPECT_EQ(service.result(), 0);
}

TEST_F(MessageEndpoint, RefusesNullPointers) {
  Endpoint endpoint = register_endpoint("cms");
  RoqMsgReceived received{};
  EXPECT_EQ(ROQ_MSG_Descriptor(nullptr), -1);
  EXPECT_EQ(ROQ_MSG_Receive(nullptr, &received, 0), -1);
  EXPECT_EQ(ROQ_MSG_Receive(endpoint.get(), nullptr, 0), -1);
  EXPECT_EQ(ROQ_MSG_Reply(nullptr, &received, 0, nullptr, 0), -1);
  EXPECT_EQ(ROQ_MSG_Reply(endpoint.get(), nullptr, 0, nullptr, 0), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(MessageEndpoint, IsUsedFromC) { EXPECT_EQ(roqmsg_can_be_used_from_c("cms"), 0); }

TEST_F(HostileDatagram, IsDroppedAndTheNextRequestIsAnswered) {
  Service service("cms", serve_echo);
  RawSocket hostile;
  std::string good = wire("cms", 1, 0, "");
  std::vector<std::string> datagrams = {
      std::string(),
      std::string(1, '\0'),
      good.substr(0, 16),
      good.substr(0, 39),
      wire("cms", 1, 1, ""),
      wire("cms", 1, 0, "x"),
      wire("cms", 1, 984, std::string(983, 'x')),
      wire("cms", 1, 0xFFFFFFFF, ""),
      wire("cms", 1, 0xFFFFFFFF, std::string(985, 'x')),
      wire("cms", 1, 985, std::string(985, 'x')),
      wire("cms", 1, 100000, std::string(100000, 'x')),
      wire("wan", 1, 0, ""),
      wire("", 1, 0, ""),
      wire("xxxxxxxxxxxxxxxx", 1, 0, ""),
      std::string(40, '\xff'),
      std::string(1024, '\xff'),
      std::string(1025, '\0'),
  };
  for (const std::string& datagram : datagrams) {
    ASSERT_TRUE(hostile.send_to("cms", datagram)) << datagram.size() << ": " << strerror(errno);
    ASSERT_EQ(ask("cms", "still here").payload(), "still here") << datagram.size();
  }
}

TEST_F(HostileDatagram, OfRandomBytesIsDropped) {
  Service service("cms", serve_echo);
  RawSocket hostile;
  uint32_t random = 1;
  for (int round = 0; round < 1000; ++round) {
    std::string datagram;
    random = random * 1664525 + 1013904223;
    for (size_t size = (random >> 8) % 1100; datagram.size() < size;) {
      random = random * 1664525 + 1013904223;
      datagram += static_cast<char>(random >> 24);
    }
    ASSERT_TRUE(hostile.send_to("cms", datagram));
  }
  EXPECT_EQ(ask("cms", "still here").payload(), "still here");
}

TEST_F(HostileDatagram, DoesNotStretchTheTimeLimit) {
  Endpoint endpoint = register_endpoint("cms");
  PeerProcess flood([] {
    RawSocket hostile;
    for (;;)
      hostile.send_to("cms", "junk");
    return 0;
  });
  RoqMsgReceived received;
  Stopwatch watch;
  EXPECT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, 200), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_LT(watch.elapsed(), kLongLimitMs / 2);
}

TEST_F(HostileDatagram, IsAllThatIsLookedAtWhenTheTimeLimitIsZero) {
  Endpoint endpoint = register_endpoint("cms");
  RawSocket hostile;
  ASSERT_TRUE(hostile.send_to("cms", "junk"));
  ASSERT_TRUE(hostile.send_to("cms", wire("cms", 0, 0, "")));
  RoqMsgReceived received;
  EXPECT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, 0), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, 0), 0);
}

TEST_F(HostileDatagram, FromASenderWithoutAddressExpectsNoReply) {
  Endpoint endpoint = register_endpoint("cms");
  RawSocket unbound;
  ASSERT_TRUE(unbound.send_to("cms", wire("cms", 99, 2, "hi")));
  RoqMsgReceived received;
  ASSERT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, kLongLimitMs), 0);
  EXPECT_STREQ(received.payload, "hi");
  EXPECT_EQ(received.expects_reply, 0U);
  EXPECT_EQ(ROQ_MSG_Reply(endpoint.get(), &received, 1, nullptr, 0), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(HostileDatagram, FromASenderThatDoesNotReadCannotHoldUpTheService) {
  Endpoint endpoint = register_endpoint("cms");
  RawSocket deaf("deaf");
  ASSERT_TRUE(deaf.send_to("cms", wire("cms", 99, 0, "")));
  RoqMsgReceived received;
  ASSERT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, kLongLimitMs), 0);
  EXPECT_EQ(received.expects_reply, 1U);
  Stopwatch watch;
  while (ROQ_MSG_Reply(endpoint.get(), &received, 1, nullptr, 0) == 0)
    continue;
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_LT(watch.elapsed(), kLongLimitMs / 2);
}

TEST_F(HostileDatagram, WithADescriptorAttachedLeavesNoneInTheService) {
  Endpoint endpoint = register_endpoint("cms");
  RawSocket hostile;
  std::string bytes = wire("cms", 0, 0, "");
  iovec piece{bytes.data(), bytes.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))]{};
  sockaddr_un address = address_of("cms");
  msghdr message{};
  message.msg_name = &address;
  message.msg_namelen = sizeof address;
  message.msg_iov = &piece;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr* attached = CMSG_FIRSTHDR(&message);
  attached->cmsg_level = SOL_SOCKET;
  attached->cmsg_type = SCM_RIGHTS;
  attached->cmsg_len = CMSG_LEN(sizeof(int));
  int descriptor = hostile.fd();
  memcpy(CMSG_DATA(attached), &descriptor, sizeof descriptor);
  ASSERT_GE(sendmsg(hostile.fd(), &message, 0), 0) << strerror(errno);
  auto before = open_descriptors();
  RoqMsgReceived received;
  EXPECT_EQ(ROQ_MSG_Receive(endpoint.get(), &received, kLongLimitMs), 0);
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(HostileReply, IsDroppedAndTheWaitGoesOn) {
  Gate ready;
  PeerProcess service([&] {
    RawSocket by_hand("cms");
    ready.open();
    Source client;
    uint32_t serial = take_request(by_hand, client);
    std::string wrong[] = {
        std::string(),
        wire("", serial, 0, "").substr(0, 39),
        wire("", serial, 5, "four"),
        wire("", serial, 0xFFFFFFFF, "four"),
        wire("", serial, 4, "five!"),
        wire("", serial, 2000, std::string(2000, 'x')),
        wire("", serial + 1, 0, ""),
        wire("", 0, 0, ""),
        wire("xxxxxxxxxxxxxxxx", serial, 0, ""),
    };
    for (const std::string& bytes : wrong) {
      if (!send_back(by_hand, client, bytes)) return 1;
    }
    return send_back(by_hand, client, wire("", serial, 4, "good")) ? 0 : 2;
  });
  ready.wait();
  Reply reply = ask("cms", "");
  ASSERT_EQ(reply.code, 0);
  EXPECT_EQ(reply.payload(), "good");
  EXPECT_EQ(service.result(), 0);
}

TEST_F(HostileReply, DoesNotStretchTheTimeLimit) {
  Gate ready;
  PeerProcess service([&] {
    RawSocket by_hand("cms");
    ready.open();
    Source client;
    take_request(by_hand, client);
    while (send_back(by_hand, client, "junk"))
      continue;
    return 0;
  });
  ready.wait();
  Stopwatch watch;
  EXPECT_EQ(ask("cms", "", 300).error, ETIMEDOUT);
  EXPECT_LT(watch.elapsed(), kLongLimitMs / 2);
  EXPECT_EQ(service.result(), 0);
}

TEST_F(HostileReply, OfAnybodyButTheAddresseeIsRefused) {
  Gate ready;
  PeerProcess service([&] {
    RawSocket by_hand("cms");
    RawSocket stranger("stranger");
    ready.open();
    Source client;
    uint32_t serial = take_request(by_hand, client);
    if (send_back(stranger, client, wire("", serial, 6, "forged")) || errno != EPERM) return 1;
    return send_back(by_hand, client, wire("", serial, 4, "good")) ? 0 : 2;
  });
  ready.wait();
  EXPECT_EQ(ask("cms", "").payload(), "good");
  EXPECT_EQ(service.result(), 0);
}
