// The two forms in which the library talks over the message bus.
#ifndef ROQ_FRAME_BUS_REQUEST_H
#define ROQ_FRAME_BUS_REQUEST_H

#include <cstddef>
#include <cstdint>

namespace roq::frame {

inline constexpr size_t kBusHeaderSize = 32;
inline constexpr size_t kRequestPayloadRoom = 984;
inline constexpr size_t kNoticePayloadRoom = 12;
inline constexpr uint32_t kReplyTimeoutMs = 10000;

enum class MessageType : uint32_t { interface_type = 0x60007, stop_process = 0x2000d };

template <size_t payload_room> struct BusMessage {
  uint8_t bus_header[kBusHeaderSize];
  uint32_t result;
  uint32_t payload_length;
  char payload[payload_room];
};

using Request = BusMessage<kRequestPayloadRoom>;
using Notice = BusMessage<kNoticePayloadRoom>;

static_assert(offsetof(Request, result) == 32);
static_assert(offsetof(Request, payload_length) == 36);
static_assert(offsetof(Request, payload) == 40);
static_assert(sizeof(Request) == 1024);
static_assert(sizeof(Notice) == 52);

// Sends `text` to `addressee` and returns the result value of the reply, 0 when there is none. A text that does not
// fit is cut; the payload length still tells the full one.
uint32_t request_value(const char* addressee, MessageType type, const char* text);

// Sends `text`, cut to 11 characters, to the platform's supervisor; nobody answers.
void send_notice(MessageType type, const char* text);

} // namespace roq::frame

#endif
