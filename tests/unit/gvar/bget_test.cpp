#include "support/assertion.h"
#include "support/mapping.h"
#include "test_pool.h"
#include <gmock/gmock.h>
#include <memory>

namespace {

using namespace roq::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* kNoHandle = "pstBH";
constexpr const char* kNegativeLength =
    "len - sizeof(struct bhead) <= -((bufsize) ((bufsize) (-(((1L << (sizeof(bufsize) * 8 - 2)) - 1) * 2) - 2)) + 1)";
constexpr const char* kLastLinksBack = "pstBH->freelist.ql.blink->ql.flink == &pstBH->freelist";
constexpr const char* kFirstLinksBack = "pstBH->freelist.ql.flink->ql.blink == &pstBH->freelist";

struct Statistics {
  int32_t allocated = -7, total_free = -7, largest_free = -7, gets = -7, releases = -7;
};

Statistics statistics(RoqPoolHandle* handle) {
  Statistics s;
  bstats(handle, &s.allocated, &s.total_free, &s.largest_free, &s.gets, &s.releases);
  return s;
}

std::string expired_line(pid_t pid) { return "bget report: memory expired, pid:" + std::to_string(pid) + "\n"; }

bool all_bytes_are(const unsigned char* first, const unsigned char* last, int value) {
  return std::all_of(first, last, [value](unsigned char byte) { return byte == value; });
}

// ---- bpool

TEST(Bpool, MakesTheRegionOneFreeBlockAndAnEndMark) {
  TestPool pool;
  EXPECT_EQ(pool.handle()->prevfree, 0);
  EXPECT_EQ(pool.handle()->bsize, 0);
  EXPECT_EQ(static_cast<int32_t>(pool.handle()->flink), pool.link(0));
  EXPECT_EQ(static_cast<int32_t>(pool.handle()->blink), pool.link(0));
  EXPECT_EQ(pool.handle()->totalloc, 0);
  EXPECT_EQ(pool.handle()->getcount, 0);
  EXPECT_EQ(pool.handle()->relcount, 0);
  EXPECT_EQ(pool.prevfree(0), 0);
  EXPECT_EQ(pool.bsize(0), 1016);
  EXPECT_EQ(pool.flink(0), pool.list());
  EXPECT_EQ(pool.blink(0), pool.list());
  EXPECT_TRUE(all_bytes_are(pool.region() + 16, pool.region() + 1016, 0x55));
  EXPECT_EQ(pool.prevfree(1016), 1016);
  EXPECT_EQ(pool.bsize(1016), INT32_MIN);
}

TEST(Bpool, OfAFreshPoolIsReportedByBstats) {
  TestPool pool;
  Statistics s = statistics(pool.handle());
  EXPECT_EQ(s.allocated, 0);
  EXPECT_EQ(s.total_free, 1016);
  EXPECT_EQ(s.largest_free, 1016);
  EXPECT_EQ(s.gets, 0);
  EXPECT_EQ(s.releases, 0);
}

TEST(Bpool, RoundsTheLengthDownAndLeavesTheRestAlone) {
  for (int32_t extra = 0; extra < 4; ++extra) {
    TestPool pool;
    memset(pool.region(), 0xaa, kRegionSize);
    bpool(pool.handle(), pool.region(), 100 + extra);
    EXPECT_EQ(pool.bsize(0), 92);
    EXPECT_EQ(pool.prevfree(92), 92);
    EXPECT_EQ(pool.bsize(92), INT32_MIN);
    EXPECT_TRUE(all_bytes_are(pool.region() + 100, pool.region() + kRegionSize, 0xaa));
  }
}

TEST(Bpool, DiscardsWhatTheHandleDescribedBefore) {
  TestPool pool;
  pool.get(100);
  pool.release(pool.get(50));
  memset(static_cast<void*>(pool.handle()), 0xee, sizeof(RoqPoolHandle));
  bpool(pool.handle(), pool.region(), kRegionSize);
  EXPECT_EQ(PoolModel(pool.handle(), pool.region(), kRegionSize).difference(*pool.handle(), pool.region()), "");
}

TEST(Bpool, ManagesOneRegionOnly) {
  TestPool pool;
  bpool(pool.handle(), pool.region() + 512, 512);
  EXPECT_EQ(statistics(pool.handle()).total_free, 504);
  EXPECT_THAT(pool.free_list(), ElementsAre(512));
}

TEST(Bpool, HoldsAtLeastOneFreeBlockHeader) {
  TestPool pool;
  memset(pool.region(), 0xaa, kRegionSize);
  bpool(pool.handle(), pool.region(), 24);
  EXPECT_EQ(pool.bsize(0), 16);
  EXPECT_EQ(pool.bsize(16), INT32_MIN);
  EXPECT_TRUE(all_bytes_are(pool.region() + 24, pool.region() + kRegionSize, 0xaa));
  EXPECT_EQ(pool.get(8), 0);
}

TEST(Bpool, StopsOnANullHandle) {
  TestPool pool;
  EXPECT_TRUE(stopped_by(run_in_child([&] { bpool(nullptr, pool.region(), 1024); }), 966, "bpool", kNoHandle));
  EXPECT_TRUE(stopped_by(run_in_child([&] { bpool(nullptr, nullptr, -1); }), 966, "bpool", kNoHandle));
}

TEST(Bpool, StopsOnALengthThatHoldsNoBlockAfterItCleanedTheHandle) {
  for (int32_t length : {INT32_MIN, -1024, -1, 0, 3, 4, 7, 8, 12, 16, 20, 23}) {
    TestPool pool;
    pool.get(8);
    Outcome outcome;
    Changes changes = pool.changes_in_child(outcome, [&] { bpool(pool.handle(), pool.region(), length); });
    EXPECT_TRUE(stopped_by(outcome, 1000, "bpool", kNegativeLength)) << length;
    EXPECT_THAT(changes, ElementsAre(Pair("blink", pool.list()), Pair("flink", pool.list()), Pair("getcount", 0),
                                     Pair("totalloc", 0)))
        << length;
  }
}

TEST(Bpool, StopsOnARegionWhoseFirstHeaderOverwritesTheHandlesLinks) {
  TestPool pool;
  auto* handle = reinterpret_cast<RoqPoolHandle*>(pool.region());
  Outcome outcome = run_in_child([&] { bpool(handle, pool.region() + 4, 512); });
  EXPECT_TRUE(stopped_by(outcome, 1010, "bpool", kLastLinksBack));
}

TEST(Bpool, FaultsOnAMissingRegionInReach) {
  Mapping low(0x20000000, 4096);
  auto* handle = reinterpret_cast<RoqPoolHandle*>(low.at(0));
  Outcome outcome = run_in_child([&] { bpool(handle, nullptr, 1024); });
  EXPECT_TRUE(outcome.faulted()) << outcome;
}

// ---- bget

TEST(Bget, CutsThePieceFromTheHighEnd) {
  TestPool pool;
  EXPECT_EQ(pool.get(8), 1000);
  EXPECT_EQ(pool.prevfree(0), 0);
  EXPECT_EQ(pool.bsize(0), 1000);
  EXPECT_EQ(pool.flink(0), pool.list());
  EXPECT_EQ(pool.blink(0), pool.list());
  EXPECT_EQ(pool.prevfree(1000), 1000);
  EXPECT_EQ(pool.bsize(1000), -16);
  EXPECT_TRUE(all_bytes_are(pool.region() + 1008, pool.region() + 1016, 0x55));
  EXPECT_EQ(pool.prevfree(1016), 0);
  EXPECT_EQ(pool.bsize(1016), INT32_MIN);
  EXPECT_EQ(pool.handle()->totalloc, 16);
  EXPECT_EQ(pool.handle()->getcount, 1);
  EXPECT_EQ(pool.handle()->relcount, 0);

  EXPECT_EQ(pool.get(20), 972);
  EXPECT_EQ(pool.bsize(0), 972);
  EXPECT_EQ(pool.prevfree(972), 972);
  EXPECT_EQ(pool.bsize(972), -28);
  EXPECT_EQ(pool.prevfree(1000), 0);
  EXPECT_EQ(pool.handle()->totalloc, 44);
  EXPECT_EQ(pool.handle()->getcount, 2);
}

TEST(Bget, TakesAtLeastSixteenBytesAndThenMultiplesOfFour) {
  TestPool pool;
  int32_t allocated = 0;
  auto block_size = [&](int32_t size) {
    pool.get(size);
    return pool.handle()->totalloc - std::exchange(allocated, pool.handle()->totalloc);
  };
  for (int32_t size = 1; size <= 8; ++size)
    EXPECT_EQ(block_size(size), 16) << size;
  for (int32_t size = 9; size <= 12; ++size)
    EXPECT_EQ(block_size(size), 20) << size;
  for (int32_t size = 13; size <= 16; ++size)
    EXPECT_EQ(block_size(size), 24) << size;
}

TEST(Bget, SplitsOnlyWhenMoreThanSixteenBytesRemain) {
  struct Row {
    int32_t size, block, taken;
  };
  // Of one free block of 1,016 bytes.
  for (Row row : {Row{984, 24, 992}, Row{988, 20, 996}, Row{989, 0, 1016}, Row{992, 0, 1016}, Row{993, 0, 1016},
                  Row{1000, 0, 1016}, Row{1005, 0, 1016}, Row{1008, 0, 1016}}) {
    TestPool pool;
    EXPECT_EQ(pool.get(row.size), row.block) << row.size;
    EXPECT_EQ(pool.bsize(row.block), -row.taken) << row.size;
    EXPECT_EQ(pool.handle()->totalloc, row.taken) << row.size;
    EXPECT_EQ(pool.handle()->getcount, 1);
    EXPECT_EQ(statistics(pool.handle()).total_free, 1016 - row.taken) << row.size;
  }
}

TEST(Bget, HandsOutAWholeBlockWithItsOldBytes) {
  TestPool pool;
  ASSERT_EQ(pool.get(1008), 0);
  EXPECT_EQ(pool.prevfree(0), 0);
  EXPECT_EQ(pool.bsize(0), -1016);
  EXPECT_EQ(pool.flink(0), pool.list());
  EXPECT_EQ(pool.blink(0), pool.list());
  EXPECT_TRUE(all_bytes_are(pool.region() + 16, pool.region() + 1016, 0x55));
  EXPECT_EQ(pool.prevfree(1016), 0);
  EXPECT_THAT(pool.free_list(), IsEmpty());
  EXPECT_EQ(static_cast<int32_t>(pool.handle()->blink), pool.list());
  EXPECT_EQ(statistics(pool.handle()).largest_free, -1);
  EXPECT_EQ(statistics(pool.handle()).total_free, 0);
}

TEST(Bget, PrefersTheSmallestBlockThatFits) {
  TestPool pool;
  int32_t large = pool.get(100);
  pool.get(8);
  int32_t small = pool.get(40);
  pool.get(8);
  int32_t middle = pool.get(60);
  pool.get(8);
  for (int32_t block : {large, middle, small})
    pool.release(block);
  EXPECT_THAT(pool.free_list(), ElementsAre(0, large, middle, small));
  EXPECT_EQ(pool.get(40), small);
  EXPECT_EQ(pool.get(40), middle + 20); // which is split
  EXPECT_EQ(pool.bsize(middle), 20);
  EXPECT_THAT(pool.free_list(), ElementsAre(0, large, middle));
}

TEST(Bget, PrefersTheOneNearerTheListsHeadAmongEqualBlocks) {
  for (bool upper_first : {true, false}) {
    TestPool pool;
    int32_t upper = pool.get(40);
    pool.get(8);
    int32_t lower = pool.get(40);
    pool.get(8);
    int32_t first = upper_first ? upper : lower, second = upper_first ? lower : upper;
    pool.release(first);
    pool.release(second);
    EXPECT_THAT(pool.free_list(), ElementsAre(0, first, second));
    EXPECT_EQ(pool.get(40), first);
    EXPECT_EQ(pool.get(36), second);
  }
}

TEST(Bget, LeavesAMiddleBlockOfTheListCleanly) {
  TestPool pool;
  int32_t a = pool.get(40);
  pool.get(8);
  int32_t b = pool.get(80);
  pool.get(8);
  pool.release(a);
  pool.release(b);
  EXPECT_EQ(pool.get(40), a);
  EXPECT_THAT(pool.free_list(), ElementsAre(0, b));
  EXPECT_EQ(pool.blink(b), pool.link(0));
  EXPECT_EQ(pool.flink(0), pool.link(b));
}

TEST(Bget, PrintsOneLineAndReturnsNullWhenNoBlockIsLargeEnough) {
  for (int32_t size : {1009, 2000, 0x7FFFFFF0, 0x7FFFFFF4, 0x7FFFFFF5, 0x7FFFFFFC, 0x7FFFFFFD, INT32_MAX}) {
    TestPool pool;
    Outcome outcome;
    Changes changes = pool.changes_in_child(outcome, [&] { EXPECT_EQ(bget(pool.handle(), size), nullptr); });
    EXPECT_TRUE(outcome.exited_with(0)) << outcome;
    EXPECT_EQ(outcome.out, expired_line(outcome.pid)) << size;
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(changes, IsEmpty());
  }
}

TEST(Bget, FindsNothingOnAFullPool) {
  TestPool pool;
  pool.get(1008);
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { EXPECT_EQ(bget(pool.handle(), 1), nullptr); });
  EXPECT_EQ(outcome.out, expired_line(outcome.pid));
  EXPECT_THAT(changes, IsEmpty());
}

