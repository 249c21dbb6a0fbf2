#include "dns/lookup.h"

#include "support/owners.h"
#include "support/text.h"
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>

namespace roq::dns {
namespace {

constexpr size_t kNameCopyRoom = 1025;
constexpr int kAttemptsPerRelay = 2;
constexpr int kReplyTimeoutMs = 2000;

struct Endpoint {
  union {
    sockaddr any;
    sockaddr_in ipv4;
    sockaddr_in6 ipv6;
  };
  socklen_t size;
};

// A text that is no address of the family makes the any-address.
Endpoint make_endpoint(int family, const char* text, uint16_t port) {
  in6_addr address{};
  if (text == nullptr || inet_pton(family, text, &address) != 1) address = {};
  Endpoint endpoint{};
  if (family == AF_INET6) {
    endpoint.ipv6 = {};
    endpoint.ipv6.sin6_addr = address;
    endpoint.size = sizeof endpoint.ipv6;
  } else {
    memcpy(&endpoint.ipv4.sin_addr, &address, sizeof endpoint.ipv4.sin_addr);
    endpoint.size = sizeof endpoint.ipv4;
  }
  static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
  endpoint.ipv4.sin_port = htons(port);
  endpoint.any.sa_family = static_cast<sa_family_t>(family);
  return endpoint;
}

bool is_ipv6_address(const char* text) {
  in6_addr address;
  return inet_pton(AF_INET6, text, &address) == 1;
}

int relay_family(int32_t type, const char* source, bool other_relay) {
  if (source != nullptr) return is_ipv6_address(source) ? AF_INET6 : AF_INET;
  return (type == kTypeAaaa) != other_relay ? AF_INET6 : AF_INET;
}

// Negative results of an attempt; others are the length of what was received.
constexpr ssize_t kNoReply = -1;
constexpr ssize_t kHopeless = -2;

// Sends the query that stands in the packet and receives one datagram over it.
ssize_t exchange(std::span<uint8_t, kPacketSize> packet, size_t query_length, int family, const char* source) {
  UniqueFd socket_fd(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
  if (!socket_fd.is_open()) return kNoReply;
  const Endpoint local = make_endpoint(family, source, 0);
  if (bind(socket_fd.get(), &local.any, local.size) != 0) return kHopeless;
  const Endpoint relay = make_endpoint(family, family == AF_INET6 ? "::1" : "127.0.0.1", kServerPort);
  if (connect(socket_fd.get(), &relay.any, relay.size) != 0) return kNoReply;

  (void)!send(socket_fd.get(), packet.data(), query_length, 0);
  pollfd readable{.fd = socket_fd.get(), .events = POLLIN, .revents = 0};
  if (poll(&readable, 1, kReplyTimeoutMs) <= 0) return kNoReply;
  // Not waiting: a datagram with a bad checksum wakes the poll and is then dropped.
  return recv(socket_fd.get(), packet.data(), packet.size(), MSG_DONTWAIT);
}

// The labels of a dotted name; with the byte that ends them, type and class they take at most `kQuestionRoom` bytes.
constexpr size_t kQuestionRoom = 500;

[[nodiscard]] bool write_name(Writer& out, const char* name) {
  const size_t start = out.size();
  for (;;) {
    const size_t length = strcspn(name, ".");
    const size_t used = out.size() - start;
    if (used + length >= kQuestionRoom - 1) return false;
    out.label(name, length);
    if (name[length] == '\0' || name[length + 1] == '\0') return true;
    name += length + 1;
  }
}

bool is_acceptable(const MessageHeader& header, uint16_t id) {
  return header.id == id && header.is_reply() && header.rcode() == 0 && header.ancount != 0;
}

struct Record {
  RecordHeader header;
  size_t rdata;
};

// Reads a record up to its RDATA, and moves behind the announced RDATA without looking at it.
[[nodiscard]] bool read_record(Reader& in, Record& record, char (&owner)[kDottedNameRoom]) {
  if (!read_name(in, owner)) return false;
  record.header = read_record_header(in);
  record.rdata = in.position();
  in.skip(record.header.rdlength);
  return in.ok();
}

// What has been taken out of a reply so far.
struct Findings {
  std::span<uint8_t> reply;
  int32_t asked_type;
  dns_answer answer;
  MallocPtr<char> owner; // set once an answer was taken
};

enum class Verdict { go_on, done, malformed };

// Answers of the asked type are collected; every other record may stand in front of or between them.
constexpr uint32_t kMostFurtherAnswers = 7;

bool rdata_is_inside(const Findings& found, const Record& record) {
  return record.rdata + record.header.rdlength <= found.reply.size();
}

bool collects_addresses(const Findings& found) {
  return found.answer.buf != nullptr && (found.asked_type == kTypeA || found.asked_type == kTypeAaaa);
}

bool has_room_for(const dns_answer& answer, uint32_t further) {
  return room_for(answer, further) <= (answer.buf != nullptr ? answer.buflen : 0);
}

void describe_record(Findings& found, const Record& record) {
  found.answer.atype = record.header.type;
  found.answer.aclass = record.header.record_class;
  found.answer.ttl = static_cast<int32_t>(record.header.ttl);
  found.answer.rdlength = record.header.rdlength;
  found.answer.rdata = found.reply.data() + record.rdata;
  found.answer.rdoffset = static_cast<int32_t>(record.rdata);
}

Verdict take_first(Findings& found, const Record& record, const char* owner, uint32_t records_behind) {
  describe_record(found, record);
  const bool stands_alone = record.header.type != kTypeSig && !collects_addresses(found);
  if (!stands_alone && record.header.type != found.asked_type) return Verdict::go_on;
  found.owner.reset(strdup(owner));
  if (!found.owner) return Verdict::malformed;
  if (!stands_alone && !has_room_for(found.answer, records_behind)) {
    found.answer.add_count = records_behind;
    return Verdict::done;
  }
  if (!rdata_is_inside(found, record)) return Verdict::malformed;
  if (stands_alone) return Verdict::done;
  found.answer.add_count = 0;
  return Verdict::go_on;
}

Verdict take_further(Findings& found, const Record& record) {
  if (record.header.type != found.asked_type) return Verdict::go_on;
  const size_t length = record.header.rdlength;
  if (record.header.rdlength != found.answer.rdlength || !rdata_is_inside(found, record)) return Verdict::malformed;
  if (length != 0) memcpy(found.answer.buf + found.answer.add_count * length, &found.reply[record.rdata], length);
  return ++found.answer.add_count == kMostFurtherAnswers ? Verdict::done : Verdict::go_on;
}

} // namespace

size_t write_query(std::span<uint8_t, kPacketSize> packet, uint16_t id, const char* name, int32_t type) {
  Writer out(packet.first<kHeaderSize + kQuestionRoom>());
  begin_query(out, id);
  if (!write_name(out, name)) return 0;
  return end_query(out, type);
}

bool read_reply(std::span<uint8_t> reply, uint16_t id, int32_t type, dns_answer& answer) {
  Reader in(reply);
  const MessageHeader header = read_header(in);
  if (!in.ok() || !is_acceptable(header, id)) return false;
  skip_questions(in, header.qdcount, PointerInQuestion::ends_the_name);

  Findings found{.reply = reply, .asked_type = type, .answer = answer, .owner = {}};
  Verdict verdict = Verdict::go_on;
  for (int32_t behind = header.ancount - 1; behind >= 0 && verdict == Verdict::go_on; --behind) {
    Record record;
    char owner[kDottedNameRoom];
    if (!read_record(in, record, owner)) return false;
    verdict =
        found.owner ? take_further(found, record) : take_first(found, record, owner, static_cast<uint32_t>(behind));
  }
  if (verdict == Verdict::malformed) return false;
  answer = found.answer;
  answer.dotted = found.owner.release();
  return true;
}

int32_t lookup(const char* name, int32_t type, uint8_t** outpacket, dns_answer* answer, const char* source) {
  MallocPtr<uint8_t> packet(static_cast<uint8_t*>(malloc(kPacketSize)));
  MallocPtr<char> name_copy(static_cast<char*>(malloc(kNameCopyRoom)));
  if (!packet || !name_copy) return -1;
  const std::span<uint8_t, kPacketSize> bytes(packet.get(), kPacketSize);
  // Once, not for each attempt: the caller's name may lie where an attempt that fails late has put address data.
  copy_cut(name_copy.get(), kNameCopyRoom, name);
  // The same for all attempts, and that is meant.
  const auto id = static_cast<uint16_t>(time(nullptr) + 1);

  for (int attempt = 0; attempt < 2 * kAttemptsPerRelay; ++attempt) {
    memset(packet.get(), 0, kPacketSize);
    const size_t query_length = write_query(bytes, id, name_copy.get(), type);
    if (query_length == 0) return -1;
    const int family = relay_family(type, source, attempt >= kAttemptsPerRelay);
    const ssize_t received = exchange(bytes, query_length, family, source);
    if (received == kHopeless) return -1;
    if (received <= 0 || !read_reply(bytes.first(static_cast<size_t>(received)), id, type, *answer)) continue;
    if (outpacket != nullptr) *outpacket = packet.release();
    return static_cast<int32_t>(received);
  }
  return -1;
}

} // namespace roq::dns

extern "C" int32_t dns_lookup(const char* name, int32_t type, uint8_t** outpacket, dns_answer* answer,
                              const char* source) {
  if (name == nullptr || answer == nullptr) return -1;
  return roq::dns::lookup(name, type, outpacket, answer, source);
}
