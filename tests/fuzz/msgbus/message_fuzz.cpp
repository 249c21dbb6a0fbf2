// Any bytes may arrive at an endpoint: they are refused, or stored within their bounds and exactly as they came.
#include "message.h"
#include <cstdlib>
#include <cstring>

using namespace roq::msgbus;

namespace {

void require(bool holds) {
  if (!holds) abort();
}

std::span<const char> as_bytes(const RoqMsgReceived& received) {
  return {reinterpret_cast<const char*>(&received), sizeof received};
}

bool is_filled_with(std::span<const char> bytes, char filler) {
  for (char byte : bytes) {
    if (byte != filler) return false;
  }
  return true;
}

Header header_of(const RoqMsgReceived& received, const Name& name) {
  Header header{};
  header.addressee = name;
  header.type = received.type;
  header.value = received.value;
  header.sender = received.sender;
  header.serial = received.serial;
  header.payload_length = received.announced_length;
  return header;
}

// Behind the terminator of the name anything may stand, and the result value means nothing in a request.
void require_same_message(const RoqMsgReceived& received, const Name& name, std::span<const char> datagram) {
  Header header = header_of(received, name);
  require(datagram.size() == sizeof header + received.payload_length);
  require(memcmp(&header.type, datagram.data() + offsetof(Header, type), 16) == 0);
  require(memcmp(&header.payload_length, datagram.data() + offsetof(Header, payload_length), 4) == 0);
  require(memcmp(received.payload, datagram.data() + sizeof header, received.payload_length) == 0);
  require(received.payload[received.payload_length] == '\0');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::span<const char> datagram(reinterpret_cast<const char*>(data), size);
  Name name = make_name("cms");
  RoqMsgReceived received;
  memset(&received, 0x5A, sizeof received);
  bool is_message = store_received(datagram, name, &received);
  std::optional<Header> header = decode(datagram);
  if (!is_message) {
    require(is_filled_with(as_bytes(received), 0x5A));
    require(!header || strcmp(header->addressee.text, name.text) != 0);
    return 0;
  }
  require(header.has_value());
  require(size <= kLargestMessage && received.payload_length <= kPayloadRoom);
  require((received.expects_reply != 0) == (received.serial != 0));
  require_same_message(received, name, datagram);
  return 0;
}