TEST(Bget, StopsOnANullHandleBeforeItLooksAtTheSize) {
  EXPECT_TRUE(stopped_by(run_in_child([] { bget(nullptr, 8); }), 546, "bget", kNoHandle));
  EXPECT_TRUE(stopped_by(run_in_child([] { bget(nullptr, 0); }), 546, "bget", kNoHandle));
}

TEST(Bget, StopsOnASizeThatIsNotPositive) {
  for (int32_t size : {0, -1, -8, INT32_MIN}) {
    TestPool pool;
    Outcome outcome;
    Changes changes = pool.changes_in_child(outcome, [&] { bget(pool.handle(), size); });
    EXPECT_TRUE(stopped_by(outcome, 547, "bget", "size > 0")) << size;
    EXPECT_THAT(changes, IsEmpty());
  }
}

TEST(Bget, StopsBeforeASplitWhenTheNextBlockDisagreesAboutTheSize) {
  TestPool pool;
  pool.prevfree(1016) = 1012;
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { bget(pool.handle(), 8); });
  EXPECT_TRUE(stopped_by(outcome, 606, "bget", "bn->prevfree == b->bh.bsize"));
  EXPECT_THAT(changes, IsEmpty());
}

TEST(Bget, StopsBeforeItHandsOutABlockWhenTheNextOneDisagreesAboutTheSize) {
  TestPool pool;
  pool.prevfree(1016) = 0;
  pool.blink(0) = 0; // looked at later
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { bget(pool.handle(), 1008); });
  EXPECT_TRUE(stopped_by(outcome, 626, "bget", "ba->prevfree == b->bh.bsize"));
  EXPECT_THAT(changes, IsEmpty());
}

