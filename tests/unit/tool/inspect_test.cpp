#include "gvar/inspect.h"

#include "gvar/findings.h"
#include "support/store_segment.h"
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using roq::test::kSemaphoreOfSegment;
using roq::test::StoreSegment;
using namespace roq::tool::gvar;

constexpr uint32_t kModule = 2;

Report look_at(const StoreSegment& segment) {
  return inspect({segment.bytes(), segment.size(), segment.base()}, {segment.module(), kSemaphoreOfSegment});
}

// A segment with three variables (3 is the newest), a block of the module's own and, behind it, two free blocks.
struct Sample : StoreSegment {
  void* own;
  explicit Sample(uint32_t header_size = 52) : StoreSegment(kModule, 4096, header_size) {
    set(1, "first value");
    void* hole = roq::gvar::pool_allocate(pool(), 40);
    set(2, "second");
    own = roq::gvar::pool_allocate(pool(), 100);
    set(3, std::string(200, 'x'));
    roq::gvar::pool_release(pool(), hole);
  }
  uint32_t word(uint32_t offset) const { return read32(bytes(), offset); }
  void put(uint32_t offset, uint32_t value) { write32(bytes(), offset, value); }
  uint32_t offset_of(const void* place) const {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(place)) - base();
  }
  uint32_t node_at(uint32_t number) const { return offset_of(node(number)); }
  uint32_t value_at(uint32_t number) const { return static_cast<uint32_t>(node(number)->value) - base(); }
  uint32_t first_free() const { return word(kHandleAt + kFlinkAt) - base(); }
  uint32_t last_free() const { return word(kHandleAt + kBlinkAt) - base(); }
};

std::vector<std::string> names_of(const Report& report) {
  std::vector<std::string> names;
  for (const Finding& finding : report.findings)
    names.emplace_back(name_of(finding.invariant));
  return names;
}

// The finding of that kind; fails the test when there is none.
Finding only(const Report& report, Invariant invariant) {
  for (const Finding& finding : report.findings)
    if (finding.invariant == invariant) return finding;
  ADD_FAILURE() << "no finding " << name_of(invariant) << " among " << testing::PrintToString(names_of(report));
  return {};
}

// Writes a value into a field and expects a finding about it.
Finding expect_reported(Sample& sample, uint32_t offset, uint32_t value, Invariant invariant) {
  sample.put(offset, value);
  Report report = look_at(sample);
  EXPECT_FALSE(report.clean());
  return only(report, invariant);
}

TEST(ToolInspect, CallsASegmentThatTheStoreMadeClean) {
  Sample sample;
  Report report = look_at(sample);
  EXPECT_TRUE(report.clean()) << testing::PrintToString(names_of(report));
  EXPECT_TRUE(report.notes.empty());
  EXPECT_TRUE(report.chain_is_intact);
  ASSERT_EQ(report.variables.size(), 3U);
  EXPECT_EQ(report.variables[0].id, 0x00020003U);
  EXPECT_EQ(report.variables[2].id, 0x00020001U);
  EXPECT_EQ(report.variables[2].length, 11U);
  EXPECT_EQ(report.variables[2].value, static_cast<uint32_t>(sample.node(1)->value));
}

TEST(ToolInspect, CountsWhatTheAllocatorCounts) {
  Sample sample;
  Report report = look_at(sample);
  int32_t allocated, free_bytes, largest, gets, releases;
  bstats(sample.pool(), &allocated, &free_bytes, &largest, &gets, &releases);
  EXPECT_EQ(report.allocated_bytes, static_cast<uint32_t>(allocated));
  EXPECT_EQ(report.free_bytes, static_cast<uint32_t>(free_bytes));
  EXPECT_EQ(report.largest_free, static_cast<uint32_t>(largest));
  EXPECT_EQ(report.allocated_blocks, static_cast<uint32_t>(gets - releases));
}

TEST(ToolInspect, CountsBlocksThatNoVariableUses) {
  Sample sample;
  Report report = look_at(sample);
  EXPECT_EQ(report.unlisted_blocks, 1U);
  EXPECT_EQ(report.unlisted_bytes, 108U);
  EXPECT_EQ(report.dropped_variables, 0U);
}

TEST(ToolInspect, RecognisesVariablesThatADeletionDropped) {
  Sample sample;
  sample.put(kVariablesAt, sample.base() + sample.node_at(1));
  Report report = look_at(sample);
  EXPECT_TRUE(report.clean());
  EXPECT_EQ(report.variables.size(), 1U);
  EXPECT_EQ(report.unlisted_blocks, 5U);
  EXPECT_EQ(report.dropped_variables, 2U);
}

