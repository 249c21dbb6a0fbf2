// The attempts of a lookup, seen from the relay.
#include "system/dns/scripted_server.h"
#include <arpa/inet.h>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <roqutil/dns.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace roq::tests;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

constexpr char kName[] = "www.example.net";
const std::vector<Bytes> kAddress = {a_record(kAskedName, {192, 0, 2, 1})};
const std::vector<Bytes> kAddress6 = {aaaa_record(kAskedName, 1)};

struct Resolved {
  int32_t code;
  hostent record{};
  hostent* result = nullptr;
  alignas(16) char buffer[1024];

  explicit Resolved(const char* name, int32_t family = AF_INET, const char* source = nullptr) {
    code = handy_gethostbyname2_r(name, family, &record, buffer, sizeof buffer, &result, source);
  }
};

int32_t resolve(const char* name, int32_t family = AF_INET, const char* source = nullptr) {
  return Resolved(name, family, source).code;
}

std::vector<Bytes> error_reply(const Query& query) { return {reply_to(query.bytes, {}, 0x8183)}; }

// Answers the queries before the given one with `bent`, and that one properly.
Script properly_at(size_t number, std::function<Bytes(const Query&)> bent) {
  return [=](const Query& query) {
    return std::vector<Bytes>{query.number == number ? reply_to(query.bytes, kAddress) : bent(query)};
  };
}

TEST(DnsLookupQuery, IsTheOneOfTheWireFormat) {
  ScriptedServer relay(always(kAddress));
  const time_t before = time(nullptr);
  ASSERT_EQ(resolve(kName), 0);
  const time_t after = time(nullptr);
  ASSERT_THAT(relay.queries(), SizeIs(1));
  const Bytes sent = relay.queries()[0].bytes;
  const auto id = static_cast<uint16_t>(sent[0] << 8 | sent[1]);
  EXPECT_GE(static_cast<uint16_t>(id - (before + 1)), 0);
  EXPECT_LE(static_cast<uint16_t>(id - (before + 1)), after - before);
  EXPECT_EQ(sent, header(id, 0x0100, 1, 0) + question(wire_name(kName), kA));
}

TEST(DnsLookupQuery, OfIpv6AsksForType28) {
  ScriptedServer relay(always(kAddress6));
  ASSERT_EQ(resolve(kName, AF_INET6), 0);
  const Bytes sent = relay.queries().at(0).bytes;
  EXPECT_EQ(Bytes(sent.begin() + 12, sent.end()), question(wire_name(kName), kAaaa));
}

TEST(DnsLookupQuery, EncodesNamesOfAnyLengthUpTo494Bytes) {
  // The reply repeats no question, which would not leave room for the answer.
  ScriptedServer relay([](const Query& query) {
    return std::vector<Bytes>{Bytes(query.bytes.begin(), query.bytes.begin() + 2) +
                              Bytes{0x80, 0, 0, 0, 0, 1, 0, 0, 0, 0} + a_record({0}, {1, 2, 3, 4})};
  });
  std::vector<Bytes> expected;
  const auto expect_asked = [&](const std::string& name, const Bytes& wire) {
    EXPECT_EQ(resolve(name.c_str()), 0) << name.size();
    expected.push_back(question(wire, kA));
  };
  expect_asked("", {0, 0});
  for (size_t length : {1U, 63U, 64U, 253U}) {
    const std::string name(length, 'x');
    expect_asked(name, wire_name(name));
  }
  const std::string longest(494, 'x');
  expect_asked(longest, Bytes{494 & 0xFF} + raw(longest) + Bytes{0});
  expect_asked(longest + ".", Bytes{494 & 0xFF} + raw(longest) + Bytes{0});
  expect_asked("a..b", {1, 'a', 0, 1, 'b', 0});
  for (size_t length : {495U, 499U, 500U, 2000U}) {
    EXPECT_EQ(resolve(std::string(length, 'x').c_str()), 2) << length;
  }

  const std::vector<Query> queries = relay.queries();
  ASSERT_EQ(queries.size(), expected.size()) << "names that do not fit are not asked for";
  for (size_t i = 0; i < queries.size(); ++i) {
    EXPECT_EQ(Bytes(queries[i].bytes.begin() + 12, queries[i].bytes.end()), expected[i]) << i;
  }
}

