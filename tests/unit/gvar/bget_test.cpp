#include <cstring>
#include <gtest/gtest.h>
#include <roqutil/gvar.h>

namespace {

struct Pool {
  RoqPoolHandle handle{};
  alignas(4) unsigned char region[1024];
  explicit Pool(int32_t length = sizeof region) { bpool(&handle, region, length); }
};

TEST(Bpool, MakesTheRegionOneFreeBlockAndASentinel) {
  Pool pool;
  int32_t allocated, total_free, largest, gets, releases;
  bstats(&pool.handle, &allocated, &total_free, &largest, &gets, &releases);
  EXPECT_EQ(allocated, 0);
  EXPECT_EQ(total_free, 1016);
  EXPECT_EQ(largest, 1016);
}

TEST(Brel, OfABufferTwiceAborts) {
  Pool pool;
  void* buffer = bget(&pool.handle, 8);
  brel(&pool.handle, buffer);
  EXPECT_EXIT(brel(&pool.handle, buffer), testing::KilledBySignal(SIGABRT), "bget.c:831: .*b->bh.bsize < 0");
}

} // namespace
