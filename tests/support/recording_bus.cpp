#include "support/recording_bus.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <roqutil/msg.h>

namespace roq::test {
namespace {

constexpr size_t kBusHeaderSize = 32;
constexpr size_t kHeaderSize = 40;
constexpr size_t kShortestMessage = 52;
constexpr size_t kLongestMessage = 1024;
constexpr uint32_t kNotYetWritten = 0xA5A5A5A5;

RecordingBus* active = nullptr;

// A bus header that names the call that built it, so that a message can be matched with its header.
std::string header_of(size_t serial) {
  std::string header = "built by call " + std::to_string(serial);
  header.resize(kBusHeaderSize, '.');
  return header;
}

uint32_t field_at(const void* message, size_t offset) {
  uint32_t value;
  memcpy(&value, static_cast<const char*>(message) + offset, sizeof value);
  return value;
}

const BuiltHeader* find_header(const void* message) {
  for (size_t serial = 0; serial < active->built.size(); ++serial) {
    if (memcmp(message, header_of(serial).data(), kBusHeaderSize) == 0) return &active->built[serial];
  }
  ADD_FAILURE() << "a message was sent whose bus header the builder did not fill";
  return nullptr;
}

// Reads what the message says it holds, so that a sanitizer sees when a short buffer does not hold it.
std::string bytes_of(const void* message) {
  size_t announced = kHeaderSize + size_t{field_at(message, 36)};
  return {static_cast<const char*>(message), std::min(announced, kLongestMessage)};
}

void record(const void* message, bool expects_reply, uint32_t timeout_ms) {
  const BuiltHeader* header = find_header(message);
  if (header == nullptr) return;
  EXPECT_EQ(header->message, message) << "the message was built in another buffer";
  active->sent.push_back({.addressee = header->addressee,
                          .type = header->type,
                          .value = header->value,
                          .expects_reply = expects_reply,
                          .timeout_ms = timeout_ms,
                          .result_field = field_at(message, 32),
                          .payload_length = field_at(message, 36),
                          .bytes = bytes_of(message)});
}

void* make_reply(uint32_t value) {
  auto* reply = static_cast<char*>(calloc(1, kHeaderSize));
  memcpy(reply + kBusHeaderSize, &value, sizeof value);
  return reply;
}

} // namespace

RecordingBus::RecordingBus() {
  EXPECT_EQ(active, nullptr) << "one recording bus at a time";
  active = this;
}

RecordingBus::~RecordingBus() { active = nullptr; }

void RecordingBus::reply_with(uint32_t result_value) { reply_value_ = result_value; }

void RecordingBus::fail_with(int32_t code) {
  reply_value_.reset();
  failure_code_ = code;
}

int32_t RecordingBus::answer(void** reply) const {
  *reply = reply_value_ ? make_reply(*reply_value_) : reinterpret_cast<void*>(uintptr_t{1});
  return reply_value_ ? 0 : failure_code_;
}

} // namespace roq::test

using roq::test::active;

// The payload length is overwritten as well: whoever sets it before the builder runs loses it.
extern "C" void ROQ_MSG_SimpleBuilder(void* pvMsg, const char* pcAddressee, uint32_t ulType, uint32_t ulValue) {
  if (active == nullptr) return;
  auto* message = static_cast<char*>(pvMsg);
  std::string header = roq::test::header_of(active->built.size());
  std::optional<std::string> addressee;
  if (pcAddressee != nullptr) addressee = pcAddressee;
  active->built.push_back({pvMsg, addressee, ulType, ulValue, {message, roq::test::kShortestMessage}});
  memcpy(message, header.data(), header.size());
  memcpy(message + 36, &roq::test::kNotYetWritten, sizeof roq::test::kNotYetWritten);
}

extern "C" int32_t ROQ_MSG_Send(void* pvMsg) {
  if (active == nullptr) return -1;
  roq::test::record(pvMsg, false, 0);
  return 0;
}

extern "C" int32_t ROQ_MSG_SendAndRecv(void* pvMsg, void** ppvReply, uint32_t ulTimeoutMs) {
  if (active == nullptr) return -1;
  roq::test::record(pvMsg, true, ulTimeoutMs);
  return active->answer(ppvReply);
}

extern "C" void ROQ_DEBUG(const char* pcFormat, ...) {
  if (active == nullptr) return;
  char line[1024];
  va_list arguments;
  va_start(arguments, pcFormat);
  vsnprintf(line, sizeof line, pcFormat, arguments);
  va_end(arguments);
  active->debug_lines.emplace_back(line);
}