TEST(DnsLookupAttempts, ForIpv4GoTwiceToTheIpv4RelayAndTwiceToTheOther) {
  ScriptedServer relay(error_reply);
  EXPECT_EQ(resolve(kName), 2);
  EXPECT_THAT(relay.asked_servers(), ElementsAre("127.0.0.1", "127.0.0.1", "::1", "::1"));
  EXPECT_THAT(relay.clients(), ElementsAre("127.0.0.1", "127.0.0.1", "::1", "::1"));
}

TEST(DnsLookupAttempts, ForIpv6GoTwiceToTheIpv6RelayAndTwiceToTheOther) {
  ScriptedServer relay(error_reply);
  EXPECT_EQ(resolve(kName, AF_INET6), 2);
  EXPECT_THAT(relay.asked_servers(), ElementsAre("::1", "::1", "127.0.0.1", "127.0.0.1"));
}

TEST(DnsLookupAttempts, SendTheSameBytes) {
  ScriptedServer relay(error_reply);
  EXPECT_EQ(resolve(kName), 2);
  const std::vector<Query> queries = relay.queries();
  ASSERT_THAT(queries, SizeIs(4));
  for (const Query& query : queries)
    EXPECT_EQ(query.bytes, queries[0].bytes);
}

TEST(DnsLookupAttempts, EndWithTheFirstGoodReply) {
  for (size_t good = 0; good < 4; ++good) {
    ScriptedServer relay(properly_at(good, [](const Query& query) { return reply_to(query.bytes, {}, 0x8182); }));
    EXPECT_EQ(resolve(kName), 0) << good;
    EXPECT_THAT(relay.queries(), SizeIs(good + 1));
  }
}

TEST(DnsLookupAttempts, FailOnRepliesThatAreNotAcceptable) {
  const std::pair<const char*, std::function<Bytes(const Query&)>> bent_replies[] = {
      {"empty", [](const Query&) { return Bytes{}; }},
      {"11 bytes", [](const Query& query) { return Bytes(query.bytes.begin(), query.bytes.begin() + 11); }},
      {"12 bytes without answers",
       [](const Query& query) {
         return Bytes(query.bytes.begin(), query.bytes.begin() + 2) + Bytes{0x80, 0} + Bytes(8);
       }},
      {"another id",
       [](const Query& query) {
         Bytes reply = reply_to(query.bytes, kAddress);
         reply[0] ^= 0x80;
         return reply;
       }},
      {"no response", [](const Query& query) { return reply_to(query.bytes, kAddress, 0x0100); }},
      {"the query itself", [](const Query& query) { return query.bytes; }},
      {"error code", [](const Query& query) { return reply_to(query.bytes, kAddress, 0x8185); }},
      {"no answers", [](const Query& query) { return reply_to(query.bytes, {}); }},
      {"pointer loop",
       [](const Query& query) {
         return reply_to(query.bytes, {a_record(pointer_to(33), {1, 2, 3, 4})});
       }},
      {"pointer outside",
       [](const Query& query) {
         return reply_to(query.bytes, {a_record(pointer_to(0x3000), {1, 2, 3, 4})});
       }},
      {"cut off",
       [](const Query& query) {
         Bytes reply = reply_to(query.bytes, kAddress);
         reply.pop_back();
         return reply;
       }},
      {"addresses of two lengths",
       [](const Query& query) {
         return reply_to(query.bytes, {kAddress[0], record(kAskedName, kA, 1, Bytes(5, 1))});
       }},
      {"512 bytes without an end", [](const Query& query) { return reply_to(query.bytes, {Bytes(512, 63)}); }},
  };
  for (const auto& [what, bent] : bent_replies) {
    ScriptedServer relay(properly_at(1, bent));
    EXPECT_EQ(resolve(kName), 0) << what;
    EXPECT_THAT(relay.queries(), SizeIs(2)) << what;
  }
}