// Two free blocks on the list: the rest of the pool and a small one.
struct PoolWithSmallFreeBlock : TestPool {
  int32_t small;
  PoolWithSmallFreeBlock() {
    small = get(40);
    get(8);
    release(small);
  }
};

TEST(Bget, StopsWhenThePreviousFreeBlockDoesNotLinkBack) {
  PoolWithSmallFreeBlock pool;
  pool.blink(pool.small) = pool.link(pool.small);
  pool.handle()->blink = static_cast<uint32_t>(pool.link(0)); // checked later
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { bget(pool.handle(), 40); });
  EXPECT_TRUE(stopped_by(outcome, 631, "bget", "b->ql.blink->ql.flink == b"));
  EXPECT_THAT(changes, IsEmpty());
}

TEST(Bget, StopsWhenTheNextFreeBlockDoesNotLinkBack) {
  PoolWithSmallFreeBlock pool;
  pool.handle()->blink = static_cast<uint32_t>(pool.link(0));
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { bget(pool.handle(), 40); });
  EXPECT_TRUE(stopped_by(outcome, 632, "bget", "b->ql.flink->ql.blink == b"));
  EXPECT_THAT(changes, IsEmpty());
}

TEST(Bget, WalksTheWholeListEvenForASizeThatNoBlockHas) {
  Mapping pages(0, 8192);
  mprotect(pages.at(0), 4096, PROT_NONE);
  auto* handle = reinterpret_cast<RoqPoolHandle*>(pages.at(4096));
  handle->flink = low_half(pages.at(0));
  EXPECT_TRUE(run_in_child([&] { bget(handle, INT32_MAX); }).faulted());
}

TEST(Bget, CountsOnBeyondTheLargestCount) {
  TestPool pool;
  pool.handle()->getcount = INT32_MAX;
  pool.handle()->relcount = INT32_MAX;
  pool.release(pool.get(8));
  EXPECT_EQ(pool.handle()->getcount, INT32_MIN);
  EXPECT_EQ(pool.handle()->relcount, INT32_MIN);
}

// ---- bgetz

// A place that is free in every process, emulated ones included, and low enough for a pool to be larger than it.
constexpr int32_t kLowPlace = 0x1000000;

// The handle's address, taken as a signed number, is at most the usable size.
TEST(Bgetz, ZeroesTheWholeUsableSizeWhenTheHandlesAddressIsNotAboveIt) {
  constexpr int32_t length = kLowPlace + 0x10000;
  Mapping low(kLowPlace, length + 64);
  auto* handle = reinterpret_cast<RoqPoolHandle*>(low.at(0));
  bpool(handle, low.at(64), length);
  // The whole block is handed out, 16 bytes more than asked for.
  auto* buffer = static_cast<unsigned char*>(bgetz(handle, length - 32));
  ASSERT_EQ(buffer, low.at(72));
  EXPECT_TRUE(all_bytes_are(buffer, buffer + length - 16, 0));
  int32_t end_mark;
  memcpy(&end_mark, buffer + length - 12, 4);
  EXPECT_EQ(end_mark, INT32_MIN);
}

