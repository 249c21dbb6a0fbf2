#include "netinfo/counters.h"
#include "support/counters.h"
#include "unit/netinfo/table.h"

using namespace roq::netinfo;

namespace {

constexpr char kHeaders[] = "Inter-|   Receive                                                |  Transmit\n"
                            " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs "
                            "drop fifo colls carrier compressed\n";

constexpr RoqIfcStat kUntouched = {77, 77, 77, 77, 77, 77, 77, 77};

// The record after the search, surrounded by bytes that must stay.
RoqIfcStat counters(std::string_view lines, const char* name, std::string_view headers = kHeaders) {
  struct {
    uint32_t before;
    RoqIfcStat counters;
    uint32_t behind;
  } out = {1, kUntouched, 2};
  LineReader table = table_of(std::string(headers) + std::string(lines));
  read_counters(table, name, &out.counters);
  EXPECT_EQ(out.before, 1U);
  EXPECT_EQ(out.behind, 2U);
  return out.counters;
}

constexpr char kEth0[] = "  eth0: 101 102 103 104 105 106 107 108 109 110 111 112 113 114 115 116\n";
constexpr RoqIfcStat kEth0Counters = {101, 102, 103, 104, 109, 110, 111, 112};
constexpr char kOther[] = " other: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n";
constexpr RoqIfcStat kOtherCounters = {1, 2, 3, 4, 9, 10, 11, 12};

} // namespace

TEST(Counters, AreTheColumnsOfBytesPacketsErrorsAndDrops) { EXPECT_EQ(counters(kEth0, "eth0"), kEth0Counters); }

TEST(Counters, AreThoseOfTheLineWithTheName) {
  EXPECT_EQ(counters(std::string(kOther) + kEth0, "eth0"), kEth0Counters);
  EXPECT_EQ(counters(std::string(kEth0) + kOther, "other"), kOtherCounters);
}

TEST(Counters, StayUntouchedWhenNoLineHasTheName) {
  EXPECT_EQ(counters(kEth0, "eth1"), kUntouched);
  EXPECT_EQ(counters("", "eth0"), kUntouched);
  EXPECT_EQ(counters("", "eth0", ""), kUntouched);
  EXPECT_EQ(counters(kEth0, std::string(300, 'e').c_str()), kUntouched);
}

TEST(Counters, AreTakenFromTheFirstLineThatContainsTheNameAnywhere) {
  constexpr char kLine[] = ": 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n";
  for (std::string name : {"eth0.5", "veth0", "xeth0y"})
    EXPECT_EQ(counters(name + kLine + kEth0, "eth0"), kOtherCounters) << name;
  EXPECT_EQ(counters(std::string(kOther) + kEth0, "1"), kOtherCounters);
}

TEST(Counters, AreFoundThroughAnyTextOfTheLine) {
  EXPECT_EQ(counters(std::string(kOther) + kEth0, "111 112"), kEth0Counters);
  EXPECT_EQ(counters(std::string(kOther) + kEth0, "116\n"), kEth0Counters);
  EXPECT_EQ(counters(std::string(kOther) + kEth0, "eth0: 101"), kEth0Counters);
}

TEST(Counters, OfAnEmptyNameAreThoseOfTheFirstLine) {
  EXPECT_EQ(counters(std::string(kOther) + kEth0, ""), kOtherCounters);
}

TEST(Counters, AreNotSoughtInTheTwoHeaders) {
  EXPECT_EQ(counters(kEth0, "eth0", std::string(kOther) + kEth0), kEth0Counters);
  EXPECT_EQ(counters("", "eth0", std::string(kOther) + kEth0), kUntouched);
}

TEST(Counters, FlushAgainstTheColonAreSeparated) {
  EXPECT_EQ(counters("  eth0:101 102 103 104 105 106 107 108 109 110 111 112 113 114 115 116\n", "eth0"),
            kEth0Counters);
  EXPECT_EQ(counters("  eth0:101 102 103 104 105 106 107 108 109 110 111 112 113 114 115 116\n", "eth0: 101"),
            kEth0Counters);
  EXPECT_EQ(counters("  eth0:101 102 103 104 105 106 107 108 109 110 111 112 113 114 115 116\n", "eth0:101"),
            kUntouched);
}

