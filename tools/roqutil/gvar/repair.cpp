#include "gvar/repair.h"

namespace roq::tool::gvar {
namespace {

class Repairer {
public:
  Repairer(uint8_t* bytes, uint32_t size, uint32_t base, const Surroundings& surroundings, Report& report)
      : bytes_(bytes), size_(size), base_(base), surroundings_(surroundings), report_(report) {}

  Repair run(bool release_unlisted) {
    cut_variable_list();
    mark_used_blocks();
    account_for_unlisted(release_unlisted);
    if (repair_.list_was_cut || repair_.released_blocks != 0) renew_head();
    merge_free_blocks();
    write_blocks();
    write_free_list();
    write_statistics();
    write_header();
    return repair_;
  }

private:
  uint32_t offset_of(uint32_t address) const { return address - base_; }
  uint32_t field(uint32_t offset) const { return read32(bytes_, offset); }

  void set(uint32_t offset, uint32_t value) {
    if (field(offset) == value) return;
    write32(bytes_, offset, value);
    ++repair_.fields;
  }
  void set16(uint32_t offset, uint16_t value) {
    if (read16(bytes_, offset) == value) return;
    write16(bytes_, offset, value);
    ++repair_.fields;
  }

  // In front of the first variable that is not proved, or of the first link that leads to none.
  void cut_variable_list() {
    const Array<Variable>& variables = report_.variables;
    while (repair_.kept_variables < variables.size() && variables[repair_.kept_variables].proved)
      ++repair_.kept_variables;
    if (report_.list_is_intact && repair_.kept_variables == variables.size()) return;
    uint32_t link = kVariablesAt;
    if (repair_.kept_variables > 0) link = offset_of(variables[repair_.kept_variables - 1].node) + kNextAt;
    repair_.list_was_cut = true;
    repair_.cut_at = base_ + link;
    set(link, 0);
  }

  void mark_used_blocks() {
    for (Block& block : report_.blocks)
      if (block.use != Use::free) block.use = Use::unlisted;
    for (uint32_t index = 0; index < repair_.kept_variables; ++index) {
      const Variable& variable = report_.variables[index];
      report_.block_at(variable.node - kBlockHeader)->use = Use::node;
      report_.block_at(variable.value - kBlockHeader)->use = Use::value;
    }
  }

  void account_for_unlisted(bool release) {
    for (Block& block : report_.blocks) {
      if (block.use != Use::unlisted) continue;
      ++(release ? repair_.released_blocks : repair_.unlisted_blocks);
      (release ? repair_.released_bytes : repair_.unlisted_bytes) += block.size;
      if (release) block.use = Use::free;
    }
  }

  // Running processes remember where they found variables for as long as the list keeps its head. So that none goes on
  // with a node that is no longer listed, the first two nodes change places; their order stays.
  void renew_head() {
    if (repair_.kept_variables < 2) return;
    uint32_t first = report_.variables[0].node;
    uint32_t second = report_.variables[1].node;
    swap_words(offset_of(first) + kIdAt, offset_of(second) + kIdAt);
    swap_words(offset_of(first) + kValueAt, offset_of(second) + kValueAt);
    swap_words(offset_of(first) + kLengthAt, offset_of(second) + kLengthAt);
    set(offset_of(first) + kNextAt, field(offset_of(second) + kNextAt));
    set(offset_of(second) + kNextAt, first);
    set(kVariablesAt, second);
  }

  void swap_words(uint32_t left, uint32_t right) {
    uint32_t value = field(left);
    set(left, field(right));
    set(right, value);
  }

  // What becomes free, or grows, is wiped as a release wipes it.
  void merge_free_blocks() {
    for (const Block& block : report_.blocks) {
      if (block.use != Use::free) {
        blocks_.add(block);
        continue;
      }
      uint32_t at = offset_of(block.address);
      bool was_free = static_cast<int32_t>(field(at + kBsizeAt)) > 0;
      if (!blocks_.empty() && blocks_.last().use == Use::free) {
        wipe(at, block.size);
        blocks_.last().size += block.size;
      } else {
        blocks_.add(block);
        if (!was_free) wipe(at + kFreeHeader, block.size - kFreeHeader);
      }
    }
  }