TEST(Bgetz, ComparesTheUsableSizeExactlyWithTheHandlesAddress) {
  constexpr int32_t length = kLowPlace + 0x10000;
  Mapping low(kLowPlace, length + 64);
  auto* handle = reinterpret_cast<RoqPoolHandle*>(low.at(0));
  auto get = [&](int32_t size) {
    bpool(handle, low.at(64), length);
    return run_in_child([&] { EXPECT_NE(bgetz(handle, size), nullptr); });
  };
  EXPECT_TRUE(get(kLowPlace).exited_with(0));
  EXPECT_TRUE(stopped_by(get(kLowPlace - 4), 740, "bgetz", "rsize >= size"));
}

#if !defined(__mips__) // whose upper half of the addresses belongs to the kernel
TEST(Bgetz, WorksWhenTheLowHalfOfTheHandlesAddressIsNegative) {
  constexpr uintptr_t place = sizeof(void*) == 8 ? static_cast<uintptr_t>(0x200090000000ULL) : 0x90000000U;
  Mapping mapping(place, 4096);
  auto* handle = reinterpret_cast<RoqPoolHandle*>(mapping.at(0));
  bpool(handle, mapping.at(64), 256);
  auto* buffer = static_cast<unsigned char*>(bgetz(handle, 13));
  ASSERT_EQ(buffer, mapping.at(64 + 248 - 16));
  EXPECT_TRUE(all_bytes_are(buffer, buffer + 16, 0));
  EXPECT_EQ(handle->getcount, 1);
  auto* smallest = static_cast<unsigned char*>(bgetz(handle, 1));
  EXPECT_TRUE(all_bytes_are(smallest, smallest + 8, 0));
}
#endif

TEST(Bgetz, StopsAfterASuccessfulAllocationWhenTheHandleLiesLow) {
  Mapping low(0x20000000, 4096);
  auto* handle = reinterpret_cast<RoqPoolHandle*>(low.at(0));
  bpool(handle, low.at(64), 1024);
  Outcome outcome = run_in_child([&] {
    // The report is the last that is heard of the process, so what it did before is seen from an exit of its own.
    signal(SIGABRT, [](int) {
      auto* seen = reinterpret_cast<RoqPoolHandle*>(0x20000000);
      _exit(seen->getcount == 1 && seen->totalloc == 16 ? 42 : 43);
    });
    bgetz(handle, 8);
  });
  EXPECT_TRUE(outcome.exited_with(42)) << outcome;
  EXPECT_TRUE(stopped_by(run_in_child([&] { bgetz(handle, 8); }), 740, "bgetz", "rsize >= size"));
}

TEST(Bgetz, PassesOnTheNullOfAnExhaustedPool) {
  Mapping low(0x20000000, 4096);
  auto* handle = reinterpret_cast<RoqPoolHandle*>(low.at(0));
  bpool(handle, low.at(64), 1024);
  Outcome outcome = run_in_child([&] { EXPECT_EQ(bgetz(handle, 1009), nullptr); });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, expired_line(outcome.pid));
}

TEST(Bgetz, ChecksItsArgumentsAsBgetDoes) {
  TestPool pool;
  EXPECT_TRUE(stopped_by(run_in_child([] { bgetz(nullptr, 8); }), 546, "bget", kNoHandle));
  EXPECT_TRUE(stopped_by(run_in_child([&] { bgetz(pool.handle(), 0); }), 547, "bget", "size > 0"));
}

// ---- bgetr

TEST(Bgetr, StopsOnANullHandleFirst) {
  EXPECT_TRUE(stopped_by(run_in_child([] { bgetr(nullptr, nullptr, 0); }), 761, "bgetr", kNoHandle));
}

TEST(Bgetr, WithSizeZeroStopsInsideBget) {
  TestPool pool;
  void* buffer = bget(pool.handle(), 8);
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { bgetr(pool.handle(), buffer, 0); });
  EXPECT_TRUE(stopped_by(outcome, 546, "bget", kNoHandle));
  EXPECT_THAT(changes, IsEmpty());
}

TEST(Bgetr, ReadsAPoolAtTheNumericAddressOfTheSize) {
  for (int32_t size : {1, 4, 64, 4096, INT32_MAX, -4}) {
    TestPool pool;
    void* buffer = bget(pool.handle(), 8);
    Outcome outcome;
    Changes changes = pool.changes_in_child(outcome, [&] { bgetr(pool.handle(), buffer, size); });
    EXPECT_TRUE(outcome.faulted()) << size << outcome;
    EXPECT_THAT(changes, IsEmpty());
  }
}

// A pool large enough for one buffer of as many bytes as its address says.
struct PoolAtANumericAddress {
  static constexpr int32_t address = kLowPlace;
  Mapping memory{address, address + 0x10000};
  RoqPoolHandle* handle = reinterpret_cast<RoqPoolHandle*>(memory.at(0));
  PoolAtANumericAddress() { bpool(handle, memory.at(64), address + 0x8000); }
};

TEST(Bgetr, MovesABufferIntoThePoolThatTheSizeNames) {
  PoolAtANumericAddress named;
  TestPool pool;
  auto* old = static_cast<unsigned char*>(bget(pool.handle(), 21));
  memcpy(old, "abcdefghijklmnopqrstuvw", 24);
  auto* moved = static_cast<unsigned char*>(bgetr(pool.handle(), old, named.address));
  ASSERT_NE(moved, nullptr);
  EXPECT_GE(moved, named.memory.at(64));
  EXPECT_STREQ(reinterpret_cast<char*>(moved), "abcdefghijklmnopqrstuvw"); // the whole usable size, not 21 bytes
  EXPECT_TRUE(all_bytes_are(moved + 24, moved + 100, 0x55));
  EXPECT_EQ(named.handle->getcount, 1);
  EXPECT_EQ(named.handle->relcount, 0);
  EXPECT_EQ(pool.handle()->relcount, 1);
  EXPECT_EQ(pool.handle()->totalloc, 0);
}

