#include "bus_test.h"

#include <atomic>
#include <cerrno>
#include <fstream>
#include <thread>
#include <vector>

using namespace roq::test::msgbus;

namespace {

class MessageRequest : public BusTest {};
class MessageSend : public BusTest {};

// The next message of an endpoint; its type is 0 when none came.
RoqMsgReceived next_message(RoqMsgEndpoint* endpoint, uint32_t limit_ms = kLongLimitMs) {
  RoqMsgReceived message{};
  EXPECT_EQ(ROQ_MSG_Receive(endpoint, &message, limit_ms), 0) << strerror(errno);
  return message;
}

} // namespace

TEST_F(MessageRequest, GetsTheReplyOfItsAddressee) {
  Service service("cms", serve_echo);
  Message message("cms", 0x60007, 3, "ppp0");
  Reply reply = ask(message);
  ASSERT_EQ(reply.code, 0);
  EXPECT_EQ(reply.result(), 0x6000aU);
  EXPECT_EQ(reply.payload(), "ppp0");
}

TEST_F(MessageRequest, ReachesTheAddresseeAndNobodyElse) {
  Service wan("wan", [](RoqMsgEndpoint* endpoint) {
    RoqMsgReceived message;
    return ROQ_MSG_Receive(endpoint, &message, kLongLimitMs) == 0 &&
                   ROQ_MSG_Reply(endpoint, &message, 1, nullptr, 0) == 0
               ? 0
               : 1;
  });
  Service cms("cms", serve_echo);
  EXPECT_EQ(ask("cms", "").result(), 0x60007U);
  EXPECT_EQ(ask("wan", "").result(), 1U);
  EXPECT_EQ(wan.result(), 0);
}

TEST_F(MessageRequest, LeavesTheCallersMessageAsItIs) {
  Service service("cms", serve_echo);
  Message message("cms", 0x60007, 0, "eth0");
  Message before = message;
  ASSERT_EQ(ask(message).code, 0);
  EXPECT_EQ(memcmp(message.bytes, before.bytes, sizeof message.bytes), 0);
}

TEST_F(MessageRequest, MayLieAtAnyAddress) {
  Service service("cms", serve_echo);
  Message message("cms", 0x60007, 0, "eth0");
  char shifted[1025];
  memcpy(shifted + 1, message.bytes, 1024);
  ROQ_MSG_SimpleBuilder(shifted + 1, "cms", 1, 2);
  void* reply = nullptr;
  ASSERT_EQ(ROQ_MSG_SendAndRecv(shifted + 1, &reply, kLongLimitMs), 0);
  EXPECT_STREQ(static_cast<char*>(reply) + 40, "eth0");
  free(reply);
}

TEST_F(MessageRequest, CarriesPayloadsOfAnySizeUpToItsRoomBothWays) {
  Service service("cms", serve_echo);
  for (size_t length : {0U, 1U, 11U, 500U, 983U, 984U}) {
    std::string payload(length, 'x');
    Reply reply = ask("cms", payload);
    ASSERT_EQ(reply.code, 0) << length;
    EXPECT_EQ(reply.payload(), payload);
  }
}

TEST_F(MessageRequest, GetsAZeroByteBehindThePayloadOfTheReply) {
  Service service("cms", serve_echo);
  for (size_t length : {0U, 4U, 984U}) {
    Reply reply = ask("cms", std::string(length, 'x'));
    ASSERT_EQ(reply.code, 0);
    EXPECT_EQ(std::string(reply.bytes.get() + 40, length + 1), std::string(length, 'x') + '\0');
  }
}

TEST_F(MessageRequest, AnnouncingMoreThanItHoldsCarriesThousandTwentyFourBytes) {
  Service service("cms", [](RoqMsgEndpoint* endpoint) {
    for (;;) {
      RoqMsgReceived message;
      if (ROQ_MSG_Receive(endpoint, &message, kLongLimitMs) != 0) return 1;
      uint32_t lengths[] = {message.announced_length, message.payload_length};
      ROQ_MSG_Reply(endpoint, &message, message.payload[984] == '\0', lengths, sizeof lengths);
    }
  });
  for (uint32_t announced : {985U, 2001U, 0xFFFFFFFFU}) {
    // A buffer of exactly the largest size, so that a sanitizer sees a read behind it.
    std::unique_ptr<Message> message(new Message("cms", 0x60007, 0, std::string(984, 'x')));
    message->announce(announced);
    Reply reply = ask(*message);
    ASSERT_EQ(reply.code, 0);
    EXPECT_EQ(reply.field(40), announced);
    EXPECT_EQ(reply.field(44), 984U);
    EXPECT_EQ(reply.result(), 1U);
  }
}