  void wipe(uint32_t offset, uint32_t length) { memset(bytes_ + offset, kWipe, length); }

  void write_blocks() {
    uint32_t free_in_front = 0;
    for (const Block& block : blocks_) {
      uint32_t at = offset_of(block.address);
      set(at + kPrevfreeAt, free_in_front);
      set(at + kBsizeAt, block.use == Use::free ? block.size : 0U - block.size);
      free_in_front = block.use == Use::free ? block.size : 0;
    }
    uint32_t end = offset_of(report_.pool_end);
    set(end + kPrevfreeAt, free_in_front);
    set(end + kBsizeAt, kEndMark);
  }

  // In address order: in which order the blocks became free is nowhere else to be found.
  void write_free_list() {
    uint32_t previous = kHandleAt;
    for (const Block& block : blocks_) {
      if (block.use != Use::free) continue;
      set(previous + kFlinkAt, block.address);
      set(offset_of(block.address) + kBlinkAt, base_ + previous);
      previous = offset_of(block.address);
    }
    set(previous + kFlinkAt, base_ + kHandleAt);
    set(kHandleAt + kBlinkAt, base_ + previous);
    set(kHandleAt + kPrevfreeAt, 0);
    set(kHandleAt + kBsizeAt, 0);
  }

  void write_statistics() {
    uint32_t bytes = 0, count = 0;
    for (const Block& block : blocks_) {
      if (block.use == Use::free) continue;
      bytes += block.size;
      ++count;
    }
    set(kTotallocAt, bytes);
    uint32_t gets = field(kGetcountAt);
    if (static_cast<int32_t>(gets - count) < 0) gets = count;
    set(kGetcountAt, gets);
    set(kRelcountAt, gets - count);
  }

  void write_header() {
    uint32_t header = offset_of(report_.pool);
    set(kMagicAt, kMagic);
    set(kPoolLengthAt, size_ - header);
    set16(kHeaderSizeAt, static_cast<uint16_t>(header));
    set(kReservedAt, 0);
    set16(kReserved2At, 0);
    auto semaphore = static_cast<int32_t>(field(kSemaphoreAt));
    bool semaphore_exists = surroundings_.semaphore_id > 0;
    if (semaphore != 0 && semaphore != surroundings_.semaphore_id)
      set(kSemaphoreAt, semaphore_exists ? static_cast<uint32_t>(surroundings_.semaphore_id) : 0);
  }

  uint8_t* bytes_;
  uint32_t size_;
  uint32_t base_;
  const Surroundings& surroundings_;
  Report& report_;
  Array<Block> blocks_; // as they are to be
  Repair repair_;
};

Repair refuse(Refusal refusal, uint32_t address) {
  Repair repair;
  repair.refusal = refusal;
  repair.refused_at = address;
  return repair;
}

} // namespace

Repair repair(uint8_t* bytes, uint32_t size, uint32_t base, const Surroundings& surroundings, bool release_unlisted) {
  Report report = inspect({bytes, size, base}, surroundings);
  if (size < kSmallestSegment || size > kLargestSegment) return refuse(Refusal::segment_size, base);
  if (!report.pool_is_proved) return refuse(Refusal::pool_unknown, base + kPoolLengthAt);
  if (!report.chain_is_intact) return refuse(Refusal::chain_broken, report.chain_breaks_at);

  Array<uint8_t> draft;
  draft.reserve(size);
  for (uint32_t at = 0; at < size; ++at)
    draft.add(bytes[at]);
  Repair done = Repairer(draft.data(), size, base, surroundings, report).run(release_unlisted);
  if (!inspect({draft.data(), size, base}, surroundings).clean()) return refuse(Refusal::still_damaged, base);
  memcpy(bytes, draft.data(), size);
  return done;
}

} // namespace roq::tool::gvar
