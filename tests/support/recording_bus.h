// A message bus inside the test program: it records what the library hands to the bus and answers as the test says.
//
//   RecordingBus bus;
//   bus.reply_with(3);
//   EXPECT_EQ(ROQ_UTIL_GetIntfType("eth0"), 3U);
//   ASSERT_EQ(bus.sent.size(), 1U);
//   EXPECT_EQ(bus.sent[0].addressee, "cms");
//   EXPECT_EQ(bus.sent[0].payload(), std::string("eth0\0", 5));
//
// Programs that link the archive get these operations instead of those of the bus library. One RecordingBus exists at
// a time; while there is none, messages and debug lines go nowhere and requests fail.
#ifndef ROQ_TESTS_SUPPORT_RECORDING_BUS_H
#define ROQ_TESTS_SUPPORT_RECORDING_BUS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace roq::test {

// One call of ROQ_MSG_SimpleBuilder.
struct BuiltHeader {
  const void* message;
  std::optional<std::string> addressee; // none: a null name
  uint32_t type;
  uint32_t value;
  std::string bytes_before; // the first 52 bytes of the message as the builder found them
};

// One call of ROQ_MSG_Send or ROQ_MSG_SendAndRecv.
struct SentMessage {
  std::optional<std::string> addressee;
  uint32_t type;
  uint32_t value;
  bool expects_reply;
  uint32_t timeout_ms;     // 0 without reply
  uint32_t result_field;   // at offset 32
  uint32_t payload_length; // at offset 36, as sent
  std::string bytes;       // header and payload; never more than the 1024 bytes of the largest message
  std::string payload() const { return bytes.substr(40); }
};

class RecordingBus {
public:
  RecordingBus();
  ~RecordingBus();
  RecordingBus(const RecordingBus&) = delete;
  RecordingBus& operator=(const RecordingBus&) = delete;

  // Every request from now on is answered with this value.
  void reply_with(uint32_t result_value);
  // Every request from now on fails with this code, and its reply pointer is left with an address that must not be
  // used. So it is from the beginning, with -1.
  void fail_with(int32_t code);

  std::vector<BuiltHeader> built;
  std::vector<SentMessage> sent;
  std::vector<std::string> debug_lines; // formatted

  // What ROQ_MSG_SendAndRecv does once the message is recorded.
  int32_t answer(void** reply) const;

private:
  std::optional<uint32_t> reply_value_;
  int32_t failure_code_ = -1;
};

} // namespace roq::test

#endif