TEST_F(MessageRequest, FailsAtOnceWhenNobodyHasTheName) {
  Service other("wan", serve_echo);
  Stopwatch watch;
  Reply reply = ask("cms", "eth0");
  EXPECT_NE(reply.code, 0);
  EXPECT_EQ(reply.error, ENOENT);
  EXPECT_LT(watch.elapsed(), kLongLimitMs / 2);
}

TEST_F(MessageRequest, FailsAtOnceWhenThereIsNoBusFolder) {
  Stopwatch watch;
  EXPECT_NE(ask("cms", "eth0").code, 0);
  EXPECT_LT(watch.elapsed(), kLongLimitMs / 2);
  EXPECT_FALSE(std::filesystem::exists(kBusFolder));
}

TEST_F(MessageRequest, FailsAtOnceWhenTheHolderOfTheNameIsDead) {
  Service service("cms", serve_echo);
  service.kill();
  ASSERT_TRUE(std::filesystem::exists(kBusFolder / "cms"));
  Stopwatch watch;
  Reply reply = ask("cms", "eth0");
  EXPECT_NE(reply.code, 0);
  EXPECT_EQ(reply.error, ECONNREFUSED);
  EXPECT_LT(watch.elapsed(), kLongLimitMs / 2);
}

TEST_F(MessageRequest, FailsLongBeforeItsLimitWhenTheAddresseeDiesWhileItIsAwaited) {
  Service service("cms", [](RoqMsgEndpoint* endpoint) {
    RoqMsgReceived message;
    ROQ_MSG_Receive(endpoint, &message, kLongLimitMs);
    return 0;
  });
  Stopwatch watch;
  Reply reply = ask("cms", "eth0");
  EXPECT_NE(reply.code, 0);
  EXPECT_EQ(reply.error, ECONNREFUSED);
  EXPECT_LT(watch.elapsed(), kLongLimitMs / 2);
  EXPECT_EQ(service.result(), 0);
}

TEST_F(MessageRequest, GetsTheReplyThatItsAddresseeGaveBeforeItDied) {
  for (int round = 0; round < 20; ++round) {
    Service service("cms", [](RoqMsgEndpoint* endpoint) {
      RoqMsgReceived message;
      ROQ_MSG_Receive(endpoint, &message, kLongLimitMs);
      return ROQ_MSG_Reply(endpoint, &message, 5, nullptr, 0);
    });
    Reply reply = ask("cms", "eth0");
    ASSERT_EQ(reply.code, 0);
    EXPECT_EQ(reply.result(), 5U);
    EXPECT_EQ(service.result(), 0);
  }
}

TEST_F(MessageRequest, TimesOutWhenNoReplyComesAndLeavesTheReplyPointerAlone) {
  Endpoint silent = register_endpoint("cms");
  ASSERT_NE(silent, nullptr);
  Message message("cms", 0x60007, 0, "eth0");
  for (uint32_t limit : {0U, 1U, 300U, 1300U}) {
    char canary;
    void* reply = &canary;
    Stopwatch watch;
    EXPECT_NE(ROQ_MSG_SendAndRecv(message.bytes, &reply, limit), 0);
    EXPECT_EQ(errno, ETIMEDOUT);
    EXPECT_GE(watch.elapsed(), limit);
    EXPECT_EQ(reply, &canary);
  }
}

TEST_F(MessageRequest, WaitsForALateReplyWithinItsLimit) {
  Service service("cms", [](RoqMsgEndpoint* endpoint) {
    RoqMsgReceived message = next_message(endpoint);
    usleep(2500000);
    return ROQ_MSG_Reply(endpoint, &message, 8, nullptr, 0);
  });
  Reply reply = ask("cms", "eth0");
  ASSERT_EQ(reply.code, 0);
  EXPECT_EQ(reply.result(), 8U);
}