TEST(ToolInspect, AcceptsAnEmptyAndAFullPool) {
  {
    StoreSegment empty(kModule, 1024);
    EXPECT_TRUE(look_at(empty).clean());
  }
  StoreSegment full(kModule, 1024);
  for (uint32_t number = 1; full.set(number, "12345678"); ++number)
    continue;
  while (roq::gvar::pool_allocate(full.pool(), 8) != nullptr)
    continue;
  EXPECT_TRUE(look_at(full).clean());
}

TEST(ToolInspect, AcceptsSmallAndLargeHeaders) {
  for (uint32_t header : {52U, 56U, 1000U, 4072U}) {
    StoreSegment segment(kModule, 4096, header);
    EXPECT_TRUE(look_at(segment).clean()) << header;
  }
  StoreSegment segment(kModule, 0x80000, 0x10040);
  EXPECT_TRUE(look_at(segment).clean());
}

TEST(ToolInspect, FindsADamagedMagic) {
  Sample sample;
  Finding finding = expect_reported(sample, kMagicAt, 0x00042046, Invariant::magic);
  EXPECT_EQ(finding.address, sample.base());
  EXPECT_EQ(finding.expected, 0x00042047U);
  EXPECT_EQ(finding.actual, 0x00042046U);
}

TEST(ToolInspect, TellsPoolLengthFromHeaderSizeByTheBlocks) {
  {
    Sample sample;
    Finding finding = expect_reported(sample, kPoolLengthAt, 4096 - 56, Invariant::pool_length);
    EXPECT_EQ(finding.expected, 4096U - 52);
    EXPECT_EQ(look_at(sample).findings.size(), 1U);
  }
  Sample sample;
  write16(sample.bytes(), kHeaderSizeAt, 56);
  Report report = look_at(sample);
  EXPECT_EQ(names_of(report), (std::vector<std::string>{"header-size"}));
  EXPECT_EQ(only(report, Invariant::header_size).expected, 52U);
}

TEST(ToolInspect, FindsAPoolLengthThatIsWrongByAMultipleOfTheHeaderFieldsRange) {
  StoreSegment segment(kModule, 0x40000, 0x20034);
  write32(segment.bytes(), kPoolLengthAt, 0x40000 - 0x10034);
  Report report = look_at(segment);
  EXPECT_EQ(names_of(report), (std::vector<std::string>{"pool-length"}));
}

TEST(ToolInspect, FindsASemaphoreIdThatIsNotTheModules) {
  Sample sample;
  EXPECT_EQ(expect_reported(sample, kSemaphoreAt, 78, Invariant::semaphore_id).expected, 77U);
}

TEST(ToolInspect, NotesThatLockingIsOff) {
  Sample sample;
  sample.put(kSemaphoreAt, 0);
  Report report = look_at(sample);
  EXPECT_TRUE(report.clean());
  ASSERT_EQ(report.notes.size(), 1U);
  EXPECT_EQ(report.notes[0].kind, NoteKind::locking_off);
}

TEST(ToolInspect, FindsReservedFieldsThatAreNotZero) {
  Sample sample;
  expect_reported(sample, kReservedAt, 1, Invariant::reserved);
  write16(sample.bytes(), kReserved2At, 1);
  EXPECT_EQ(only(look_at(sample), Invariant::reserved2).actual, 1U);
}

TEST(ToolInspect, FindsADamagedPoolHandle) {
  Sample sample;
  expect_reported(sample, kHandleAt + kPrevfreeAt, 4, Invariant::handle_prevfree);
  expect_reported(sample, kHandleAt + kBsizeAt, 4, Invariant::handle_bsize);
}

TEST(ToolInspect, FindsABlockSizeThatLeadsNowhere) {
  for (uint32_t bad :
       {0U, 15U, 18U, 4096U, 0x80000000U, 0x7FFFFFFCU, static_cast<uint32_t>(-8), static_cast<uint32_t>(-4096)}) {
    Sample sample;
    uint32_t at = sample.value_at(2) - kBlockHeader;
    Finding finding = expect_reported(sample, at + kBsizeAt, bad, Invariant::block_size);
    EXPECT_EQ(finding.address, sample.base() + at + kBsizeAt) << bad;
    EXPECT_FALSE(look_at(sample).chain_is_intact);
  }
}

