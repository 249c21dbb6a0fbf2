#include "launched.h"

#include <array>
#include <malloc.h>

// Sanitized programs have an allocator of their own.
extern "C" size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace roq::test::process {
namespace {

constexpr int kLaunches = 10000;

size_t heap_in_use() {
  if (__sanitizer_get_current_allocated_bytes != nullptr) return __sanitizer_get_current_allocated_bytes();
  return mallinfo2().uordblks;
}

TEST(ForkProcess, GrowsNeitherDescriptorsNorHeapOverTenThousandLaunches) {
  // Every second one gets as far as a child, and one of those children fails.
  std::array<const char*, 8> lines = {"true a b c d e f g h i j k 'l m' >/there/is/no/such/file",
                                      "there-is-no-such-program a >/var/growth",
                                      "true 2>/dev/null >>/var/growth",
                                      "false 'open",
                                      "true 2>&1 >>/var/growth",
                                      "true 'a\\'b' >/var/growth",
                                      "/there/is/no/such/program 2>/var/growth",
                                      "& "};
  std::array<int, 8> started{};
  auto launch_all = [&](int count) {
    for (int i = 0; i < count; ++i) {
      size_t kind = static_cast<size_t>(i) % lines.size();
      started[kind] += ROQ_UTIL_ForkProcess(lines[kind], kUntilItEnds, nullptr, nullptr) > 0;
    }
  };
  std::set<int> descriptors = open_descriptors();
  launch_all(160); // whatever is kept once and for all, in the C library's lists of free blocks, too
  started = {};
  size_t heap = heap_in_use();
  launch_all(kLaunches);
  EXPECT_EQ(heap_in_use(), heap);
  EXPECT_EQ(open_descriptors(), descriptors);
  EXPECT_TRUE(has_no_children());
  constexpr int each = kLaunches / 8;
  EXPECT_EQ(started, (std::array<int, 8>{each, 0, each, 0, each, 0, each, 0}));
  std::filesystem::remove("/var/growth");
}

TEST(ExecCmd, GrowsNeitherDescriptorsNorHeap) {
  auto run_all = [](int count) {
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(ROQ_UTIL_ExecCmd("exit 3", nullptr), 0x300U);
      EXPECT_EQ(ROQ_UTIL_ExecCmd_ByTime("exit 4", 20), 0x400);
      EXPECT_EQ(ROQ_UTIL_ExecCmdNoHang("false"), 1);
      EXPECT_GT(ROQ_UTIL_GetPid(""), 0U);
      EXPECT_EQ(ROQ_WriteFile("growth", "%d", i), 0);
      EXPECT_EQ(ROQ_UTIL_UnlockFile(ROQ_UTIL_LockFile("/var/growth", nullptr)), 0);
    }
  };
  std::set<int> descriptors = open_descriptors();
  run_all(10);
  size_t heap = heap_in_use();
  run_all(100);
  EXPECT_EQ(heap_in_use(), heap);
  EXPECT_EQ(open_descriptors(), descriptors);
  EXPECT_TRUE(has_no_children());
  std::filesystem::remove("/var/growth");
  std::filesystem::remove("/var/log/growth");
}

} // namespace
} // namespace roq::test::process