TEST(DnsLookupAttempts, AcceptATruncatedReply) {
  ScriptedServer relay([](const Query& query) { return std::vector<Bytes>{reply_to(query.bytes, kAddress, 0x8380)}; });
  EXPECT_EQ(resolve(kName), 0);
  EXPECT_THAT(relay.queries(), SizeIs(1));
}

TEST(DnsLookupAttempts, LookAtOneDatagramEach) {
  // The first datagram decides; a good second one does not help.
  ScriptedServer relay([](const Query& query) {
    Bytes wrong = reply_to(query.bytes, kAddress);
    wrong[1] ^= 1;
    return std::vector<Bytes>{wrong, reply_to(query.bytes, kAddress)};
  });
  EXPECT_EQ(resolve(kName), 2);
  EXPECT_THAT(relay.queries(), SizeIs(4));
}

TEST(DnsLookupAttempts, AreNotDisturbedByASecondReply) {
  ScriptedServer relay([](const Query& query) {
    const Bytes reply = reply_to(query.bytes, kAddress);
    return std::vector<Bytes>{reply, reply, reply};
  });
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(resolve(kName), 0);
  EXPECT_THAT(relay.queries(), SizeIs(20));
}

TEST(DnsLookupAttempts, ReadAtMost512Bytes) {
  const auto reply_of = [](size_t size) {
    const size_t others = 12 + question(wire_name(kName), kA).size() + 12 + kAddress[0].size();
    return always({record(kAskedName, kTxt, 1, Bytes(size - others)), kAddress[0]});
  };
  {
    ScriptedServer relay(reply_of(512));
    EXPECT_EQ(resolve(kName), 0);
  }
  ScriptedServer relay(reply_of(513));
  EXPECT_EQ(resolve(kName), 2) << "the address is cut off";
  EXPECT_THAT(relay.queries(), SizeIs(4));
}

TEST(DnsLookupAttempts, AskForTheSameNameWhenAddressesWereCopiedOverIt) {
  ScriptedServer relay([](const Query& query) {
    std::vector<Bytes> records{aaaa_record(kAskedName, 1), aaaa_record(kAskedName, 2), aaaa_record(kAskedName, 3)};
    if (query.number == 0) records.push_back(record(kAskedName, kAaaa, 1, Bytes(5, 1)));
    return std::vector<Bytes>{reply_to(query.bytes, records)};
  });
  EXPECT_EQ(resolve(kName, AF_INET6), 0);
  const std::vector<Query> queries = relay.queries();
  ASSERT_THAT(queries, SizeIs(2));
  EXPECT_EQ(queries[1].bytes, queries[0].bytes);
}

TEST(DnsLookupSource, OfIpv4AsksOnlyTheIpv4RelayFromThatAddress) {
  ScriptedServer relay(error_reply);
  EXPECT_EQ(resolve(kName, AF_INET, "127.0.0.5"), 2);
  EXPECT_EQ(resolve(kName, AF_INET6, "127.0.0.5"), 2);
  EXPECT_THAT(relay.asked_servers(), SizeIs(8));
  EXPECT_THAT(relay.asked_servers(), Each("127.0.0.1"));
  EXPECT_THAT(relay.clients(), Each("127.0.0.5"));
}

TEST(DnsLookupSource, OfIpv6AsksOnlyTheIpv6Relay) {
  ScriptedServer relay(error_reply);
  EXPECT_EQ(resolve(kName, AF_INET, "::1"), 2);
  EXPECT_EQ(resolve(kName, AF_INET6, "::1"), 2);
  EXPECT_THAT(relay.asked_servers(), SizeIs(8));
  EXPECT_THAT(relay.asked_servers(), Each("::1"));
  EXPECT_THAT(relay.clients(), Each("::1"));
}

TEST(DnsLookupSource, ThatIsNoAddressBindsToAnyAndAsksTheIpv4Relay) {
  ScriptedServer relay(error_reply);
  EXPECT_EQ(resolve(kName, AF_INET6, "ppp0"), 2);
  EXPECT_EQ(resolve(kName, AF_INET, ""), 2);
  EXPECT_THAT(relay.asked_servers(), SizeIs(8));
  EXPECT_THAT(relay.asked_servers(), Each("127.0.0.1"));
  EXPECT_THAT(relay.clients(), Each("127.0.0.1"));
}