TEST(ToolInspect, FindsABlockThatSwallowsItsNeighbour) {
  Sample sample;
  uint32_t block = sample.node_at(2) - kBlockHeader;
  uint32_t next = block - sample.word(block + kBsizeAt);
  sample.put(block + kBsizeAt, sample.word(block + kBsizeAt) + sample.word(next + kBsizeAt));
  EXPECT_FALSE(look_at(sample).clean());
}

TEST(ToolInspect, FindsAMissingEndMark) {
  Sample sample;
  Finding finding = expect_reported(sample, 4092, 0x80000001, Invariant::end_mark);
  EXPECT_EQ(finding.address, sample.base() + 4092);
}

TEST(ToolInspect, FindsTagsThatDoNotTellTheBlockInFront) {
  Sample sample;
  expect_reported(sample, sample.value_at(1) - kBlockHeader + kPrevfreeAt, 16, Invariant::prevfree);
  Sample* again = &sample;
  again->put(4088, 16);
  EXPECT_GE(look_at(sample).findings.size(), 2U);
}

TEST(ToolInspect, FindsFreeBlocksThatTouch) {
  Sample sample;
  uint32_t block = sample.value_at(2) - kBlockHeader;
  // Its neighbour is the hole; freed without merging.
  sample.put(block + kBsizeAt, 0U - sample.word(block + kBsizeAt));
  sample.put(sample.value_at(2) - kBlockHeader + kPrevfreeAt, 0);
  Report report = look_at(sample);
  EXPECT_FALSE(report.clean());
  only(report, Invariant::value_link);
}

TEST(ToolInspect, FindsBrokenLinksOfTheFreeList) {
  {
    Sample sample;
    Finding finding = expect_reported(sample, kHandleAt + kFlinkAt, 12, Invariant::free_link);
    EXPECT_EQ(finding.address, sample.base() + kHandleAt + kFlinkAt);
    EXPECT_EQ(finding.actual, 12U);
  }
  {
    Sample sample;
    expect_reported(sample, sample.last_free() + kBlinkAt, 0, Invariant::free_back_link);
  }
  {
    Sample sample;
    expect_reported(sample, kHandleAt + kBlinkAt, sample.base() + sample.first_free(), Invariant::free_back_link);
  }
  {
    Sample sample;
    expect_reported(sample, sample.last_free() + kFlinkAt, sample.base() + sample.first_free(), Invariant::free_cycle);
  }
  Sample sample;
  expect_reported(sample, sample.first_free() + kFlinkAt, sample.base() + kHandleAt, Invariant::free_unlisted);
}

TEST(ToolInspect, FindsWrongStatistics) {
  {
    Sample sample;
    Finding finding = expect_reported(sample, kTotallocAt, 7, Invariant::totalloc);
    EXPECT_EQ(finding.actual, 7U);
  }
  {
    Sample sample;
    expect_reported(sample, kGetcountAt, 1, Invariant::getcount);
  }
  Sample sample;
  expect_reported(sample, kRelcountAt, 0, Invariant::relcount);
}

TEST(ToolInspect, NotesReleasesThatFailed) {
  Sample sample;
  sample.put(kRelcountAt, sample.word(kRelcountAt) + 2);
  Report report = look_at(sample);
  EXPECT_TRUE(report.clean());
  ASSERT_EQ(report.notes.size(), 1U);
  EXPECT_EQ(report.notes[0].kind, NoteKind::failed_releases);
  EXPECT_EQ(report.notes[0].count, 2U);
}

TEST(ToolInspect, AcceptsCountersThatHaveWrapped) {
  Sample sample;
  uint32_t blocks = look_at(sample).allocated_blocks;
  for (uint32_t gets : {0x80000001U, 0xFFFFFFFFU, 0x7FFFFFFFU}) {
    sample.put(kGetcountAt, gets);
    sample.put(kRelcountAt, gets - blocks);
    EXPECT_TRUE(look_at(sample).clean()) << gets;
    EXPECT_TRUE(look_at(sample).notes.empty()) << gets;
  }
}

TEST(ToolInspect, NotesFreedMemoryThatWasWrittenTo) {
  Sample sample;
  sample.bytes()[sample.first_free() + kFreeHeader] = 0;
  Report report = look_at(sample);
  EXPECT_TRUE(report.clean());
  ASSERT_EQ(report.notes.size(), 1U);
  EXPECT_EQ(report.notes[0].kind, NoteKind::wipe);
  EXPECT_EQ(report.notes[0].address, sample.base() + sample.first_free());
}

