// The inspector, the repair, the words and the pictures of the tool on the bytes of a segment.
//
// The first byte of an input says how the rest is meant:
//   'r'  the bytes of a segment
//   's'  changes of a sound segment, six bytes each: the place of a word and its new value
//   'z'  as 's', and the segment is shortened by as many bytes as the first two say
#include "gvar/findings.h"
#include "gvar/map.h"
#include "gvar/repair.h"
#include "support/store_segment.h"
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace tool = roq::tool::gvar;

namespace {

constexpr uint32_t kModule = 2;
constexpr uint32_t kBase = 0x2F100000;
constexpr uint32_t kSoundSize = 2048;
constexpr tool::Surroundings kSurroundings{kModule, roq::test::kSemaphoreOfSegment};

std::vector<uint8_t> make_sound_segment() {
  roq::test::StoreSegment segment(kModule, kSoundSize);
  for (uint32_t number = 1; number <= 6; ++number)
    segment.set(number, std::string(number * 9, 'v'));
  void* own = roq::gvar::pool_allocate(segment.pool(), 48);
  void* hole = roq::gvar::pool_allocate(segment.pool(), 64);
  segment.set(7, "newest");
  segment.set(3, "set again");
  roq::gvar::pool_release(segment.pool(), hole);
  memset(own, 0x41, 48);
  return {segment.bytes(), segment.bytes() + segment.size()};
}

uint32_t take(const uint8_t*& data, size_t bytes) {
  uint32_t value = 0;
  for (size_t at = 0; at < bytes; ++at)
    value |= static_cast<uint32_t>(data[at]) << (8 * at);
  data += bytes;
  return value;
}

std::vector<uint8_t> changed_segment(const uint8_t* data, const uint8_t* end, bool shortened) {
  static const std::vector<uint8_t> sound = make_sound_segment();
  std::vector<uint8_t> bytes = sound;
  if (shortened && end - data >= 2) bytes.resize(bytes.size() - take(data, 2) % bytes.size());
  while (end - data >= 6 && bytes.size() >= 4) {
    uint32_t place = take(data, 2) % static_cast<uint32_t>(bytes.size() - 3);
    uint32_t value = take(data, 4);
    memcpy(bytes.data() + place, &value, sizeof value);
  }
  return bytes;
}

void require(bool holds) {
  if (!holds) __builtin_trap();
}

void look_at(const uint8_t* bytes, uint32_t size) {
  tool::Report report = tool::inspect({bytes, size, kBase}, kSurroundings);
  roq::tool::Text text;
  for (const tool::Finding& finding : report.findings) {
    append_expected(text, finding);
    append_actual(text, finding);
  }
  for (const tool::Note& note : report.notes)
    append_sentence(text, note);
  append_map(text, report, roq::tool::Colours(true));
  append_svg(text, report, kModule);
  // Whatever is proved may be read.
  for (const tool::Variable& variable : report.variables) {
    if (!variable.proved) continue;
    require(variable.value - kBase < size && variable.length <= size - (variable.value - kBase));
  }
}

void mend(const uint8_t* bytes, uint32_t size, bool release) {
  std::unique_ptr<uint8_t[]> copy(new uint8_t[size]);
  memcpy(copy.get(), bytes, size);
  tool::Repair done = tool::repair(copy.get(), size, kBase, kSurroundings, release);
  require(done.refusal != tool::Refusal::still_damaged);
  if (done.refusal != tool::Refusal::none) {
    require(memcmp(copy.get(), bytes, size) == 0);
    return;
  }
  tool::Report after = tool::inspect({copy.get(), size, kBase}, kSurroundings);
  require(after.clean() && after.variables.size() == done.kept_variables);
  require(!release || after.unlisted_blocks == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t* end = data + size;
  std::vector<uint8_t> segment;
  if (*data == 'r')
    segment.assign(data + 1, end);
  else
    segment = changed_segment(data + 1, end, *data == 'z');

  auto length = static_cast<uint32_t>(segment.size());
  std::unique_ptr<uint8_t[]> exact(new uint8_t[length]);
  std::copy(segment.begin(), segment.end(), exact.get());
  look_at(exact.get(), length);
  mend(exact.get(), length, false);
  mend(exact.get(), length, true);
  return 0;
}
