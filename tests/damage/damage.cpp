// Damages segments of the store in all kinds of ways and shows that the tool's inspector and its repair take it:
//
//  - neither crashes, reads or writes outside the segment, or hangs;
//  - no damage of a header, link or size field passes as clean. A change counts as damage unless what it leaves is a
//    segment that the store itself may leave (fields.h says which changes those are); such a change of a counter, of
//    the semaphore id or of the list is noticed all the same, by a note or by the count of unlisted blocks;
//  - a repair either refuses, and has then changed nothing, or leaves a segment that is clean, that keeps the values of
//    all variables it still lists, and that the store goes on with.
//
//   roqutil_damage [COUNT [SEED]]
#include "damage/fields.h"
#include "gvar/findings.h"
#include "gvar/repair.h"
#include <csignal>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using namespace roq::test;
namespace tool = roq::tool::gvar;

namespace {

constexpr uint32_t kModule = 2;
constexpr uint32_t kLargestSample = 16384;

// What a dying program says about its whereabouts.
volatile sig_atomic_t current_round = 0;
volatile sig_atomic_t current_kind = 0;
uint32_t seed = 1;
FILE* report_stream;

class Random {
public:
  explicit Random(uint64_t state) : state_(state) {}
  uint32_t next() {
    state_ += 0x9E3779B97F4A7C15;
    uint64_t mixed = (state_ ^ (state_ >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return static_cast<uint32_t>(mixed >> 32);
  }
  uint32_t below(uint32_t limit) { return next() % limit; }
  bool one_in(uint32_t chances) { return below(chances) == 0; }

private:
  uint64_t state_;
};

std::string random_value(Random& random, uint32_t length) {
  std::string value;
  for (uint32_t at = 0; at < length; ++at)
    value += static_cast<char>(random.next());
  return value;
}

// A sound segment with a history: variables of many sizes, set again, between blocks of the module's own.
struct Sample {
  std::vector<uint8_t> bytes;
  uint32_t base;
  Anatomy anatomy;
  tool::Report report;
};

void live(StoreSegment& segment, Random& random) {
  std::vector<void*> own;
  uint32_t steps = random.below(60);
  for (uint32_t step = 0; step < steps; ++step) {
    if (random.one_in(4) && segment.size() > 2048) {
      if (void* block = roq::gvar::pool_allocate(segment.pool(), static_cast<int32_t>(1 + random.below(60))))
        own.push_back(block);
    } else if (random.one_in(4) && !own.empty()) {
      roq::gvar::pool_release(segment.pool(), own.back());
      own.pop_back();
    } else {
      segment.set(1 + random.below(12), random_value(random, 1 + random.below(random.one_in(5) ? 200 : 40)));
    }
  }
  // Half of the samples have no block that is not a variable's.
  if (random.one_in(2)) {
    for (void* block : own)
      roq::gvar::pool_release(segment.pool(), block);
  }
}

tool::Report look_at(const uint8_t* bytes, uint32_t size, uint32_t base) {
  return tool::inspect({bytes, size, base}, {kModule, kSemaphoreOfSegment});
}

Sample make_sample(Random& random) {
  constexpr uint32_t kSizes[] = {1024, 1500, 2048, 4096, 8192, kLargestSample};
  uint32_t header = 52 + 4 * random.below(30);
  StoreSegment segment(kModule, kSizes[random.below(std::size(kSizes))], header);
  roq::gvar::forget_found_variables();
  live(segment, random);
  Sample sample{{segment.bytes(), segment.bytes() + segment.size()}, segment.base(), anatomy_of(segment), {}};
  sample.report = look_at(sample.bytes.data(), segment.size(), segment.base());
  if (!sample.report.clean() || !sample.report.notes.empty()) {
    fputs("damage: a sound segment is not called clean\n", report_stream);
    exit(1);
  }
  return sample;
}

// Memory that ends, or begins, at a page that may not be touched, so that an access outside ends the program.
class GuardedMemory {
public:
  GuardedMemory() : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))), room_(rounded(kLargestSample)) {
    void* all = mmap(nullptr, room_ + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED) abort();
    first_ = static_cast<uint8_t*>(all) + page_;
    if (mprotect(first_, room_, PROT_READ | PROT_WRITE) != 0) abort();
  }
  uint8_t* hold(const std::vector<uint8_t>& bytes, bool at_end) const {
    uint8_t* place = at_end ? first_ + room_ - bytes.size() : first_;
    memcpy(place, bytes.data(), bytes.size());
    return place;
  }

private:
  size_t rounded(size_t size) const { return (size + page_ - 1) / page_ * page_; }
  size_t page_;
  size_t room_;
  uint8_t* first_;
};