TEST(Bgetr, CopiesNoMoreThanTheNewSize) {
  PoolAtANumericAddress named;
  constexpr int32_t large = 3 * named.address / 2;
  Mapping memory(0, 2 * named.address + 64);
  auto* handle = reinterpret_cast<RoqPoolHandle*>(memory.at(0));
  bpool(handle, memory.at(64), 2 * named.address);
  auto* old = static_cast<unsigned char*>(bget(handle, large));
  memset(old, 0x77, large);
  auto* moved = static_cast<unsigned char*>(bgetr(handle, old, named.address));
  ASSERT_NE(moved, nullptr);
  EXPECT_TRUE(all_bytes_are(moved, moved + named.address, 0x77));
  int32_t behind;
  memcpy(&behind, moved + named.address + 4, 4);
  EXPECT_EQ(behind, INT32_MIN);
}

TEST(Bgetr, OfNoOldBufferIsAPlainAllocation) {
  PoolAtANumericAddress named;
  TestPool pool;
  EXPECT_NE(bgetr(pool.handle(), nullptr, named.address), nullptr);
  EXPECT_EQ(pool.handle()->relcount, 0);
}

TEST(Bgetr, LeavesTheOldBufferAloneWhenTheAllocationFails) {
  PoolAtANumericAddress named;
  ASSERT_NE(bget(named.handle, named.address), nullptr);
  TestPool pool;
  void* old = bget(pool.handle(), 8);
  Outcome outcome;
  Changes changes =
      pool.changes_in_child(outcome, [&] { EXPECT_EQ(bgetr(pool.handle(), old, named.address), nullptr); });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, expired_line(outcome.pid));
  EXPECT_THAT(changes, IsEmpty());
}

TEST(Bgetr, StopsOnAnOldBufferWithoutUsableBytes) {
  PoolAtANumericAddress named;
  for (int32_t size : {-8, -4, 0, 16}) {
    TestPool pool;
    int32_t old = pool.get(8);
    pool.bsize(old) = size;
    Outcome outcome;
    Changes changes = pool.changes_in_child(outcome, [&] { bgetr(pool.handle(), pool.buffer_of(old), named.address); });
    EXPECT_TRUE(stopped_by(outcome, 781, "bgetr", "osize > 0")) << size;
    EXPECT_THAT(changes, IsEmpty());
  }
}

// ---- brel

// Four neighbours [rest, free][lower][middle][upper][end mark], all but the rest allocated.
struct Neighbours : TestPool {
  int32_t upper = get(40), middle = get(40), lower = get(40);
};

TEST(Brel, BetweenAllocatedBlocksAppendsToTheListsTail) {
  Neighbours pool;
  pool.release(pool.middle);
  EXPECT_THAT(pool.free_list(), ElementsAre(0, pool.middle));
  EXPECT_EQ(pool.prevfree(pool.middle), 0);
  EXPECT_EQ(pool.bsize(pool.middle), 48);
  EXPECT_EQ(pool.flink(pool.middle), pool.list());
  EXPECT_EQ(pool.blink(pool.middle), pool.link(0));
  EXPECT_TRUE(all_bytes_are(pool.region() + pool.middle + 16, pool.region() + pool.upper, 0x55));
  EXPECT_EQ(pool.prevfree(pool.upper), 48);
  EXPECT_EQ(pool.bsize(pool.upper), -48);
  EXPECT_EQ(pool.handle()->totalloc, 96);
  EXPECT_EQ(pool.handle()->relcount, 1);
}

TEST(Brel, MergesWithAFreeBlockInFrontWhichKeepsItsPlaceOnTheList) {
  Neighbours pool;
  pool.release(pool.upper);
  memset(pool.buffer_of(pool.lower), 0x11, 40);
  pool.release(pool.lower);
  EXPECT_THAT(pool.free_list(), ElementsAre(0, pool.upper));
  EXPECT_EQ(pool.bsize(0), 1016 - 96);
  EXPECT_EQ(pool.prevfree(pool.middle), 1016 - 96);
  EXPECT_TRUE(all_bytes_are(pool.region() + 16, pool.region() + pool.middle, 0x55));
}

TEST(Brel, MergesWithAFreeBlockBehindAndGoesToTheListsTail) {
  Neighbours pool;
  pool.release(pool.upper);
  memset(pool.buffer_of(pool.middle), 0x11, 40);
  pool.release(pool.middle);
  EXPECT_THAT(pool.free_list(), ElementsAre(0, pool.middle));
  EXPECT_EQ(pool.bsize(pool.middle), 96);
  EXPECT_EQ(pool.prevfree(1016), 96);
  EXPECT_TRUE(all_bytes_are(pool.region() + pool.middle + 16, pool.region() + 1016, 0x55));
}

TEST(Brel, MergesWithFreeBlocksOnBothSides) {
  Neighbours pool;
  pool.release(pool.lower);
  pool.release(pool.upper);
  memset(pool.buffer_of(pool.middle), 0x11, 40);
  pool.release(pool.middle);
  EXPECT_THAT(pool.free_list(), ElementsAre(0));
  EXPECT_EQ(pool.bsize(0), 1016);
  EXPECT_EQ(pool.prevfree(1016), 1016);
  EXPECT_TRUE(all_bytes_are(pool.region() + 16, pool.region() + 1016, 0x55));
  EXPECT_EQ(pool.handle()->totalloc, 0);
  EXPECT_EQ(pool.handle()->getcount, 3);
  EXPECT_EQ(pool.handle()->relcount, 3);
}

