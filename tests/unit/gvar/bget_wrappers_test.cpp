#include "support/assertion.h"
#include "support/mapping.h"
#include "test_pool.h"
#include <gmock/gmock.h>

namespace {

using namespace roq::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(BgetInit, SetsUpAPool) {
  TestPool pool;
  pool.get(8);
  ROQ_UTIL_BgetInit(pool.handle(), pool.region(), 512);
  EXPECT_EQ(PoolModel(pool.handle(), pool.region(), 512).difference(*pool.handle(), pool.region()), "");
}

TEST(BgetInit, WithoutAHandleDoesNothing) {
  TestPool pool;
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { ROQ_UTIL_BgetInit(nullptr, pool.region(), 512); });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_THAT(changes, IsEmpty());
  ROQ_UTIL_BgetInit(nullptr, nullptr, -1);
}

TEST(BgetInit, StopsOnALengthThatHoldsNoBlock) {
  TestPool pool;
  EXPECT_TRUE(run_in_child([&] { ROQ_UTIL_BgetInit(pool.handle(), pool.region(), 8); }).killed_by(SIGABRT));
}

TEST(BgetMalloc, Allocates) {
  TestPool pool;
  EXPECT_EQ(ROQ_UTIL_BgetMalloc(pool.handle(), 8), pool.buffer_of(1000));
  EXPECT_EQ(pool.handle()->getcount, 1);
}

TEST(BgetMalloc, WithoutAHandleReturnsNullSilentlyWhateverTheSize) {
  Outcome outcome = run_in_child([] {
    EXPECT_EQ(ROQ_UTIL_BgetMalloc(nullptr, 8), nullptr);
    EXPECT_EQ(ROQ_UTIL_BgetMalloc(nullptr, 0), nullptr);
    EXPECT_EQ(ROQ_UTIL_BgetMalloc(nullptr, -1), nullptr);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(BgetMalloc, PassesOnTheNullOfAnExhaustedPool) {
  TestPool pool;
  Outcome outcome = run_in_child([&] { EXPECT_EQ(ROQ_UTIL_BgetMalloc(pool.handle(), 1009), nullptr); });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "bget report: memory expired, pid:" + std::to_string(outcome.pid) + "\n");
}

TEST(BgetMalloc, StopsOnASizeThatIsNotPositive) {
  TestPool pool;
  EXPECT_TRUE(stopped_by(run_in_child([&] { ROQ_UTIL_BgetMalloc(pool.handle(), 0); }), 547, "bget", "size > 0"));
}

TEST(BgetFree, Releases) {
  TestPool pool;
  ROQ_UTIL_BgetFree(pool.handle(), ROQ_UTIL_BgetMalloc(pool.handle(), 8));
  EXPECT_EQ(pool.handle()->relcount, 1);
  EXPECT_EQ(pool.handle()->totalloc, 0);
  EXPECT_EQ(pool.bsize(0), 1016);
}

TEST(BgetFree, WithoutAHandleDoesNothing) {
  TestPool pool;
  void* buffer = bget(pool.handle(), 8);
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] {
    ROQ_UTIL_BgetFree(nullptr, buffer);
    ROQ_UTIL_BgetFree(nullptr, nullptr);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_THAT(changes, IsEmpty());
}

TEST(BgetFree, OfANullBufferCountsAndStops) {
  TestPool pool;
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] { ROQ_UTIL_BgetFree(pool.handle(), nullptr); });
  EXPECT_TRUE(stopped_by(outcome, 802, "brel", "buf != ((void *)0)"));
  EXPECT_THAT(changes, ElementsAre(Pair("relcount", 1)));
}

TEST(BgetStrdup, CopiesTheTextWithItsTerminator) {
  TestPool pool;
  char* copy = ROQ_UTIL_BgetStrdup(pool.handle(), "interface");
  EXPECT_STREQ(copy, "interface");
  EXPECT_EQ(pool.block_of(copy), 1016 - 20);
  EXPECT_EQ(pool.handle()->totalloc, 20);
  EXPECT_EQ(std::string(copy + 10, 2), "UU") << "the wiped bytes behind it stay";
}

TEST(BgetStrdup, OfAnEmptyTextTakesTheSmallestBlock) {
  TestPool pool;
  EXPECT_STREQ(ROQ_UTIL_BgetStrdup(pool.handle(), ""), "");
  EXPECT_EQ(pool.handle()->totalloc, 16);
}

TEST(BgetStrdup, WithoutATextOrAHandleReturnsNull) {
  TestPool pool;
  Outcome outcome;
  Changes changes = pool.changes_in_child(outcome, [&] {
    EXPECT_EQ(ROQ_UTIL_BgetStrdup(pool.handle(), nullptr), nullptr);
    EXPECT_EQ(ROQ_UTIL_BgetStrdup(nullptr, nullptr), nullptr);
    EXPECT_EQ(ROQ_UTIL_BgetStrdup(nullptr, "text"), nullptr);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
  EXPECT_THAT(changes, IsEmpty());
}

TEST(BgetStrdup, PassesOnTheNullOfAnExhaustedPool) {
  TestPool pool;
  std::string text(1008, 'x'); // one byte more than fits, for its terminator
  Outcome outcome;
  Changes changes =
      pool.changes_in_child(outcome, [&] { EXPECT_EQ(ROQ_UTIL_BgetStrdup(pool.handle(), text.c_str()), nullptr); });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "bget report: memory expired, pid:" + std::to_string(outcome.pid) + "\n");
  EXPECT_THAT(changes, IsEmpty());
  text.pop_back();
  EXPECT_EQ(ROQ_UTIL_BgetStrdup(pool.handle(), text.c_str()), pool.buffer_of(0));
}

} // namespace
