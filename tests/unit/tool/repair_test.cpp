#include "gvar/repair.h"

#include "support/store_segment.h"
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using roq::test::kSemaphoreOfSegment;
using roq::test::StoreSegment;
using namespace roq::tool::gvar;

constexpr Surroundings kSurroundings{2, kSemaphoreOfSegment};

struct Sample : StoreSegment {
  Sample() : StoreSegment(2, 4096) {
    for (uint32_t number = 1; number <= 5; ++number)
      set(number, "value " + std::to_string(number));
    set(2, std::string(100, 'y'));
  }
  uint32_t word(uint32_t offset) const { return read32(bytes(), offset); }
  void put(uint32_t offset, uint32_t value) { write32(bytes(), offset, value); }
  uint32_t node_at(uint32_t number) const {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(node(number))) - base();
  }
  std::string value(uint32_t number) const {
    const roq::gvar::VariableNode* found = node(number);
    if (found == nullptr) return "(not set)";
    return {roq::gvar::from_segment_address<const char>(found->value), found->length};
  }
  Repair mend(bool release_unlisted = false) {
    return repair(bytes(), size(), base(), kSurroundings, release_unlisted);
  }
  bool is_clean() const { return inspect({bytes(), size(), base()}, kSurroundings).clean(); }
  std::vector<uint8_t> copy() const { return {bytes(), bytes() + size()}; }
};

TEST(ToolRepair, LeavesASoundSegmentAlone) {
  Sample sample;
  std::vector<uint8_t> before = sample.copy();
  Repair done = sample.mend();
  EXPECT_EQ(done.refusal, Refusal::none);
  EXPECT_EQ(done.fields, 0U);
  EXPECT_EQ(done.kept_variables, 5U);
  EXPECT_FALSE(done.list_was_cut);
  EXPECT_EQ(sample.copy(), before);
}

TEST(ToolRepair, RebuildsTheHeader) {
  Sample sample;
  std::vector<uint8_t> before = sample.copy();
  sample.put(kMagicAt, 1);
  sample.put(kPoolLengthAt, 2);
  sample.put(kSemaphoreAt, 3);
  sample.put(kReservedAt, 4);
  sample.put(kHandleAt + kPrevfreeAt, 5);
  EXPECT_EQ(sample.mend().fields, 5U);
  EXPECT_EQ(sample.copy(), before);
}

TEST(ToolRepair, RebuildsTagsLinksAndStatistics) {
  Sample sample;
  std::vector<uint8_t> before = sample.copy();
  sample.put(kHandleAt + kFlinkAt, 1);
  sample.put(kHandleAt + kBlinkAt, 1);
  sample.put(kTotallocAt, 1);
  sample.put(kRelcountAt, 0);
  sample.put(52 + kFlinkAt, 1);
  sample.put(sample.node_at(4) - kBlockHeader + kPrevfreeAt, 1);
  sample.put(4092, 0);
  EXPECT_EQ(sample.mend().refusal, Refusal::none);
  EXPECT_TRUE(sample.is_clean());
  for (uint32_t number : {1U, 3U, 4U, 5U})
    EXPECT_EQ(sample.value(number), "value " + std::to_string(number));
}

TEST(ToolRepair, CutsTheListAtTheFirstLinkItCannotProve) {
  Sample sample;
  sample.put(sample.node_at(3) + kNextAt, 0xDEAD);
  Repair done = sample.mend();
  EXPECT_TRUE(done.list_was_cut);
  EXPECT_EQ(done.cut_at, sample.base() + sample.node_at(3) + kNextAt);
  EXPECT_EQ(done.kept_variables, 3U);
  EXPECT_EQ(done.unlisted_blocks, 4U);
  EXPECT_TRUE(sample.is_clean());
  EXPECT_EQ(sample.value(3), "value 3");
  EXPECT_EQ(sample.value(2), "(not set)");
}

TEST(ToolRepair, CutsInFrontOfAVariableWhoseValueItCannotProve) {
  Sample sample;
  sample.put(sample.node_at(4) + kValueAt, sample.base() + 52);
  Repair done = sample.mend();
  EXPECT_EQ(done.cut_at, sample.base() + sample.node_at(5) + kNextAt);
  EXPECT_EQ(done.kept_variables, 1U);
  EXPECT_TRUE(sample.is_clean());
}