TEST(Brel, OfAllBuffersInAnyOrderRestoresTheFreshPool) {
  std::vector<int> order = {0, 1, 2, 3};
  do {
    TestPool pool;
    std::vector<int32_t> blocks;
    for (int32_t size : {8, 33, 100, 12})
      blocks.push_back(pool.get(size));
    for (int index : order)
      pool.release(blocks[static_cast<size_t>(index)]);
    EXPECT_THAT(pool.free_list(), ElementsAre(0));
    EXPECT_EQ(pool.bsize(0), 1016);
    EXPECT_EQ(pool.prevfree(1016), 1016);
    EXPECT_TRUE(all_bytes_are(pool.region() + 16, pool.region() + 1016, 0x55));
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Brel, WipesBlocksOfEverySizeAndNothingElse) {
  for (int32_t size = 1; size <= 300; ++size) {
    TestPool pool;
    int32_t upper = pool.get(8), released = pool.get(size), lower = pool.get(8);
    memset(pool.buffer_of(upper), 0x11, 8);
    memset(pool.buffer_of(lower), 0x22, 8);
    memset(pool.buffer_of(released), 0x33, static_cast<size_t>(upper - released - 8));
    pool.release(released);
    EXPECT_TRUE(all_bytes_are(pool.region() + released + 16, pool.region() + upper, 0x55)) << size;
    EXPECT_TRUE(all_bytes_are(pool.region() + upper + 8, pool.region() + upper + 16, 0x11)) << size;
    EXPECT_TRUE(all_bytes_are(pool.region() + lower + 8, pool.region() + lower + 16, 0x22)) << size;
    EXPECT_EQ(pool.bsize(upper), -16);
    EXPECT_EQ(pool.bsize(released), upper - released);
  }
}

TEST(Brel, StopsOnANullHandle) {
  TestPool pool;
  EXPECT_TRUE(stopped_by(run_in_child([&] { brel(nullptr, pool.region()); }), 796, "brel", kNoHandle));
  EXPECT_TRUE(stopped_by(run_in_child([] { brel(nullptr, nullptr); }), 796, "brel", kNoHandle));
}

TEST(Brel, CountsANullBufferBeforeItStops) {
  TestPool pool;
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { brel(pool.handle(), nullptr); });
  EXPECT_TRUE(stopped_by(outcome, 802, "brel", "buf != ((void *)0)"));
  EXPECT_THAT(changes, ElementsAre(Pair("relcount", 1)));
}

TEST(Brel, OfABufferTwiceCountsTheCallAndStops) {
  Neighbours pool;
  pool.release(pool.middle);
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { pool.release(pool.middle); });
  EXPECT_TRUE(stopped_by(outcome, 831, "brel", "b->bh.bsize < 0"));
  EXPECT_THAT(changes, ElementsAre(Pair("relcount", 2)));
}

TEST(Brel, StopsOnABlockOfNoSize) {
  Neighbours pool;
  pool.bsize(pool.middle) = 0;
  EXPECT_TRUE(stopped_by(run_in_child([&] { pool.release(pool.middle); }), 831, "brel", "b->bh.bsize < 0"));
}

TEST(Brel, StopsWhenTheNextBlockTakesThisOneForFree) {
  Neighbours pool;
  pool.prevfree(pool.upper) = 48;
  pool.handle()->totalloc = 0; // checked later
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { pool.release(pool.middle); });
  EXPECT_TRUE(stopped_by(outcome, 836, "brel", "((struct bhead *) ((char *) b - b->bh.bsize))->prevfree == 0"));
  EXPECT_THAT(changes, ElementsAre(Pair("relcount", 1)));
}

TEST(Brel, LowersTheTotalAndStopsWhenItBecomesNegative) {
  Neighbours pool;
  pool.handle()->totalloc = 47;
  pool.prevfree(pool.middle) = 20; // checked later
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { pool.release(pool.middle); });
  EXPECT_TRUE(stopped_by(outcome, 840, "brel", "pstBH->totalloc >= 0"));
  EXPECT_THAT(changes, ElementsAre(Pair("relcount", 1), Pair("totalloc", -1)));
}

TEST(Brel, StopsWhenTheBlockInFrontDisagreesAboutItsSize) {
  Neighbours pool;
  pool.prevfree(pool.middle) = 44;
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { pool.release(pool.middle); });
  EXPECT_TRUE(
      stopped_by(outcome, 856, "brel", "((struct bhead *) ((char *) b - b->bh.prevfree))->bsize == b->bh.prevfree"));
  EXPECT_THAT(changes, ElementsAre(Pair("relcount", 1), Pair("totalloc", 96)));
}

TEST(Brel, StopsWhenTheLastFreeBlockDoesNotLinkToTheHandle) {
  Neighbours pool;
  pool.flink(0) = pool.link(0);
  pool.blink(0) = 0; // checked later
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { pool.release(pool.middle); });
  EXPECT_TRUE(stopped_by(outcome, 864, "brel", kLastLinksBack));
  EXPECT_THAT(changes, ElementsAre(Pair("relcount", 1), Pair("totalloc", 96)));
}

TEST(Brel, StopsWhenTheFirstFreeBlockDoesNotLinkToTheHandle) {
  Neighbours pool;
  pool.blink(0) = pool.link(0);
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { pool.release(pool.middle); });
  EXPECT_TRUE(stopped_by(outcome, 865, "brel", kFirstLinksBack));
  EXPECT_THAT(changes, ElementsAre(Pair("relcount", 1), Pair("totalloc", 96)));
}

// The upper neighbour is free; what releasing the middle block writes before it looks there.
struct FreeNeighbourBehind : Neighbours {
  FreeNeighbourBehind() { release(upper); }
  auto appended() {
    auto at = [](int32_t place) { return "@" + std::to_string(place); };
    return testing::UnorderedElementsAre(Pair("relcount", 2), Pair("totalloc", 48), Pair("blink", link(middle)),
                                         Pair(at(upper + 8), link(middle)), Pair(at(middle + 4), 48),
                                         Pair(at(middle + 8), list()), Pair(at(middle + 12), link(upper)));
  }
};

