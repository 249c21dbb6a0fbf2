// The decoder of replies to a lookup. The first two bytes choose the asked type and the room for further addresses;
// the rest is what was received, flush against an inaccessible page. What was taken out of it must lie inside it.
#include "dns/lookup.h"
#include "support/guarded_bytes.h"
#include <cstdlib>

namespace {

using namespace roq::dns;

constexpr size_t kRoom = 512;
constexpr int32_t kTypes[] = {kTypeA, kTypeAaaa, kTypeSig, kTypeSrv};

void require(bool holds) {
  if (!holds) abort();
}

void check(const dns_answer& answer, std::span<const uint8_t> reply, uint32_t room) {
  const auto length = static_cast<uint32_t>(answer.rdlength);
  require(answer.rdata == reply.data() + answer.rdoffset);
  require(answer.add_count <= 7 || (uint64_t{length} + 4) * answer.add_count > room);
  if (answer.dotted != nullptr) require(strlen(answer.dotted) < kDottedNameRoom - 1);
  const bool has_shortage = (uint64_t{length} + 4) * answer.add_count > room;
  if (answer.dotted == nullptr || has_shortage) return;
  require(static_cast<size_t>(answer.rdoffset) + length <= reply.size());
  require(answer.buf == nullptr || answer.add_count * length <= room);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static roq::tests::GuardedRoom guarded(kPacketSize), further(kRoom);
  if (size < 2) return 0;
  const std::span<const uint8_t> input(data + 2, std::min(size - 2, kPacketSize));
  const std::span<uint8_t> reply = guarded.hold(input);
  const uint16_t id = reply.size() >= 2 ? static_cast<uint16_t>(reply[0] << 8 | reply[1]) : 0;
  const uint32_t room = data[1] * 2U;

  dns_answer answer{};
  answer.buf = (data[0] & 0x80) != 0 ? nullptr : further.room(room).data();
  answer.buflen = room;
  if (read_reply(reply, id, kTypes[data[0] & 3], answer)) check(answer, reply, answer.buf != nullptr ? room : 0);
  free(answer.dotted);
  return 0;
}
