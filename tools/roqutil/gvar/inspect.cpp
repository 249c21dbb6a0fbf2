#include "gvar/inspect.h"

#include <algorithm>
#include <optional>

namespace roq::tool::gvar {
namespace {

constexpr uint32_t kHeaderSizeStep = 0x10000; // the header keeps the low 16 bits of its size only

// A release that fails is counted, and ends its process, so there cannot have been many.
constexpr uint32_t kPlausibleFailures = 1000;

constexpr uint32_t magnitude(uint32_t bsize) { return static_cast<int32_t>(bsize) < 0 ? 0U - bsize : bsize; }
constexpr bool is_free(uint32_t bsize) { return static_cast<int32_t>(bsize) > 0; }

// Where the end mark of a pool that begins at `pool` stands.
constexpr uint32_t end_of_pool(uint32_t segment_size, uint32_t pool) {
  return pool + (segment_size - pool) / kQuantum * kQuantum - kBlockHeader;
}

// The size of the block at an offset, 0 when there is no sensible block. `end` is the place of the end mark.
uint32_t sensible_block_size(const Memory& memory, uint32_t offset, uint32_t end) {
  uint32_t bsize = read32(memory.bytes, offset + kBsizeAt);
  uint32_t size = magnitude(bsize);
  bool sensible = bsize != kEndMark && size >= kSmallestBlock && size % kQuantum == 0 && size <= end - offset;
  return sensible ? size : 0;
}

struct Chain {
  bool intact;
  uint32_t allocated;
};

Chain measure_chain(const Memory& memory, uint32_t pool) {
  Chain chain{false, 0};
  uint32_t end = end_of_pool(memory.size, pool);
  for (uint32_t at = pool; at < end;) {
    uint32_t size = sensible_block_size(memory, at, end);
    if (size == 0) return chain;
    if (!is_free(read32(memory.bytes, at + kBsizeAt))) chain.allocated += size;
    at += size;
  }
  chain.intact = true;
  return chain;
}

// Finds out where the pool begins. Pool length and header size both tell it, and either may be damaged; the block
// chain and the count of allocated bytes tell which of them is to be believed. A chain alone proves little: one that
// begins at any later block is intact, too.
class PoolStart {
public:
  explicit PoolStart(const Memory& memory) : memory_(memory) {
    uint32_t length = read32(memory.bytes, kPoolLengthAt);
    uint16_t header = read16(memory.bytes, kHeaderSizeAt);
    if (length <= memory.size) consider(memory.size - length, (memory.size - length) % kHeaderSizeStep == header);
    for (uint32_t start = header; start < memory.size; start += kHeaderSizeStep)
      consider(start, false);
  }

  std::optional<uint32_t> offset() const {
    if (best_ == 0) return {};
    return best_;
  }
  bool is_proved() const { return best_evidence_ >= kFieldsAgree; }

private:
  static constexpr int kIntact = 2, kFieldsAgree = 3, kAllocatedAgrees = 4;

  // The more evidence the better; what was considered first wins among equals.
  void consider(uint32_t start, bool fields_agree) {
    if (start < kFixedHeader || start > memory_.size - kSmallestPool) return;
    Chain chain = measure_chain(memory_, start);
    int evidence = fields_agree ? kFieldsAgree : 0;
    if (chain.intact) evidence += kIntact;
    if (chain.intact && chain.allocated == read32(memory_.bytes, kTotallocAt)) evidence += kAllocatedAgrees;
    if (best_ != 0 && evidence <= best_evidence_) return;
    best_ = start;
    best_evidence_ = evidence;
  }

  const Memory& memory_;
  uint32_t best_ = 0; // none lies at 0, where the header is
  int best_evidence_ = 0;
};

class Inspector {
public:
  Inspector(const Memory& memory, const Surroundings& surroundings) : memory_(memory), surroundings_(surroundings) {}