TEST(Brel, StopsWhenTheBlockBehindTheFreeNeighbourDisagreesAboutItsSize) {
  FreeNeighbourBehind pool;
  pool.prevfree(1016) = 44;
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { pool.release(pool.middle); });
  EXPECT_TRUE(
      stopped_by(outcome, 884, "brel", "((struct bhead *) ((char *) bn + bn->bh.bsize))->prevfree == bn->bh.bsize"));
  EXPECT_THAT(changes, pool.appended());
}

TEST(Brel, StopsWhenTheFreeNeighboursPredecessorDoesNotLinkToIt) {
  FreeNeighbourBehind pool;
  pool.blink(pool.upper) = pool.link(pool.upper);
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { pool.release(pool.middle); });
  EXPECT_TRUE(stopped_by(outcome, 885, "brel", "bn->ql.blink->ql.flink == bn"));
  EXPECT_THAT(changes, pool.appended());
}

TEST(Brel, StopsWhenTheFreeNeighboursSuccessorDoesNotLinkToIt) {
  // The neighbour stands in the middle of the list, so that appending does not mend the damaged link.
  TestPool pool;
  int32_t last = pool.get(40);
  pool.get(8);
  int32_t neighbour = pool.get(40), released = pool.get(40);
  pool.release(neighbour);
  pool.release(last);
  pool.blink(last) = pool.link(0);
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { pool.release(released); });
  EXPECT_TRUE(stopped_by(outcome, 886, "brel", "bn->ql.flink->ql.blink == bn"));
  // It was merged with the rest of the pool in front of it, and nothing was wiped yet.
  EXPECT_THAT(changes, ElementsAre(Pair("@4", released + 48), Pair("relcount", 3), Pair("totalloc", 16)));
}

TEST(Brel, WipesTheBlockAndStopsWhenTheBlockBehindHasNoSize) {
  Neighbours pool;
  pool.bsize(pool.upper) = 0;
  memset(pool.buffer_of(pool.middle), 0x11, 40);
  Outcome outcome;
  pool.changes_in_child(outcome, [&] { pool.release(pool.middle); });
  EXPECT_TRUE(stopped_by(outcome, 904, "brel", "bn->bh.bsize < 0"));
  EXPECT_EQ(pool.bsize(pool.middle), 48);
  EXPECT_THAT(pool.free_list(), ElementsAre(0, pool.middle));
  EXPECT_TRUE(all_bytes_are(pool.region() + pool.middle + 16, pool.region() + pool.upper, 0x55));
  EXPECT_EQ(pool.prevfree(pool.upper), 0);
}

TEST(Brel, StopsBehindTwoFreeNeighboursInARow) {
  // The second one is never merged: it is met as the block behind, after the wipe.
  TestPool pool;
  int32_t second = pool.get(40), first = pool.get(40), released = pool.get(40);
  pool.get(8);
  pool.release(first);
  pool.bsize(second) = 48;
  Outcome outcome;
  pool.changes_in_child(outcome, [&] { pool.release(released); });
  EXPECT_TRUE(stopped_by(outcome, 904, "brel", "bn->bh.bsize < 0"));
  EXPECT_EQ(pool.bsize(released), 96);
  EXPECT_TRUE(all_bytes_are(pool.region() + released + 16, pool.region() + second, 0x55));
}

// ---- bstats

TEST(Bstats, SumsTheFreeListAndFindsTheLargestBlock) {
  TestPool pool;
  int32_t a = pool.get(100);
  pool.get(8);
  int32_t b = pool.get(700);
  pool.get(8);
  pool.release(a);
  pool.release(b);
  Statistics s = statistics(pool.handle());
  EXPECT_EQ(s.allocated, 32);
  EXPECT_EQ(s.total_free, 1016 - 32);
  EXPECT_EQ(s.largest_free, 708);
  EXPECT_EQ(s.gets, 4);
  EXPECT_EQ(s.releases, 2);
}

TEST(Bstats, StopsOnANullHandleBeforeItWrites) {
  Shared<Statistics> seen;
  Outcome outcome = run_in_child(
      [&] { bstats(nullptr, &seen->allocated, &seen->total_free, &seen->largest_free, &seen->gets, &seen->releases); });
  EXPECT_TRUE(stopped_by(outcome, 1048, "bstats", kNoHandle));
  EXPECT_EQ(seen->allocated, -7);
  EXPECT_EQ(seen->releases, -7);
}

TEST(Bstats, StopsOnAFreeBlockWithoutASizeAfterItCopiedTheCounts) {
  for (int32_t size : {0, -48, INT32_MIN}) {
    PoolWithSmallFreeBlock pool;
    pool.bsize(pool.small) = size;
    Shared<Statistics> seen;
    Outcome outcome = run_in_child([&] {
      bstats(pool.handle(), &seen->allocated, &seen->total_free, &seen->largest_free, &seen->gets, &seen->releases);
    });
    EXPECT_TRUE(stopped_by(outcome, 1057, "bstats", "b->bh.bsize > 0")) << size;
    EXPECT_EQ(seen->allocated, 16);
    EXPECT_EQ(seen->gets, 2);
    EXPECT_EQ(seen->releases, 1);
  }
}

// ---- where a pool may lie

void expect_working_pool(RoqPoolHandle* handle, unsigned char* region, int32_t length) {
  bpool(handle, region, length);
  PoolModel model(handle, region, length);
  std::vector<int32_t> buffers;
  for (int32_t size : {1, 40, 100, 8}) {
    buffers.push_back(*model.get(size));
    EXPECT_EQ(bget(handle, size), region + buffers.back());
  }
  for (size_t index : {1U, 3U, 0U, 2U}) {
    model.release(buffers[index]);
    brel(handle, region + buffers[index]);
    EXPECT_EQ(model.difference(*handle, region), "");
  }
  EXPECT_EQ(statistics(handle).total_free, length - 8);
}

TEST(PoolPlace, MayBeTheHeap) {
  struct Memory {
    RoqPoolHandle handle;
    alignas(4) unsigned char region[1024];
  };
  auto memory = std::make_unique<Memory>();
  expect_working_pool(&memory->handle, memory->region, sizeof memory->region);
}