// ---- damage

uint32_t read_field(const std::vector<uint8_t>& bytes, const Field& field) {
  if (field.width == 2) {
    uint16_t half;
    memcpy(&half, bytes.data() + field.offset, sizeof half);
    return half;
  }
  uint32_t value;
  memcpy(&value, bytes.data() + field.offset, sizeof value);
  return value;
}

void write_field(std::vector<uint8_t>& bytes, const Field& field, uint32_t value) {
  auto half = static_cast<uint16_t>(value);
  if (field.width == 2)
    memcpy(bytes.data() + field.offset, &half, sizeof half);
  else
    memcpy(bytes.data() + field.offset, &value, sizeof value);
}

// Values that a field gets by bad luck, and those that lead furthest astray.
uint32_t wrong_value(Random& random, const Sample& sample, uint32_t old) {
  const Anatomy& anatomy = sample.anatomy;
  switch (random.below(12)) {
  case 0:
    return random.next();
  case 1:
    return old ^ 1U << random.below(32);
  case 2:
    return old + 1 + random.below(8);
  case 3:
    return old - 1 - random.below(8);
  case 4:
    return old + 4 * random.below(64);
  case 5:
    return 0;
  case 6:
    return 0U - old;
  case 7:
    return read_field(sample.bytes, anatomy.fields[random.below(static_cast<uint32_t>(anatomy.fields.size()))]);
  case 8:
    return anatomy.addresses[random.below(static_cast<uint32_t>(anatomy.addresses.size()))];
  case 9:
    return sample.base + random.below(static_cast<uint32_t>(sample.bytes.size()));
  case 10:
    return __builtin_bswap32(old);
  default:
    return old + 0x10000 * (1 + random.below(15));
  }
}

void damage_fields(Random& random, const Sample& sample, std::vector<uint8_t>& bytes, uint32_t count) {
  const std::vector<Field>& fields = sample.anatomy.fields;
  for (uint32_t done = 0; done < count; ++done) {
    // A quarter goes to the header, whose few fields would otherwise seldom be hit.
    uint32_t limit = random.one_in(4) ? 14 : static_cast<uint32_t>(fields.size());
    const Field& field = fields[random.below(limit)];
    write_field(bytes, field, wrong_value(random, sample, read_field(bytes, field)));
  }
}

void damage_bytes(Random& random, std::vector<uint8_t>& bytes) {
  uint32_t count = 1 + random.below(64);
  for (uint32_t done = 0; done < count; ++done)
    bytes[random.below(static_cast<uint32_t>(bytes.size()))] = static_cast<uint8_t>(random.next());
}

// A stretch of the segment is overwritten, as a wild copy does it.
void damage_stretch(Random& random, std::vector<uint8_t>& bytes) {
  auto size = static_cast<uint32_t>(bytes.size());
  uint32_t first = random.below(size);
  uint32_t last = std::min(size, first + 1 + random.below(300));
  bool is_random = random.one_in(2);
  auto fill = static_cast<uint8_t>(random.next());
  for (uint32_t at = first; at < last; ++at)
    bytes[at] = is_random ? static_cast<uint8_t>(random.next()) : fill;
}

enum Kind { one_field, some_fields, random_bytes, stretch, garbage, other_size, kinds };
constexpr const char* kKindNames[] = {"one field", "some fields", "random bytes",
                                      "a stretch", "garbage",     "another size"};

Kind damage(Random& random, const Sample& sample, std::vector<uint8_t>& bytes) {
  uint32_t lot = random.below(100);
  if (lot < 50) {
    damage_fields(random, sample, bytes, 1);
    return one_field;
  }
  if (lot < 70) {
    damage_fields(random, sample, bytes, 2 + random.below(6));
    return some_fields;
  }
  if (lot < 85) {
    damage_bytes(random, bytes);
    return random_bytes;
  }
  if (lot < 93) {
    damage_stretch(random, bytes);
    return stretch;
  }
  if (lot < 97) {
    for (uint8_t& byte : bytes)
      byte = static_cast<uint8_t>(random.next());
    return garbage;
  }
  bytes.resize(random.below(kLargestSample + 1), 0);
  return other_size;
}

