#include "message.h"

#include <algorithm>
#include <cstring>

namespace roq::msgbus {

Name make_name(const char* text, size_t size) {
  Name name{};
  memcpy(name.text, text, strnlen(text, std::min(size, sizeof name.text - 1)));
  return name;
}

bool is_usable(const Name& name) {
  return name.text[0] != '\0' && name.text[0] != '.' && strchr(name.text, '/') == nullptr;
}

size_t carried_length(const Header& header) { return std::min(size_t{header.payload_length}, kPayloadRoom); }

std::optional<Header> decode(std::span<const char> datagram) {
  if (datagram.size() < sizeof(Header)) return std::nullopt;
  Header header;
  memcpy(&header, datagram.data(), sizeof header);
  if (datagram.size() != sizeof header + carried_length(header)) return std::nullopt;
  if (memchr(header.addressee.text, '\0', sizeof header.addressee.text) == nullptr) return std::nullopt;
  return header;
}

bool store_received(std::span<const char> datagram, const Name& name, RoqMsgReceived* received) {
  std::optional<Header> header = decode(datagram);
  if (!header || strcmp(header->addressee.text, name.text) != 0) return false;
  size_t length = carried_length(*header);
  received->type = header->type;
  received->value = header->value;
  received->sender = header->sender;
  received->expects_reply = header->serial != 0;
  received->announced_length = header->payload_length;
  received->payload_length = static_cast<uint32_t>(length);
  memcpy(received->payload, datagram.data() + sizeof(Header), length);
  received->payload[length] = '\0';
  received->reply_address_length = 0;
  received->serial = header->serial;
  return true;
}

} // namespace roq::msgbus