TEST(PoolPlace, MayBeTheStack) {
  struct {
    alignas(4) unsigned char region[512];
    RoqPoolHandle handle;
  } pool;
  expect_working_pool(&pool.handle, pool.region, 512);
}

TEST(PoolPlace, MayBeLowMemory) {
  Mapping low(0x20000000, 4096);
  expect_working_pool(reinterpret_cast<RoqPoolHandle*>(low.at(0)), low.at(28), 1024);
}

TEST(PoolPlace, MayHaveItsRegionInFrontOfTheHandle) {
  Mapping low(0x20000000, 8192);
  expect_working_pool(reinterpret_cast<RoqPoolHandle*>(low.at(4096)), low.at(0), 4096);
}

#if UINTPTR_MAX > UINT32_MAX

// 5 GiB of addresses with the handle at 2.5 GiB, where only the few pages that a test opens can be used.
struct WideSpace {
  static constexpr size_t gib = size_t{1} << 30;
  static constexpr size_t page = 4096;
  static constexpr size_t home = 5 * gib / 2;
  Mapping space{0, 5 * gib};
  RoqPoolHandle* handle = reinterpret_cast<RoqPoolHandle*>(space.at(home));

  WideSpace() {
    mprotect(space.at(0), 5 * gib, PROT_NONE);
    open_page(home);
  }
  unsigned char* open_page(size_t place) const {
    mprotect(space.at(place / page * page), page, PROT_READ | PROT_WRITE);
    return space.at(place);
  }
};

TEST(PoolPlace, MayReachTwoGibibytesUpwardsToTheLastByte) {
  WideSpace wide;
  expect_working_pool(wide.handle, wide.open_page(wide.home + 2 * wide.gib - 1024), 1024);
}

TEST(PoolPlace, MayReachTwoGibibytesDownwardsToTheLastByte) {
  WideSpace wide;
  expect_working_pool(wide.handle, wide.open_page(wide.home - 2 * wide.gib), 1024);
}

TEST(PoolPlace, MayCrossABoundaryOfFourGibibytes) {
  Mapping space(0x2000FFFFF000, 8192);
  expect_working_pool(reinterpret_cast<RoqPoolHandle*>(space.at(8)), space.at(64), 8000);
  expect_working_pool(reinterpret_cast<RoqPoolHandle*>(space.at(8064)), space.at(64), 8000);
}

#if !defined(__SANITIZE_ADDRESS__) // which keeps its own memory there
TEST(PoolPlace, MayLieOnBothSidesOfTwoAndOfFourGibibytes) {
  Mapping around_two(0x7FFFF000, 8192);
  expect_working_pool(reinterpret_cast<RoqPoolHandle*>(around_two.at(8)), around_two.at(64), 8000);
  expect_working_pool(reinterpret_cast<RoqPoolHandle*>(around_two.at(8064)), around_two.at(64), 8000);
  Mapping around_four(0xFFFFF000, 8192);
  expect_working_pool(reinterpret_cast<RoqPoolHandle*>(around_four.at(8)), around_four.at(64), 8000);
  expect_working_pool(reinterpret_cast<RoqPoolHandle*>(around_four.at(8064)), around_four.at(64), 8000);
}
#endif

TEST(PoolPlace, OutOfReachStopsTheProcess) {
  WideSpace wide;
  for (size_t place : {wide.home + 2 * wide.gib - 1020, wide.home + 2 * wide.gib, wide.home - 2 * wide.gib - 4,
                       wide.home - 2 * wide.gib - 2048}) {
    Outcome outcome = run_in_child([&] { bpool(wide.handle, wide.space.at(place), 1024); });
    EXPECT_TRUE(stopped_by(outcome, 1000, "bpool", kNegativeLength)) << place;
  }
  RoqPoolHandle on_the_stack;
  EXPECT_TRUE(
      run_in_child([&] { bpool(&on_the_stack, reinterpret_cast<void*>(0x20000000), 1024); }).killed_by(SIGABRT));
}

// A free block of nearly 2 GiB, written by hand so that nothing wipes it.
struct HugePool : WideSpace {
  static constexpr int32_t size = 0x7FFFFFFC;
  unsigned char* block = open_page(home - 2 * gib);

  void write(size_t place, int32_t value) const { memcpy(block + place, &value, 4); }
  int32_t read(size_t place) const {
    int32_t value;
    memcpy(&value, block + place, 4);
    return value;
  }

  HugePool() {
    open_page(home - page);
    auto list = static_cast<int32_t>(low_half(handle));
    write(4, size);
    write(8, list);
    write(12, list);
    write(size, size); // of the end mark, directly in front of the handle, only what tells about this block
    handle->flink = handle->blink = low_half(block);
  }
};

TEST(Bget, HandsOutAWholeBlockOfTheLargestSize) {
  HugePool pool;
  EXPECT_EQ(bget(pool.handle, 0x7FFFFFF4), pool.block + 8);
  EXPECT_EQ(pool.read(4), -pool.size);
  EXPECT_EQ(pool.handle->totalloc, pool.size);
}

TEST(Bget, SplitsABlockOfTheLargestSize) {
  HugePool pool;
  EXPECT_EQ(bget(pool.handle, 0x7FFFFFD5), pool.block + 0x7FFFFFFC - 0x7FFFFFE0 + 8);
  EXPECT_EQ(pool.read(4), 28);
  EXPECT_EQ(pool.read(28), 28);
  EXPECT_EQ(pool.read(32), -0x7FFFFFE0);
}

TEST(Bget, OfASizeBeyondTheLargestBlockFindsNothing) {
  HugePool pool;
  for (int32_t size : {0x7FFFFFF5, 0x7FFFFFF8, 0x7FFFFFFC, INT32_MAX}) {
    Outcome outcome = run_in_child([&] { EXPECT_EQ(bget(pool.handle, size), nullptr); });
    EXPECT_TRUE(outcome.exited_with(0)) << outcome;
    EXPECT_EQ(outcome.out, expired_line(outcome.pid));
  }
}

#endif

} // namespace