TEST(ToolInspect, FindsLinksOfTheVariableListThatLeadNowhere) {
  {
    Sample sample;
    Finding finding =
        expect_reported(sample, kVariablesAt, sample.base() + sample.node_at(3) + 4, Invariant::node_link);
    EXPECT_EQ(finding.address, sample.base() + kVariablesAt);
  }
  {
    Sample sample;
    expect_reported(sample, sample.node_at(2) + kNextAt, 0xFFFFFFFF, Invariant::node_link);
    EXPECT_EQ(look_at(sample).variables.size(), 2U);
  }
  {
    Sample sample;
    expect_reported(sample, sample.node_at(1) + kNextAt, sample.base() + sample.node_at(3), Invariant::node_cycle);
  }
  Sample sample;
  expect_reported(sample, kVariablesAt, sample.base() + sample.value_at(3), Invariant::node_block);
}

TEST(ToolInspect, FindsIdsThatDoNotBelongThere) {
  Sample sample;
  expect_reported(sample, sample.node_at(2) + kIdAt, 0x00030002, Invariant::id_module);
  expect_reported(sample, sample.node_at(3) + kNextAt - kNextAt + kIdAt, 0x00020001, Invariant::id_duplicate);
}

TEST(ToolInspect, FindsValuesThatAreNotTheVariablesOwn) {
  {
    Sample sample;
    expect_reported(sample, sample.node_at(2) + kValueAt, sample.base() + sample.value_at(2) + 4,
                    Invariant::value_link);
  }
  {
    Sample sample;
    expect_reported(sample, sample.node_at(2) + kValueAt, sample.base() + sample.node_at(1), Invariant::value_is_node);
  }
  Sample sample;
  expect_reported(sample, sample.node_at(1) + kValueAt, sample.base() + sample.value_at(2), Invariant::value_shared);
}

TEST(ToolInspect, FindsLengthsThatDoNotFitTheirBlock) {
  Sample sample;
  uint32_t at = sample.node_at(3) + kLengthAt;
  EXPECT_EQ(expect_reported(sample, at, 201, Invariant::length_too_long).expected, 200U);
  expect_reported(sample, at, 0xFFFFFFFF, Invariant::length_too_long);
  expect_reported(sample, at, 180, Invariant::length_too_short);
  expect_reported(sample, at, 0, Invariant::length_zero);
}

TEST(ToolInspect, JudgesNothingBehindABreakOfTheBlockChain) {
  Sample sample;
  // The lowest block of the pool is the large free one; with it broken nothing behind is known.
  sample.put(52 + kBsizeAt, 5);
  Report report = look_at(sample);
  EXPECT_EQ(names_of(report), (std::vector<std::string>{"block-size"}));
  EXPECT_TRUE(report.variables.empty());
}

TEST(ToolInspect, RefusesSegmentsOfSizesThatTheStoreNeverCreates) {
  std::vector<uint8_t> bytes(0x80004, 0);
  for (uint32_t size : {0U, 1U, 51U, 52U, 75U, 76U, 1023U, 0x80001U, 0xFFFFFFFFU}) {
    Report report = inspect({bytes.data(), size, 0x2F100000}, {kModule, kSemaphoreOfSegment});
    EXPECT_EQ(only(report, Invariant::segment_size).actual, size);
  }
}

TEST(ToolInspect, EndsOnZerosAndOnOnes) {
  for (int fill : {0, 0xFF, 0x55, 0x80}) {
    std::vector<uint8_t> bytes(4096, static_cast<uint8_t>(fill));
    EXPECT_FALSE(inspect({bytes.data(), 4096, 0x2F100000}, {kModule, kSemaphoreOfSegment}).clean());
  }
}

TEST(ToolFindings, HaveANameAndASentenceEach) {
  for (int at = 0; at <= static_cast<int>(Invariant::length_too_short); ++at) {
    auto invariant = static_cast<Invariant>(at);
    EXPECT_GT(std::string(name_of(invariant)).size(), 3U);
    EXPECT_GT(std::string(sentence_of(invariant)).size(), 10U);
    roq::tool::Text expected, actual;
    append_expected(expected, {invariant, 0, 1, 2});
    append_actual(actual, {invariant, 0, 1, 2});
    EXPECT_FALSE(expected.empty());
    EXPECT_FALSE(actual.empty());
  }
}

} // namespace
