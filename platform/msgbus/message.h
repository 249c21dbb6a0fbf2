// Messages as they travel: one datagram each, a header of 40 bytes and up to 984 bytes of payload.
#ifndef ROQ_MSGBUS_MESSAGE_H
#define ROQ_MSGBUS_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <roqmsg.h>
#include <span>

namespace roq::msgbus {

inline constexpr size_t kPayloadRoom = ROQ_MSG_PAYLOAD_ROOM;

// The name of an endpoint: terminated, zero behind the terminator.
struct Name {
  char text[ROQ_MSG_NAME_ROOM];
};

struct Header {
  Name addressee; // empty in a reply
  uint32_t type;
  uint32_t value;
  uint32_t sender; // process id
  uint32_t serial; // of a request, repeated in its reply; 0 when no reply is expected
  uint32_t result;
  uint32_t payload_length; // as the sender announces it; more than the payload's room is never carried
};

static_assert(offsetof(Header, addressee) == 0);
static_assert(offsetof(Header, type) == 16);
static_assert(offsetof(Header, value) == 20);
static_assert(offsetof(Header, sender) == 24);
static_assert(offsetof(Header, serial) == 28);
static_assert(offsetof(Header, result) == 32);
static_assert(offsetof(Header, payload_length) == 36);
static_assert(sizeof(Header) == 40);

inline constexpr size_t kBusHeaderSize = offsetof(Header, result);
inline constexpr size_t kLargestMessage = sizeof(Header) + kPayloadRoom;
static_assert(kLargestMessage == 1024);

// `text`, of which at most `size` bytes are read, cut to the room of a name.
Name make_name(const char* text, size_t size = SIZE_MAX);
bool is_usable(const Name& name);

// Bytes of payload that travel with a header.
size_t carried_length(const Header& header);

// The header of a datagram, none when the datagram is no message: its size is not what the header says, or the
// addressee does not end.
std::optional<Header> decode(std::span<const char> datagram);

// Stores a datagram that is a message to `name`; false, with nothing stored, when it is none. The reply address is
// left to the caller.
bool store_received(std::span<const char> datagram, const Name& name, RoqMsgReceived* received);

} // namespace roq::msgbus

#endif