  Report run() {
    if (memory_.size < kSmallestSegment || memory_.size > kLargestSegment) {
      find(Invariant::segment_size, 0, 0, memory_.size);
      if (memory_.size > kLargestSegment || memory_.size < kFixedHeader + kSmallestPool) return std::move(report_);
    }
    check_header();
    if (!locate_pool()) return std::move(report_);
    walk_blocks();
    check_tags();
    check_free_list();
    walk_variables();
    check_variables();
    check_duplicate_ids();
    count();
    if (report_.chain_is_intact) check_statistics();
    check_wipe();
    return std::move(report_);
  }

private:
  // `offset` may also be that of a field behind the segment's start.
  void find(Invariant invariant, uint32_t offset, uint32_t expected, uint32_t actual) {
    report_.findings.add({invariant, memory_.base + offset, expected, actual});
  }
  void expect(Invariant invariant, uint32_t offset, uint32_t expected, uint32_t actual) {
    if (actual != expected) find(invariant, offset, expected, actual);
  }
  void expect32(Invariant invariant, uint32_t offset, uint32_t expected) {
    expect(invariant, offset, expected, field(offset));
  }
  void note(NoteKind kind, uint32_t address, uint32_t amount) { report_.notes.add({kind, address, amount}); }

  uint32_t field(uint32_t offset) const { return read32(memory_.bytes, offset); }
  uint32_t offset_of(uint32_t address) const { return address - memory_.base; }
  uint32_t handle() const { return memory_.base + kHandleAt; }

  void check_header() {
    expect32(Invariant::magic, kMagicAt, kMagic);
    check_semaphore();
    expect32(Invariant::reserved, kReservedAt, 0);
    expect(Invariant::reserved2, kReserved2At, 0, read16(memory_.bytes, kReserved2At));
    expect32(Invariant::handle_prevfree, kHandleAt + kPrevfreeAt, 0);
    expect32(Invariant::handle_bsize, kHandleAt + kBsizeAt, 0);
  }

  void check_semaphore() {
    auto id = static_cast<int32_t>(field(kSemaphoreAt));
    if (id == 0)
      note(NoteKind::locking_off, memory_.base + kSemaphoreAt, 0);
    else if (id != surroundings_.semaphore_id)
      find(Invariant::semaphore_id, kSemaphoreAt, static_cast<uint32_t>(std::max(surroundings_.semaphore_id, 0)),
           field(kSemaphoreAt));
  }

  bool locate_pool() {
    PoolStart start(memory_);
    std::optional<uint32_t> pool = start.offset();
    report_.pool_is_proved = pool && start.is_proved();
    if (!pool) {
      find(Invariant::pool_length, kPoolLengthAt, memory_.size - read16(memory_.bytes, kHeaderSizeAt),
           field(kPoolLengthAt));
      return false;
    }
    expect32(Invariant::pool_length, kPoolLengthAt, memory_.size - *pool);
    expect(Invariant::header_size, kHeaderSizeAt, *pool % kHeaderSizeStep, read16(memory_.bytes, kHeaderSizeAt));
    report_.pool = memory_.base + *pool;
    report_.pool_end = memory_.base + end_of_pool(memory_.size, *pool);
    return true;
  }

  void walk_blocks() {
    uint32_t end = offset_of(report_.pool_end);
    uint32_t at = offset_of(report_.pool);
    while (at < end) {
      uint32_t size = sensible_block_size(memory_, at, end);
      if (size == 0) break;
      Use use = is_free(field(at + kBsizeAt)) ? Use::free : Use::unlisted;
      report_.blocks.add({memory_.base + at, size, use, false, 0});
      at += size;
    }
    report_.chain_is_intact = at == end;
    report_.chain_breaks_at = memory_.base + at;
    if (!report_.chain_is_intact) find(Invariant::block_size, at + kBsizeAt, 0, field(at + kBsizeAt));
    expect32(Invariant::end_mark, end + kBsizeAt, kEndMark);
  }