// ---- judgement

// What must be said about a damaged segment at least.
struct Demand {
  bool changed = false; // any field at all
  bool finding = false; // some change is damage
  bool notice = false;  // some change is legal, and has to be noticed by a note or by the count of unlisted blocks
};

// Both may suit each other again.
bool value_and_length_changed(const Sample& sample, const std::vector<uint8_t>& bytes, const Field& field) {
  if (field.meaning != Meaning::value && field.meaning != Meaning::length) return false;
  uint32_t partner = field.offset + (field.meaning == Meaning::value ? 4 : -4U);
  return read_field(bytes, {partner, 4, field.meaning}) != read_field(sample.bytes, {partner, 4, field.meaning});
}

Demand demand_of(const Sample& sample, const std::vector<uint8_t>& bytes) {
  Demand demand;
  if (bytes.size() != sample.bytes.size()) return {true, true, false};
  uint32_t changes = 0;
  bool list_is_whole = true;
  for (const Field& field : sample.anatomy.fields) {
    uint32_t value = read_field(bytes, field);
    if (value == read_field(sample.bytes, field)) continue;
    ++changes;
    bool is_of_a_variable =
        field.meaning == Meaning::value || field.meaning == Meaning::length || field.meaning == Meaning::list;
    // Behind a legal cut of the list there are no variables any more, so nothing is wrong with them.
    if (is_of_a_variable && !list_is_whole) continue;
    if (value_and_length_changed(sample, bytes, field)) continue;
    bool legal = change_is_legal(sample.anatomy, sample.bytes.data(), sample.base, field, value);
    if (!legal)
      demand.finding = true;
    else if (field.meaning != Meaning::length && field.meaning != Meaning::value)
      demand.notice = true;
    if (legal && field.meaning == Meaning::list) list_is_whole = false;
  }
  demand.changed = changes != 0;
  // The old and the new counters, or a value and its length, may agree with each other again.
  if (changes > 1) demand.notice = false;
  return demand;
}

struct Tally {
  uint32_t by_kind[kinds] = {};
  uint32_t damaged = 0; // with a change that is damage
  uint32_t reported = 0;
  uint32_t legal = 0; // a field changed, to a state that the store may leave
  uint32_t noticed = 0;
  uint32_t outside = 0; // no such field changed
  uint32_t repaired = 0, refused = 0;
  uint32_t false_clean = 0, failed = 0;
};

void complain(Tally& tally, uint32_t& count, const char* what, const char* kind) {
  ++count;
  if (tally.false_clean + tally.failed <= 10)
    fprintf(report_stream, "damage: seed %u round %d (%s): %s\n", seed, static_cast<int>(current_round), kind, what);
}

void judge_inspection(Tally& tally, const Sample& sample, const tool::Report& report, const Demand& demand,
                      const char* kind) {
  bool is_noticed = !report.clean() || !report.notes.empty() || report.unlisted_blocks != sample.report.unlisted_blocks;
  if (demand.finding) {
    ++tally.damaged;
    if (report.clean())
      complain(tally, tally.false_clean, "damage is called clean", kind);
    else
      ++tally.reported;
  } else if (demand.changed) {
    ++tally.legal;
    if (is_noticed)
      ++tally.noticed;
    else if (demand.notice)
      complain(tally, tally.false_clean, "a change is not noticed", kind);
  } else {
    ++tally.outside;
  }
}

// The values that the inspector proves are those that the repaired segment has, and the store goes on with it.
bool store_goes_on(const tool::Report& before, const std::vector<uint8_t>& damaged, const uint8_t* repaired,
                   uint32_t base) {
  auto size = static_cast<uint32_t>(damaged.size());
  tool::Report after = look_at(repaired, size, base);
  for (size_t at = 0; at < after.variables.size(); ++at) {
    const tool::Variable& is = after.variables[at];
    const tool::Variable& was = before.variables[at];
    bool same = is.id == was.id && is.length == was.length && is.value == was.value &&
                memcmp(damaged.data() + (was.value - base), repaired + (is.value - base), is.length) == 0;
    if (!same) return false;
  }
  StoreSegment segment(kModule, size);
  memcpy(segment.bytes(), repaired, size);
  roq::gvar::forget_found_variables();
  for (uint32_t number = 1; number <= 12; ++number)
    segment.set(number, "a new value");
  if (void* buffer = roq::gvar::pool_allocate(segment.pool(), 20)) roq::gvar::pool_release(segment.pool(), buffer);
  return look_at(segment.bytes(), size, base).clean();
}