TEST(DnsLookupSource, ThatDoesNotExistIsNotAskedFrom) {
  ScriptedServer relay(always(kAddress));
  EXPECT_EQ(resolve(kName, AF_INET, "192.0.2.77"), 2);
  EXPECT_EQ(resolve(kName, AF_INET, "2001:db8::77"), 2);
  EXPECT_THAT(relay.queries(), SizeIs(0));
}

TEST(DnsLookupSource, DoesNotTakeTheDnsPort) {
  ScriptedServer relay(always(kAddress));
  EXPECT_EQ(resolve(kName), 0);
  EXPECT_NE(relay.queries().at(0).client_port, 53);
}

TEST(DnsLookupWithoutRelay, FailsAtOnce) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(resolve(kName), 2);
  EXPECT_EQ(resolve(kName, AF_INET6), 2);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

size_t open_descriptors() {
  size_t count = 0;
  for (int fd = 0; fd < 1024; ++fd)
    count += fcntl(fd, F_GETFD) >= 0 ? 1U : 0U;
  return count;
}

// A relay in a process of its own, so that this one's heap is the library's. Names that begin with x are unknown.
class RelayProcess {
public:
  RelayProcess() : pid_(fork()) {
    if (pid_ != 0) return;
    ScriptedServer relay([](const Query& query) {
      const bool unknown = query.bytes[13] == 'x';
      const std::vector<Bytes> three(3, kAddress[0]);
      return std::vector<Bytes>{reply_to(query.bytes, unknown ? std::vector<Bytes>{} : three)};
    });
    pause();
    _exit(0);
  }
  ~RelayProcess() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  RelayProcess(const RelayProcess&) = delete;
  RelayProcess& operator=(const RelayProcess&) = delete;

private:
  pid_t pid_;
};

size_t heap_in_use() { return mallinfo2().uordblks; }

TEST(DnsLookups, TenThousandOfThemLeaveNoDescriptorAndNoHeapBehind) {
  RelayProcess relay;
  for (int tries = 0; tries < 500 && ROQ_UTIL_Gethostbyname(kName, AF_INET, nullptr) == nullptr; ++tries)
    usleep(10000);
  const size_t descriptors = open_descriptors(), heap = heap_in_use();
  for (int i = 0; i < 10000; ++i) {
    const bool unknown = i % 50 == 0;
    const hostent* host = ROQ_UTIL_Gethostbyname(unknown ? "x.example.net" : kName, AF_INET, nullptr);
    ASSERT_EQ(host == nullptr, unknown) << i;
  }
  EXPECT_EQ(open_descriptors(), descriptors);
  EXPECT_LE(heap_in_use(), heap);
}

// Lets this process have so many descriptors, and none of the lower numbers is free.
class CrowdedDescriptors {
public:
  explicit CrowdedDescriptors(int count) {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit limit{4096, std::max<rlim_t>(before_.rlim_max, 4096)};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    for (int fd = dup(0); fd >= 0; fd = dup(0)) {
      if (fd < count)
        taken_.push_back(fd);
      else
        close(fd);
      if (fd >= count) break;
    }
  }
  ~CrowdedDescriptors() {
    for (int fd : taken_)
      close(fd);
    setrlimit(RLIMIT_NOFILE, &before_);
  }
  CrowdedDescriptors(const CrowdedDescriptors&) = delete;
  CrowdedDescriptors& operator=(const CrowdedDescriptors&) = delete;

private:
  rlimit before_;
  std::vector<int> taken_;
};

TEST(DnsLookups, WorkWithDescriptorsBeyondWhatSelectTakes) {
  ScriptedServer relay(always(kAddress));
  CrowdedDescriptors crowded(1100);
  EXPECT_EQ(resolve(kName), 0);
}

TEST(DnsLookups, WithoutADescriptorFailAndSendNothing) {
  ScriptedServer relay(always(kAddress));
  CrowdedDescriptors crowded(1100);
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none_left{1100, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none_left), 0);
  EXPECT_EQ(resolve(kName), 2);
  EXPECT_THAT(relay.queries(), SizeIs(0));
}

} // namespace