TEST_F(MessageRequest, IsNotConfusedByTheLateReplyToAnEarlierOne) {
  Gate first_gave_up;
  Service service("cms", [&](RoqMsgEndpoint* endpoint) {
    RoqMsgReceived first = next_message(endpoint);
    first_gave_up.wait();
    bool dropped = ROQ_MSG_Reply(endpoint, &first, 111, nullptr, 0) != 0 && errno == ECONNREFUSED;
    RoqMsgReceived second = next_message(endpoint);
    // While the second one waits, the first is answered once more.
    dropped = dropped && ROQ_MSG_Reply(endpoint, &first, 111, nullptr, 0) != 0;
    ROQ_MSG_Reply(endpoint, &second, 222, nullptr, 0);
    return dropped ? 0 : 1;
  });
  EXPECT_EQ(ask("cms", "eth0", 50).error, ETIMEDOUT);
  first_gave_up.open();
  Reply second = ask("cms", "eth1");
  ASSERT_EQ(second.code, 0);
  EXPECT_EQ(second.result(), 222U);
  EXPECT_EQ(service.result(), 0);
}

TEST_F(MessageRequest, OfSeveralClientsAtOnceGetsItsOwnReply) {
  constexpr int kClients = 8;
  constexpr int kRounds = 50;
  Service service("cms", serve_echo);
  std::unique_ptr<PeerProcess> clients[kClients];
  for (int client = 0; client < kClients; ++client) {
    clients[client] = std::make_unique<PeerProcess>([client] {
      for (int round = 0; round < kRounds; ++round) {
        std::string payload = std::to_string(client) + ":" + std::to_string(round);
        Message message("cms", static_cast<uint32_t>(client), static_cast<uint32_t>(1000 * round), payload);
        Reply reply = ask(message);
        if (reply.code != 0 || reply.payload() != payload) return 1;
        if (reply.result() != static_cast<uint32_t>(client + 1000 * round)) return 2;
      }
      return 0;
    });
  }
  for (auto& client : clients)
    EXPECT_EQ(client->result(), 0);
}