TEST(ToolRepair, EmptiesAListWhoseHeadIsWrong) {
  Sample sample;
  sample.put(kVariablesAt, 4);
  Repair done = sample.mend();
  EXPECT_EQ(done.cut_at, sample.base() + kVariablesAt);
  EXPECT_EQ(done.kept_variables, 0U);
  EXPECT_TRUE(sample.is_clean());
}

TEST(ToolRepair, EndsACycle) {
  Sample sample;
  sample.put(sample.node_at(1) + kNextAt, sample.base() + sample.node_at(4));
  Repair done = sample.mend();
  EXPECT_EQ(done.kept_variables, 5U);
  EXPECT_EQ(done.cut_at, sample.base() + sample.node_at(1) + kNextAt);
  EXPECT_TRUE(sample.is_clean());
}

TEST(ToolRepair, MergesFreeBlocksThatTouch) {
  Sample sample;
  uint32_t block = sample.node_at(5) - kBlockHeader;
  sample.put(block + kBsizeAt, 0U - sample.word(block + kBsizeAt));
  Repair done = sample.mend();
  EXPECT_EQ(done.refusal, Refusal::none);
  EXPECT_TRUE(sample.is_clean());
}

TEST(ToolRepair, ReleasesUnlistedBlocksOnlyWhenAsked) {
  Sample sample;
  sample.put(kVariablesAt, sample.base() + sample.node_at(1));
  Repair kept = sample.mend();
  EXPECT_EQ(kept.unlisted_blocks, 8U);
  EXPECT_EQ(kept.released_blocks, 0U);
  Repair released = sample.mend(true);
  EXPECT_EQ(released.released_blocks, 8U);
  EXPECT_EQ(released.unlisted_blocks, 0U);
  EXPECT_TRUE(sample.is_clean());
  EXPECT_TRUE(inspect({sample.bytes(), sample.size(), sample.base()}, kSurroundings).notes.empty());
  EXPECT_EQ(sample.value(1), "value 1");
}

TEST(ToolRepair, LeavesAPoolThatTheStoreGoesOnWith) {
  Sample sample;
  sample.put(kVariablesAt, sample.base() + sample.node_at(3));
  sample.put(kHandleAt + kFlinkAt, 0);
  ASSERT_EQ(sample.mend(true).refusal, Refusal::none);
  EXPECT_TRUE(sample.set(3, std::string(500, 'z')));
  EXPECT_TRUE(sample.set(9, std::string(500, 'n')));
  void* buffer = roq::gvar::pool_allocate(sample.pool(), 300);
  ASSERT_NE(buffer, nullptr);
  roq::gvar::pool_release(sample.pool(), buffer);
  EXPECT_TRUE(sample.is_clean());
}

TEST(ToolRepair, RefusesABrokenBlockChainAndChangesNothing) {
  Sample sample;
  uint32_t block = sample.node_at(3) - kBlockHeader;
  sample.put(block + kBsizeAt, 7);
  sample.put(kMagicAt, 1);
  std::vector<uint8_t> before = sample.copy();
  Repair done = sample.mend(true);
  EXPECT_EQ(done.refusal, Refusal::chain_broken);
  EXPECT_EQ(done.refused_at, sample.base() + block);
  EXPECT_EQ(sample.copy(), before);
}

TEST(ToolRepair, RefusesASegmentThatIsNoneOfTheStores) {
  std::vector<uint8_t> bytes(4096, 0x41);
  std::vector<uint8_t> before = bytes;
  EXPECT_NE(repair(bytes.data(), 4096, 0x2F100000, kSurroundings, true).refusal, Refusal::none);
  EXPECT_EQ(repair(bytes.data(), 1000, 0x2F100000, kSurroundings, true).refusal, Refusal::segment_size);
  EXPECT_EQ(bytes, before);
}

TEST(ToolRepair, SwitchesLockingOffWhenTheModuleHasNoSemaphoreSet) {
  Sample sample;
  Repair done = repair(sample.bytes(), sample.size(), sample.base(), {2, -1}, false);
  EXPECT_EQ(done.fields, 1U);
  EXPECT_EQ(sample.word(kSemaphoreAt), 0U);
}

} // namespace
