#include "support/allocation_probe.h"
#include "support/child.h"
#include "support/recording_bus.h"
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <roqutil/process.h>

namespace roq::test::process {
namespace {

// The words that `bytes` holds, joined; bytes behind the result are expected to stay as the copying left them.
template <size_t size> std::string joined(const char (&bytes)[size]) {
  char buffer[64];
  memset(buffer, '#', sizeof buffer);
  memcpy(buffer, bytes, size);
  EXPECT_EQ(ROQ_UTIL_RmDelimitor(buffer), 1U);
  EXPECT_EQ(buffer[size], '#');
  return buffer;
}

TEST(RmDelimitor, JoinsTheWordsWithNothingBetweenThem) {
  EXPECT_EQ(joined("one\0two\0three\0"), "onetwothree");
  EXPECT_EQ(joined("one\0"), "one");
  EXPECT_EQ(joined("a b\0c\0"), "a bc");
}

TEST(RmDelimitor, StopsAtTheFirstTwoZeroBytes) { EXPECT_EQ(joined("one\0\0two\0"), "one"); }

TEST(RmDelimitor, GivesTheEmptyTextWhenTheFirstTwoBytesAreZero) { EXPECT_EQ(joined("\0\0abc\0"), ""); }

TEST(RmDelimitor, SkipsOneZeroByteAtTheBeginning) { EXPECT_EQ(joined("\0abc\0"), "abc"); }

TEST(RmDelimitor, EndsTheResultWithOneZeroByteAndLeavesTheRest) {
  char buffer[] = "ab\0cd\0\0xy";
  EXPECT_EQ(ROQ_UTIL_RmDelimitor(buffer), 1U);
  EXPECT_EQ(memcmp(buffer, "abcd\0\0\0xy", sizeof buffer), 0);
}

TEST(RmDelimitor, RefusesNull) { EXPECT_EQ(ROQ_UTIL_RmDelimitor(nullptr), 0U); }

TEST(FindPidByName, GivesNullForANullName) { EXPECT_EQ(ROQ_UTIL_FindPidByName(nullptr), nullptr); }

constexpr const char* kNobodysName = "no process has this in its command line";

struct Search {
  bool found_list;
  size_t held;
};

Search search_with(const char* name, size_t failing_allocation) {
  AllocationProbe probe(failing_allocation);
  uint32_t* list = ROQ_UTIL_FindPidByName(name);
  Search search{list != nullptr, probe.held()};
  free(list);
  return search;
}

TEST(FindPidByName, GivesNullWithItsTextWhenTheListCannotGrow) {
  Outcome outcome = run_in_child([] {
    for (size_t failing_allocation : {size_t{1}, size_t{2}}) { // this process and its parent are there at least
      Search search = search_with("", failing_allocation);
      EXPECT_FALSE(search.found_list);
      EXPECT_EQ(search.held, 0U);
    }
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "cms: Out of memeory!\ncms: Out of memeory!\n");
  EXPECT_EQ(outcome.err, "");
}

TEST(FindPidByName, GivesNullWithItsTextWhenThereIsNoRoomToSayNobody) {
  Outcome outcome = run_in_child([] {
    Search search = search_with(kNobodysName, 1);
    EXPECT_FALSE(search.found_list);
    EXPECT_EQ(search.held, 0U);
    AllocationProbe probe(1);
    EXPECT_EQ(ROQ_UTIL_GetPid(kNobodysName), 0U);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "cms: Out of memeory!\ncms: Out of memeory!\n");
}

TEST(GetPid, ReleasesTheList) {
  AllocationProbe probe;
  ROQ_UTIL_GetPid("");
  ROQ_UTIL_GetPid(kNobodysName);
  EXPECT_EQ(probe.held(), 0U);
}

TEST(GetPid, GivesZeroForANullName) { EXPECT_EQ(ROQ_UTIL_GetPid(nullptr), 0U); }

TEST(StopProcess, SendsOneNoticeToTheSupervisor) {
  RecordingBus bus;
  ROQ_UTIL_StopProcess("dhcpd");
  ASSERT_EQ(bus.built.size(), 1U);
  EXPECT_EQ(bus.built[0].bytes_before, std::string(52, '\0'));
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].addressee, std::nullopt);
  EXPECT_EQ(bus.sent[0].type, 0x2000dU);
  EXPECT_EQ(bus.sent[0].value, 0U);
  EXPECT_FALSE(bus.sent[0].expects_reply);
  EXPECT_EQ(bus.sent[0].payload_length, 12U);
  EXPECT_EQ(bus.sent[0].payload(), std::string("dhcpd\0\0\0\0\0\0\0", 12));
}

TEST(StopProcess, CutsTheNameAtElevenCharacters) {
  RecordingBus bus;
  ROQ_UTIL_StopProcess("abcdefghijklmnopqrst");
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].payload_length, 12U);
  EXPECT_EQ(bus.sent[0].payload(), std::string("abcdefghijk\0", 12));
}

TEST(StopProcess, SendsAnEmptyNameToo) {
  RecordingBus bus;
  ROQ_UTIL_StopProcess("");
  ASSERT_EQ(bus.sent.size(), 1U);
  EXPECT_EQ(bus.sent[0].payload(), std::string(12, '\0'));
}

TEST(StopProcess, DoesNothingForANullName) {
  RecordingBus bus;
  ROQ_UTIL_StopProcess(nullptr);
  EXPECT_TRUE(bus.built.empty());
  EXPECT_TRUE(bus.sent.empty());
}

TEST(FindPidByName, LeavesNoDescriptorOpenWhenItGivesUp) {
  Outcome outcome = run_in_child([] {
    int lowest = open("/", O_RDONLY);
    close(lowest);
    for (const char* name : {"", kNobodysName})
      EXPECT_FALSE(search_with(name, 1).found_list);
    int now = open("/", O_RDONLY);
    EXPECT_EQ(now, lowest);
    close(now);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
}

} // namespace
} // namespace roq::test::process