void judge_repair(Tally& tally, const Sample& sample, const tool::Report& report, const std::vector<uint8_t>& bytes,
                  uint8_t* place, bool release, const char* kind) {
  auto size = static_cast<uint32_t>(bytes.size());
  tool::Repair repair = tool::repair(place, size, sample.base, {kModule, kSemaphoreOfSegment}, release);
  if (repair.refusal != tool::Refusal::none) {
    ++tally.refused;
    if (memcmp(place, bytes.data(), size) != 0)
      complain(tally, tally.failed, "a refused repair changed something", kind);
    if (repair.refusal == tool::Refusal::still_damaged) complain(tally, tally.failed, "a repair was not enough", kind);
    return;
  }
  ++tally.repaired;
  tool::Report after = look_at(place, size, sample.base);
  if (!after.clean())
    complain(tally, tally.failed, "a repaired segment is not clean", kind);
  else if (release && after.unlisted_blocks != 0)
    complain(tally, tally.failed, "unlisted blocks are left", kind);
  else if (!store_goes_on(report, bytes, place, sample.base))
    complain(tally, tally.failed, "the store cannot go on", kind);
}

void run_round(Tally& tally, Random& random, const Sample& sample, const GuardedMemory& memory) {
  std::vector<uint8_t> bytes = sample.bytes;
  Kind kind = damage(random, sample, bytes);
  current_kind = kind;
  ++tally.by_kind[kind];
  auto size = static_cast<uint32_t>(bytes.size());
  uint8_t* place = memory.hold(bytes, random.one_in(2));
  tool::Report report = look_at(place, size, sample.base);
  judge_inspection(tally, sample, report, demand_of(sample, bytes), kKindNames[kind]);
  judge_repair(tally, sample, report, bytes, place, random.one_in(2), kKindNames[kind]);
}

void die(int signal) {
  char line[160];
  int length =
      snprintf(line, sizeof line, "damage: %s in round %d (%s) of seed %u\n", signal == SIGALRM ? "a hang" : "a crash",
               static_cast<int>(current_round), kKindNames[current_kind], seed);
  if (write(fileno(report_stream), line, static_cast<size_t>(length)) < 0) _exit(2);
  _exit(1);
}

void print(const Tally& tally, uint32_t count) {
  fprintf(report_stream, "damage: %u segments of seed %u:", count, seed);
  for (int kind = 0; kind < kinds; ++kind)
    fprintf(report_stream, "%s %u with %s", kind == 0 ? "" : ",", tally.by_kind[kind], kKindNames[kind]);
  fprintf(report_stream, "\ndamage: %u with damage to a header, link or size field: %u reported, %u false clean\n",
          tally.damaged, tally.reported, tally.false_clean);
  fprintf(
      report_stream,
      "damage: %u with such a field changed to what the store may leave itself (%u noticed), %u with none changed\n",
      tally.legal, tally.noticed, tally.outside);
  fprintf(report_stream, "damage: %u repaired and clean afterwards, %u repairs refused, %u failed; no crash, no hang\n",
          tally.repaired, tally.refused, tally.failed);
}

} // namespace

int main(int argc, char** argv) {
  uint32_t count = argc > 1 ? static_cast<uint32_t>(strtoul(argv[1], nullptr, 10)) : 100000;
  if (argc > 2) seed = static_cast<uint32_t>(strtoul(argv[2], nullptr, 10));
  for (int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGALRM})
    std::signal(signal, die);
  // The allocator says on standard output that a pool is full, and pools are full here all the time.
  report_stream = fdopen(dup(STDOUT_FILENO), "w");
  if (report_stream == nullptr || freopen("/dev/null", "w", stdout) == nullptr) return 3;
  Random random(seed);
  GuardedMemory memory;
  Tally tally;
  std::unique_ptr<Sample> sample;
  for (uint32_t round = 0; round < count; ++round) {
    current_round = static_cast<sig_atomic_t>(round);
    if (round % 50 == 0) {
      alarm(60);
      sample = std::make_unique<Sample>(make_sample(random));
    }
    run_round(tally, random, *sample, memory);
  }
  print(tally, count);
  fclose(report_stream);
  return tally.false_clean == 0 && tally.failed == 0 ? 0 : 1;
}
