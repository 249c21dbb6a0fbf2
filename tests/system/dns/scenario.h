// Tests that spend their time waiting. Each runs in a process of its own, with a network, a /var and globals of its
// own, and all of them run at the same time.
//
//   class SlowThings : public roq::tests::Scenarios {};
//   ROQ_SCENARIO(SlowThings, TakeFiveSeconds) { EXPECT_EQ(slow_thing(), 0); }
#ifndef ROQ_TESTS_SYSTEM_DNS_SCENARIO_H
#define ROQ_TESTS_SYSTEM_DNS_SCENARIO_H

#include <gtest/gtest.h>

namespace roq::tests {

class Scenarios : public testing::Test {
public:
  using Body = void (*)();

  struct Registration {
    Registration(const char* suite, const char* name, Body body);
  };

protected:
  // Starts every scenario that is to run, whatever its suite.
  static void SetUpTestSuite();
  // Waits for the scenario of the current test and reports what it found.
  static void await();
};

// Replaces /var and, where asked for, /proc of the calling process by empty folders, with /var/dns and /var/wan.
void enter_empty_var();
void enter_empty_proc();
// Gives the calling process a network of its own with the loopback up.
void enter_own_network();

} // namespace roq::tests

#define ROQ_SCENARIO(suite, name)                                                                                      \
  static void suite##_##name##_body();                                                                                 \
  static const roq::tests::Scenarios::Registration suite##_##name##_registration(#suite, #name,                        \
                                                                                 suite##_##name##_body);               \
  TEST_F(suite, name) { await(); }                                                                                     \
  static void suite##_##name##_body()

#endif