TEST(Counters, AreSeparatedAtTheFirstColonOnly) {
  EXPECT_EQ(counters("eth0:1:101 102 103 104 105 106 107 108 109 110 111 112 113\n", "eth0"),
            (RoqIfcStat{1, 102, 103, 104, 109, 110, 111, 112}));
  EXPECT_EQ(counters("eth0:a:5 102 103 104 105 106 107 108 109 110 111 112 113\n", "eth0"),
            (RoqIfcStat{102, 103, 104, 105, 110, 111, 112, 113}));
}

TEST(Counters, StopAtTheLargest32BitNumber) {
  EXPECT_EQ(counters("eth0: 4294967295 4294967296 18446744073709551615 99999999999999999999 0 0 0 0 "
                     "4294967294 0004294967297 10000000000 5000000000 0 0 0 0\n",
                     "eth0"),
            (RoqIfcStat{4294967295U, 4294967295U, 4294967295U, 4294967295U, 4294967294U, 4294967295U, 4294967295U,
                        4294967295U}));
}

TEST(Counters, AreReadAsFarAsTheirDigitsGo) {
  EXPECT_EQ(counters("eth0: 12x x12 -1 +7 0 0 0 0 0x10 010 1.5 \xb2\n", "eth0"),
            (RoqIfcStat{12, 0, 4294967295U, 7, 0, 10, 1, 0}));
}

TEST(Counters, OfAShortLineAreZero) {
  EXPECT_EQ(counters(std::string(kOther) + "eth0: 1 2 3\n", "eth0"), (RoqIfcStat{1, 2, 3, 0, 0, 0, 0, 0}));
  EXPECT_EQ(counters("eth0:\n", "eth0"), (RoqIfcStat{}));
}

TEST(Counters, AreReadFromALineWithoutLineEnd) {
  EXPECT_EQ(counters("eth0: 101 102 103 104 105 106 107 108 109 110 111 112", "eth0"),
            (RoqIfcStat{101, 102, 103, 104, 109, 110, 111, 112}));
}

TEST(Counters, IgnoreFurtherColumns) {
  std::string line = kEth0;
  line.back() = ' ';
  EXPECT_EQ(counters(line + "117 118 119\n", "eth0"), kEth0Counters);
}

TEST(Counters, AreCutTo31DigitsEach) {
  std::string zeros(28, '0');
  EXPECT_EQ(counters("eth0: " + zeros + "12345 2 3 4\n", "eth0"), (RoqIfcStat{123, 2, 3, 4, 0, 0, 0, 0}));
}

TEST(Counters, OfAnOverLongLineAreReadPieceByPiece) {
  // 511 characters go first, and the rest is a line of its own.
  std::string padding(504, ' ');
  EXPECT_EQ(counters("eth0: " + padding + "123 456 789\n", "eth0"), (RoqIfcStat{1, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(counters("eth0: " + padding + "123 456 789\n", "456"), (RoqIfcStat{456, 789, 0, 0, 0, 0, 0, 0}));
}

TEST(Counters, OfAFullLineLoseTheLastCharacterToTheSeparation) {
  std::string line = "eth0:123 456" + std::string(496, ' ');
  line += "987";
  ASSERT_EQ(line.size(), 511U);
  EXPECT_EQ(counters(line + "\n", "eth0"), (RoqIfcStat{123, 456, 98, 0, 0, 0, 0, 0}));
  line.erase(100, 1);
  EXPECT_EQ(counters(line + "\n", "eth0"), (RoqIfcStat{123, 456, 987, 0, 0, 0, 0, 0}));
}

TEST(Counters, AreSeparatedAtTheVeryEndOfAFullLine) {
  std::string line = "eth0" + std::string(505, ' ') + ":7";
  ASSERT_EQ(line.size(), 511U);
  EXPECT_EQ(counters(line + "\n", "eth0"), (RoqIfcStat{}));
}

TEST(Counters, AreFoundAmongBytesAboveSevenBits) {
  EXPECT_EQ(counters("\xff\xfe: 9 9 9 9\n\xe4th\x80: 1 2 3 4 5 6 7 8 9 10 11 12\n", "\xe4th\x80"), kOtherCounters);
}

TEST(Counters, StopReadingAtTheHit) {
  roq::UniqueFd file = file_of(std::string(kHeaders) + kEth0 + std::string(9000, 'x'));
  roq::UniqueFd same_offset(dup(file.get()));
  LineReader table(std::move(file));
  RoqIfcStat found = kUntouched;
  read_counters(table, "eth0", &found);
  EXPECT_EQ(found, kEth0Counters);
  EXPECT_EQ(lseek(same_offset.get(), 0, SEEK_CUR), 1024);
}
