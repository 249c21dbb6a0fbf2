// Long random histories of a pool, compared byte by byte with a model after every operation.
#include "test_pool.h"
#include <random>

namespace {

using namespace roq::test;

struct History {
  const char* name;
  int32_t region_size;
  int32_t largest_request;
  int operations;
};

void PrintTo(const History& history, std::ostream* stream) { *stream << history.name; }

class BgetHistory : public testing::TestWithParam<History> {};

class Simulation {
public:
  explicit Simulation(const History& history)
      : history_(history), memory_(kHandleRoom + static_cast<size_t>(history.region_size) + kGuard, kGuardByte) {
    bpool(handle(), region(), history.region_size);
    model_.emplace(handle(), region(), history.region_size);
  }

  // One random operation. Allocations and releases take turns in being the more frequent ones.
  void step(int number) {
    unsigned allocations_of_ten = number / 500 % 2 == 0 ? 7 : 3;
    if (buffers_.empty() || random_() % 10 < allocations_of_ten)
      allocate();
    else
      release();
  }

  void check() {
    ASSERT_EQ(model_->difference(*handle(), region()), "");
    ASSERT_TRUE(std::all_of(region() + history_.region_size, memory_.data() + memory_.size(),
                            [](unsigned char byte) { return byte == kGuardByte; }));
    int32_t allocated, total_free, largest_free, gets, releases;
    bstats(handle(), &allocated, &total_free, &largest_free, &gets, &releases);
    ASSERT_EQ(allocated, model_->allocated());
    ASSERT_EQ(total_free, model_->total_free());
    ASSERT_EQ(largest_free, model_->largest_free());
    ASSERT_EQ(gets, model_->gets());
    ASSERT_EQ(releases, model_->releases());
  }

  int exhausted() const { return exhausted_; }

private:
  static constexpr size_t kHandleRoom = 32;
  static constexpr size_t kGuard = 64;
  static constexpr unsigned char kGuardByte = 0xc3;

  RoqPoolHandle* handle() { return reinterpret_cast<RoqPoolHandle*>(memory_.data()); }
  unsigned char* region() { return memory_.data() + kHandleRoom; }

  void allocate() {
    auto size = static_cast<int32_t>(1 + random_() % static_cast<unsigned>(history_.largest_request));
    std::optional<int32_t> expected = model_->get(size);
    void* buffer = bget(handle(), size);
    if (!expected) {
      EXPECT_EQ(buffer, nullptr);
      ++exhausted_;
      return;
    }
    EXPECT_EQ(buffer, region() + *expected);
    auto value = static_cast<int>(random_() % 256);
    memset(buffer, value, static_cast<size_t>(model_->usable(*expected)));
    model_->fill(*expected, value, model_->usable(*expected));
    buffers_.push_back(*expected);
  }

  void release() {
    size_t index = random_() % buffers_.size();
    int32_t buffer = std::exchange(buffers_[index], buffers_.back());
    buffers_.pop_back();
    model_->release(buffer);
    brel(handle(), region() + buffer);
  }

  const History& history_;
  std::vector<unsigned char> memory_;
  std::optional<PoolModel> model_;
  std::vector<int32_t> buffers_;
  std::mt19937 random_{static_cast<uint32_t>(history_.region_size)};
  int exhausted_ = 0;
};

TEST_P(BgetHistory, MatchesTheModelByteByByte) {
  // In a child, which prints a line for each exhausted pool.
  Outcome outcome = run_in_child([] {
    Simulation simulation(GetParam());
    for (int number = 0; number < GetParam().operations; ++number) {
      simulation.step(number);
      simulation.check();
      if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(simulation.exhausted(), 0) << "the history is meant to fill the pool now and then";
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome.status << outcome.out.substr(0, 2000) << outcome.err;
}

INSTANTIATE_TEST_SUITE_P(Pools, BgetHistory,
                         testing::Values(History{"tiny", 64, 40, 20000}, History{"small", 1024, 100, 20000},
                                         History{"page", 4096, 300, 15000}, History{"wide", 16384, 4000, 3000}),
                         [](const auto& history) { return history.param.name; });

} // namespace
