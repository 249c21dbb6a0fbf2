// Lookups that wait for a relay.
#include "system/dns/scenario.h"
#include "system/dns/scripted_server.h"
#include <csignal>
#include <gmock/gmock.h>
#include <roqutil/dns.h>

namespace {

using namespace roq::tests;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::SizeIs;

constexpr char kName[] = "www.example.net";
const std::vector<Bytes> kAddress = {a_record(kAskedName, {192, 0, 2, 1})};

class SlowLookup : public Scenarios {};

struct Outcome {
  bool resolved;
  steady_clock::duration took;
};

Outcome look_up(const char* name = kName) {
  const auto start = steady_clock::now();
  const bool resolved = ROQ_UTIL_Gethostbyname(name, AF_INET, nullptr) != nullptr;
  return {resolved, steady_clock::now() - start};
}

ROQ_SCENARIO(SlowLookup, WithoutAnyReplyTakesFourTimesTwoSeconds) {
  ScriptedServer relay(never());
  const Outcome outcome = look_up();
  EXPECT_FALSE(outcome.resolved);
  EXPECT_THAT(relay.asked_servers(), ElementsAre("127.0.0.1", "127.0.0.1", "::1", "::1"));
  EXPECT_GE(outcome.took, milliseconds(7900));
  EXPECT_LT(outcome.took, seconds(15));
}

ROQ_SCENARIO(SlowLookup, TurnsToTheOtherRelayAfterTwoTimeouts) {
  ScriptedServer relay(
      [](const Query& query) { return query.server == "::1" ? always(kAddress)(query) : std::vector<Bytes>{}; });
  const Outcome outcome = look_up();
  EXPECT_TRUE(outcome.resolved);
  EXPECT_THAT(relay.asked_servers(), ElementsAre("127.0.0.1", "127.0.0.1", "::1"));
  EXPECT_GE(outcome.took, milliseconds(3900));
  EXPECT_LT(outcome.took, seconds(10));
}

ROQ_SCENARIO(SlowLookup, TakesNoReplyThatComesAfterItsAttempt) {
  // The second query waits behind the late reply to the first one.
  ScriptedServer relay([](const Query& query) {
    if (query.number == 0) std::this_thread::sleep_for(milliseconds(2500));
    return always(kAddress)(query);
  });
  const Outcome outcome = look_up();
  EXPECT_TRUE(outcome.resolved);
  EXPECT_THAT(relay.queries(), SizeIs(2));
  EXPECT_GE(outcome.took, milliseconds(2400));
}

ROQ_SCENARIO(SlowLookup, WaitsForAReplyWithinItsTwoSeconds) {
  ScriptedServer relay([](const Query& query) {
    std::this_thread::sleep_for(milliseconds(700));
    return always(kAddress)(query);
  });
  const Outcome outcome = look_up();
  EXPECT_TRUE(outcome.resolved);
  EXPECT_THAT(relay.queries(), SizeIs(1));
  EXPECT_GE(outcome.took, milliseconds(690));
}

void ignore_signal(int) {}

ROQ_SCENARIO(SlowLookup, CountsAnInterruptedWaitAsAFailedAttempt) {
  struct sigaction action {};
  action.sa_handler = ignore_signal;
  sigaction(SIGALRM, &action, nullptr);
  ScriptedServer relay(
      [](const Query& query) { return query.number == 0 ? std::vector<Bytes>{} : always(kAddress)(query); });
  const pthread_t caller = pthread_self();
  std::thread interrupter([caller] {
    std::this_thread::sleep_for(milliseconds(500));
    pthread_kill(caller, SIGALRM);
  });
  const Outcome outcome = look_up();
  interrupter.join();
  EXPECT_TRUE(outcome.resolved);
  EXPECT_THAT(relay.queries(), SizeIs(2));
  EXPECT_LT(outcome.took, milliseconds(1900));
}

} // namespace