  // What every block, and the end mark, says about the block in front of it.
  void check_tags() {
    uint32_t free_in_front = 0;
    for (const Block& block : report_.blocks) {
      expect32(Invariant::prevfree, offset_of(block.address) + kPrevfreeAt, free_in_front);
      if (free_in_front != 0 && block.use == Use::free)
        find(Invariant::adjacent_free, offset_of(block.address), 0, block.size);
      free_in_front = block.use == Use::free ? block.size : 0;
    }
    if (report_.chain_is_intact)
      expect32(Invariant::prevfree, offset_of(report_.pool_end) + kPrevfreeAt, free_in_front);
  }

  // A link that leads behind a break of the block chain can be neither proved nor called wrong.
  bool is_beyond_judgement(uint32_t address) const {
    return !report_.chain_is_intact && address >= report_.chain_breaks_at && address < report_.pool_end;
  }

  void check_free_list() {
    uint32_t previous = handle();
    uint32_t link_at = kHandleAt + kFlinkAt;
    for (;;) {
      uint32_t link = field(link_at);
      if (link == handle()) break;
      Block* block = report_.block_at(link);
      if (block == nullptr || block->use != Use::free) {
        if (!is_beyond_judgement(link)) find(Invariant::free_link, link_at, 0, link);
        return;
      }
      if (block->on_free_list) {
        find(Invariant::free_cycle, link_at, 0, link);
        return;
      }
      block->on_free_list = true;
      expect32(Invariant::free_back_link, offset_of(link) + kBlinkAt, previous);
      previous = link;
      link_at = offset_of(link) + kFlinkAt;
    }
    expect32(Invariant::free_back_link, kHandleAt + kBlinkAt, previous);
    for (const Block& block : report_.blocks)
      if (block.use == Use::free && !block.on_free_list)
        find(Invariant::free_unlisted, offset_of(block.address), 0, block.size);
  }

  // The allocated block whose caller's bytes begin at the address.
  Block* allocated_buffer(uint32_t address) {
    Block* block = report_.block_at(address - kBlockHeader);
    return block != nullptr && block->use != Use::free ? block : nullptr;
  }

  void walk_variables() {
    uint32_t link_at = kVariablesAt;
    for (;;) {
      uint32_t link = field(link_at);
      if (link == 0) break;
      Block* block = allocated_buffer(link);
      if (block == nullptr) {
        if (!is_beyond_judgement(link - kBlockHeader)) find(Invariant::node_link, link_at, 0, link);
        return;
      }
      if (block->use == Use::node) {
        find(Invariant::node_cycle, link_at, 0, link);
        return;
      }
      if (!block_suits(block->size, kNodeSize)) {
        find(Invariant::node_block, link_at, 0, block->size);
        return;
      }
      block->use = Use::node;
      block->variable = static_cast<uint32_t>(report_.variables.size());
      uint32_t node = offset_of(link);
      report_.variables.add({field(node + kIdAt), link, field(node + kValueAt), field(node + kLengthAt), false});
      link_at = node + kNextAt;
    }
    report_.list_is_intact = true;
  }

  void check_variables() {
    for (uint32_t index = 0; index < report_.variables.size(); ++index) {
      Variable& variable = report_.variables[index];
      size_t before = report_.findings.size();
      if (variable.id >> 16 != surroundings_.module)
        find(Invariant::id_module, offset_of(variable.node) + kIdAt, surroundings_.module, variable.id);
      bool value_is_there = check_value(variable, index);
      variable.proved = value_is_there && report_.findings.size() == before;
    }
  }

  bool check_value(const Variable& variable, uint32_t index) {
    uint32_t node = offset_of(variable.node);
    if (variable.length == 0) find(Invariant::length_zero, node + kLengthAt, 0, 0);
    Block* block = allocated_buffer(variable.value);
    if (block == nullptr) {
      if (!is_beyond_judgement(variable.value - kBlockHeader))
        find(Invariant::value_link, node + kValueAt, 0, variable.value);
      return false;
    }
    if (block->use != Use::unlisted) {
      bool is_node = block->use == Use::node;
      find(is_node ? Invariant::value_is_node : Invariant::value_shared, node + kValueAt, 0, variable.value);
      return false;
    }
    block->use = Use::value;
    block->variable = index;
    check_length(variable, block->size);
    return true;
  }