TEST_F(MessageRequest, OfSeveralThreadsAtOnceGetsItsOwnReply) {
  constexpr uint32_t kThreads = 8;
  constexpr uint32_t kRounds = 50;
  Service service("cms", serve_echo);
  std::vector<std::thread> threads;
  std::atomic<uint32_t> right = 0;
  for (uint32_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread, &right] {
      for (uint32_t round = 0; round < kRounds; ++round) {
        Message message("cms", thread, 1000 * round, "");
        Reply reply = ask(message);
        if (reply.code == 0 && reply.result() == thread + 1000 * round) ++right;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(right, kThreads * kRounds);
}

TEST_F(MessageRequest, MayBeAnsweredInAnotherOrderThanItCame) {
  Endpoint endpoint = register_endpoint("cms");
  ASSERT_NE(endpoint, nullptr);
  auto client = [](uint32_t type) {
    Message message("cms", type, 0, "");
    Reply reply = ask(message);
    return reply.code == 0 && reply.result() == 10 * type ? 0 : 1;
  };
  PeerProcess one([&] { return client(1); });
  PeerProcess two([&] { return client(2); });
  RoqMsgReceived first = next_message(endpoint.get());
  RoqMsgReceived second = next_message(endpoint.get());
  EXPECT_EQ(ROQ_MSG_Reply(endpoint.get(), &second, 10 * second.type, nullptr, 0), 0);
  EXPECT_EQ(ROQ_MSG_Reply(endpoint.get(), &first, 10 * first.type, nullptr, 0), 0);
  EXPECT_EQ(one.result(), 0);
  EXPECT_EQ(two.result(), 0);
}

TEST_F(MessageRequest, OutlastsInterruptingSignals) {
  Service service("cms", [](RoqMsgEndpoint* endpoint) {
    RoqMsgReceived message = next_message(endpoint);
    usleep(300000);
    return ROQ_MSG_Reply(endpoint, &message, 8, nullptr, 0);
  });
  FrequentAlarms alarms;
  Reply reply = ask("cms", "eth0");
  ASSERT_EQ(reply.code, 0);
  EXPECT_EQ(reply.result(), 8U);
}

TEST_F(MessageRequest, KeepsItsLimitUnderInterruptingSignals) {
  Endpoint silent = register_endpoint("cms");
  FrequentAlarms alarms;
  Stopwatch watch;
  EXPECT_EQ(ask("cms", "eth0", 300).error, ETIMEDOUT);
  EXPECT_GE(watch.elapsed(), 300);
  EXPECT_LT(watch.elapsed(), kLongLimitMs / 2);
}

TEST_F(MessageRequest, WaitsForRoomInAFullQueue) {
  Gate queue_is_full;
  Service service("cms", [&](RoqMsgEndpoint* endpoint) {
    queue_is_full.wait();
    usleep(200000);
    return serve_echo(endpoint);
  });
  Message notice("cms", 1, 0, "");
  int queued = 0;
  while (ROQ_MSG_Send(notice.bytes) == 0)
    ++queued;
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_GT(queued, 0);
  queue_is_full.open();
  EXPECT_EQ(ask("cms", "eth0").code, 0);
}

TEST_F(MessageRequest, TimesOutBeforeAQueueThatStaysFull) {
  Endpoint endpoint = register_endpoint("cms");
  Message notice("cms", 1, 0, "");
  while (ROQ_MSG_Send(notice.bytes) == 0)
    continue;
  Stopwatch watch;
  EXPECT_EQ(ask("cms", "eth0", 200).error, ETIMEDOUT);
  EXPECT_GE(watch.elapsed(), 200);
}

TEST_F(MessageRequest, FromAnOverlongAddresseeNameReachesTheCutName) {
  Service service("configuration-manager", serve_echo);
  EXPECT_EQ(files_in_bus_folder(), std::set<std::string>{"configuration-m"});
  EXPECT_EQ(ask("configuration-manager-of-somebody", "").code, 0);
  EXPECT_EQ(ask("configuration-m", "").code, 0);
}

TEST_F(MessageRequest, ToANameThatCanBeNoEndpointFails) {
  std::filesystem::create_directories(kBusFolder);
  for (const char* name : {"", ".", "..", "../x", "/tmp/x", "a/b"})
    EXPECT_EQ(ask(name, "").error, EINVAL) << name;
}

TEST_F(MessageRequest, WithoutAddresseeInItsHeaderFails) {
  Message message("cms", 1, 0, "");
  memset(message.bytes, 0, sizeof message.bytes);
  EXPECT_EQ(ask(message).error, EINVAL);
}

TEST_F(MessageRequest, WhoseHeaderHoldsANameWithoutEndReachesTheCutName) {
  Service service("xxxxxxxxxxxxxxx", serve_echo);
  Message message("cms", 1, 0, "");
  memset(message.bytes, 'x', 32);
  EXPECT_EQ(ask(message).code, 0);
}

TEST_F(MessageRequest, OfNullPointersFails) {
  Message message("cms", 1, 0, "");
  void* reply = nullptr;
  EXPECT_NE(ROQ_MSG_SendAndRecv(nullptr, &reply, 0), 0);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_NE(ROQ_MSG_SendAndRecv(message.bytes, nullptr, 0), 0);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_NE(ROQ_MSG_Send(nullptr), 0);
  EXPECT_EQ(errno, EINVAL);
  ROQ_MSG_SimpleBuilder(nullptr, "cms", 1, 0);
}

TEST_F(MessageRequest, SaysNothingOnFailure) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ask("nobody", "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(MessageRequest, TenThousandTimesLeavesNoDescriptorAndNoFileBehind) {
  Service service("cms", serve_echo);
  ASSERT_EQ(ask("cms", "").code, 0);
  std::string service_id = std::to_string(service.id());
  auto before_in_service = descriptors_of(service_id);
  auto before = open_descriptors();
  for (int round = 0; round < 10000; ++round) {
    Message message("cms", 1, static_cast<uint32_t>(round), "eth0");
    Reply reply = ask(message);
    ASSERT_EQ(reply.code, 0) << round;
    ASSERT_EQ(reply.result(), static_cast<uint32_t>(round) + 1);
  }
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(descriptors_of(service_id), before_in_service);
  EXPECT_EQ(files_in_bus_folder(), std::set<std::string>{"cms"});
}

TEST_F(MessageRequest, ThatFailsLeavesNoDescriptorAndNoFileBehind) {
  Endpoint silent = register_endpoint("silent");
  auto before = open_descriptors();
  for (int round = 0; round < 100; ++round) {
    ask("nobody", "");
    ask("silent", "", 0);
    ask("a/b", "");
    RoqMsgReceived message;
    ROQ_MSG_Receive(silent.get(), &message, 0);
  }
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(files_in_bus_folder(), std::set<std::string>{"silent"});
  std::ifstream sockets("/proc/net/unix");
  for (std::string line; std::getline(sockets, line);)
    EXPECT_EQ(line.find("@roqmsg:"), std::string::npos) << line;
}

TEST_F(MessageSend, CarriesTypeValueSenderAndPayload) {
  Endpoint endpoint = register_endpoint("voice");
  Message message("voice", 0xFFFFFFFE, 0x80000001, std::string("a\0b\xff", 4));
  ASSERT_EQ(ROQ_MSG_Send(message.bytes), 0);
  RoqMsgReceived received = next_message(endpoint.get());
  EXPECT_EQ(received.type, 0xFFFFFFFEU);
  EXPECT_EQ(received.value, 0x80000001U);
  EXPECT_EQ(received.sender, static_cast<uint32_t>(getpid()));
  EXPECT_EQ(received.expects_reply, 0U);
  EXPECT_EQ(received.announced_length, 4U);
  EXPECT_EQ(std::string(received.payload, received.payload_length), std::string("a\0b\xff", 4));
}

TEST_F(MessageSend, WithoutAddresseeReachesTheSupervisor) {
  Endpoint supervisor = register_endpoint(ROQ_MSG_SUPERVISOR);
  // As short as the stop request, so that a sanitizer sees a read behind it.
  std::unique_ptr<char[]> message(new char[52]{});
  ROQ_MSG_SimpleBuilder(message.get(), nullptr, 0x2000d, 0);
  uint32_t length = 12;
  memcpy(message.get() + 36, &length, sizeof length);
  memcpy(message.get() + 40, "voip", 4);
  ASSERT_EQ(ROQ_MSG_Send(message.get()), 0);
  RoqMsgReceived received = next_message(supervisor.get());
  EXPECT_EQ(received.type, 0x2000dU);
  EXPECT_EQ(received.payload_length, 12U);
  EXPECT_EQ(std::string(received.payload, 12), std::string("voip\0\0\0\0\0\0\0\0", 12));
}

TEST_F(MessageSend, FailsWhenNobodyHasTheName) {
  Message message("voice", 1, 0, "");
  EXPECT_NE(ROQ_MSG_Send(message.bytes), 0);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(MessageSend, DoesNotWaitForRoomInAFullQueue) {
  Endpoint endpoint = register_endpoint("voice");
  Message message("voice", 1, 0, "");
  Stopwatch watch;
  int queued = 0;
  while (ROQ_MSG_Send(message.bytes) == 0)
    ++queued;
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_GT(queued, 0);
  EXPECT_LT(watch.elapsed(), kLongLimitMs / 2);
  for (; queued > 0; --queued)
    EXPECT_EQ(next_message(endpoint.get()).type, 1U);
}

TEST_F(MessageSend, KeepsTheOrderOfOneSender) {
  Endpoint endpoint = register_endpoint("voice");
  for (uint32_t value = 0; value < 5; ++value) {
    Message message("voice", 1, value, "");
    ASSERT_EQ(ROQ_MSG_Send(message.bytes), 0);
  }
  for (uint32_t value = 0; value < 5; ++value)
    EXPECT_EQ(next_message(endpoint.get()).value, value);
}

TEST_F(MessageSend, FillsOnlyTheBusHeaderWhenItIsBuilt) {
  char message[1024];
  memset(message, 'x', sizeof message);
  ROQ_MSG_SimpleBuilder(message, "cms", 1, 2);
  EXPECT_EQ(std::string(message + 32, sizeof message - 32), std::string(sizeof message - 32, 'x'));
}

TEST_F(MessageSend, FindsTheFolderThatTheEnvironmentNames) {
  std::filesystem::path folder = "/var/tmp/other-bus";
  setenv("ROQ_MSG_DIR", folder.c_str(), 1);
  Endpoint endpoint = register_endpoint("voice");
  ASSERT_NE(endpoint, nullptr);
  EXPECT_TRUE(std::filesystem::is_socket(folder / "voice"));
  EXPECT_FALSE(std::filesystem::exists(kBusFolder));
  Message message("voice", 1, 0, "");
  EXPECT_EQ(ROQ_MSG_Send(message.bytes), 0);
  unsetenv("ROQ_MSG_DIR");
  EXPECT_NE(ROQ_MSG_Send(message.bytes), 0);
  setenv("ROQ_MSG_DIR", "", 1);
  EXPECT_NE(ROQ_MSG_Send(message.bytes), 0);
  endpoint.reset();
  std::filesystem::remove_all(folder);
}

TEST_F(MessageSend, RefusesAFolderWhoseNameIsTooLong) {
  Message message("voice", 1, 0, "");
  setenv("ROQ_MSG_DIR", ("/var/" + std::string(150, 'x')).c_str(), 1);
  EXPECT_NE(ROQ_MSG_Send(message.bytes), 0);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_EQ(ROQ_MSG_Register("voice"), nullptr);
  EXPECT_EQ(errno, ENAMETOOLONG);
}