  void check_length(const Variable& variable, uint32_t block_size) {
    if (variable.length == 0 || block_suits(block_size, variable.length)) return;
    uint32_t usable = block_size - kBlockHeader;
    uint32_t at = offset_of(variable.node) + kLengthAt;
    if (variable.length > usable)
      find(Invariant::length_too_long, at, usable, variable.length);
    else
      find(Invariant::length_too_short, at, usable, variable.length);
  }

  // Look-up takes the first of equal ids, so the later ones are the ones that should not be there.
  void check_duplicate_ids() {
    Array<uint32_t> order;
    for (uint32_t index = 0; index < report_.variables.size(); ++index)
      order.add(index);
    const Array<Variable>& variables = report_.variables;
    std::sort(order.begin(), order.end(), [&](uint32_t left, uint32_t right) {
      return variables[left].id != variables[right].id ? variables[left].id < variables[right].id : left < right;
    });
    for (size_t at = 1; at < order.size(); ++at) {
      Variable& variable = report_.variables[order[at]];
      if (variable.id != variables[order[at - 1]].id) continue;
      find(Invariant::id_duplicate, offset_of(variable.node) + kIdAt, 0, variable.id);
      variable.proved = false;
    }
  }

  void count() {
    for (const Block& block : report_.blocks) {
      if (block.use == Use::free) {
        report_.free_bytes += block.size;
        ++report_.free_blocks;
        report_.largest_free = std::max(report_.largest_free, block.size);
        continue;
      }
      report_.allocated_bytes += block.size;
      ++report_.allocated_blocks;
      if (block.use != Use::unlisted) continue;
      report_.unlisted_bytes += block.size;
      ++report_.unlisted_blocks;
      if (looks_like_a_node(block)) ++report_.dropped_variables;
    }
  }

  bool looks_like_a_node(const Block& block) {
    if (!block_suits(block.size, kNodeSize)) return false;
    uint32_t node = offset_of(block.address) + kBlockHeader;
    const Block* value = allocated_buffer(field(node + kValueAt));
    uint32_t length = field(node + kLengthAt);
    return field(node + kIdAt) >> 16 == surroundings_.module && value != nullptr && length != 0 &&
           block_suits(value->size, length);
  }

  // The counters run on for ever and wrap, so only their differences mean something.
  void check_statistics() {
    expect32(Invariant::totalloc, kTotallocAt, report_.allocated_bytes);
    uint32_t gets = field(kGetcountAt);
    uint32_t releases = field(kRelcountAt);
    uint32_t released = gets - report_.allocated_blocks;
    if (static_cast<int32_t>(released) < 0 && static_cast<int32_t>(gets) >= 0)
      find(Invariant::getcount, kGetcountAt, report_.allocated_blocks, gets);
    else if (releases - released > kPlausibleFailures)
      find(Invariant::relcount, kRelcountAt, released, releases);
    else if (releases != released)
      note(NoteKind::failed_releases, memory_.base + kRelcountAt, releases - released);
  }

  void check_wipe() {
    uint32_t spoilt = 0, first = 0;
    for (const Block& block : report_.blocks) {
      if (block.use != Use::free) continue;
      const uint8_t* body = memory_.bytes + offset_of(block.address);
      if (std::all_of(body + kFreeHeader, body + block.size, [](uint8_t byte) { return byte == kWipe; })) continue;
      if (spoilt++ == 0) first = block.address;
    }
    if (spoilt != 0) note(NoteKind::wipe, first, spoilt);
  }

  const Memory& memory_;
  const Surroundings& surroundings_;
  Report report_;
};

} // namespace

const Block* Report::block_at(uint32_t address) const {
  const Block* found = std::lower_bound(blocks.begin(), blocks.end(), address,
                                        [](const Block& block, uint32_t wanted) { return block.address < wanted; });
  return found != blocks.end() && found->address == address ? found : nullptr;
}

Report inspect(const Memory& memory, const Surroundings& surroundings) { return Inspector(memory, surroundings).run(); }

} // namespace roq::tool::gvar
