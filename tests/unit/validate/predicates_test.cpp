// What all validators of one text have in common.
#include "judge.h"
#include "support/allocation_probe.h"
#include "validate/ipv4.h"
#include <cstdio>
#include <cstring>
#include <roqutil/validate.h>

namespace {

using roq::test::judge_in_place;
using roq::test::Predicate;

struct NamedPredicate {
  const char* name;
  Predicate predicate;
};

constexpr NamedPredicate kPredicates[] = {
    {"ROQ_UTIL_ValidateIpAddress", ROQ_UTIL_ValidateIpAddress},
    {"ROQ_UTIL_ValidateHostIpAddress", ROQ_UTIL_ValidateHostIpAddress},
    {"ROQ_UTIL_ValidateMCastIpAddress", ROQ_UTIL_ValidateMCastIpAddress},
    {"ROQ_UTIL_IsIpFormat", ROQ_UTIL_IsIpFormat},
    {"ROQ_UTIL_ValidateSubnetMask", ROQ_UTIL_ValidateSubnetMask},
    {"ROQ_IpMaskToCidrLen", ROQ_IpMaskToCidrLen},
    {"ROQ_UTIL_ValidateNumber", ROQ_UTIL_ValidateNumber},
    {"ROQ_UTIL_ValidateThreeNumber", ROQ_UTIL_ValidateThreeNumber},
    {"ROQ_UTIL_ValidateDate", ROQ_UTIL_ValidateDate},
    {"ROQ_UTIL_ValidateTime1", ROQ_UTIL_ValidateTime1},
    {"ROQ_UTIL_ValidateDateTime", ROQ_UTIL_ValidateDateTime},
    {"ROQ_UTIL_ValidateTime", ROQ_UTIL_ValidateTime},
    {"ROQ_UTIL_ValidateMacAddress", ROQ_UTIL_ValidateMacAddress},
    {"ROQ_UTIL_ValidateIpv6Address", ROQ_UTIL_ValidateIpv6Address},
    {"ROQ_UTIL_ValidateHostIpv6Address", ROQ_UTIL_ValidateHostIpv6Address},
    {"ROQ_UTIL_ValidateGlobalIpv6Address", ROQ_UTIL_ValidateGlobalIpv6Address},
};

// The only texts of up to two bytes that any of them takes.
uint32_t expected_for(const char* name, const std::string& text) {
  bool digits_only = !text.empty() && text.find_first_not_of("0123456789") == text.npos;
  if (strcmp(name, "ROQ_UTIL_ValidateNumber") == 0) return digits_only;
  if (strcmp(name, "ROQ_UTIL_ValidateThreeNumber") == 0) return digits_only;
  if (strcmp(name, "ROQ_UTIL_ValidateIpv6Address") == 0) return text == "::";
  return 0;
}

TEST(Validators, OfTextsJudgeEveryTextOfUpToTwoBytes) {
  for (const NamedPredicate& each : kPredicates) {
    SCOPED_TRACE(each.name);
    EXPECT_EQ(judge_in_place(each.predicate, ""), 0U);
    for (int first = 1; first < 256; ++first) {
      std::string one(1, static_cast<char>(first));
      ASSERT_EQ(judge_in_place(each.predicate, one), expected_for(each.name, one)) << first;
      for (int second = 1; second < 256; ++second) {
        std::string two = one + static_cast<char>(second);
        ASSERT_EQ(judge_in_place(each.predicate, two), expected_for(each.name, two)) << first << ' ' << second;
      }
    }
  }
}

TEST(Validators, OfTextsTakeEveryShortTextForAName) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const char text[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
      ASSERT_EQ(judge_in_place(ROQ_UTIL_ValidateDnsOrHostAddress, text), 1U);
    }
  }
}

TEST(Validators, OfTextsReadNothingBehindTheirBytesWhateverThoseAre) {
  for (const NamedPredicate& each : kPredicates) {
    for (size_t length = 0; length <= 40; ++length) {
      for (char filling : {'1', '.', ':', '-', ' ', 'f', '\x80', '\xff', '\x01'}) {
        judge_in_place(each.predicate, std::string(length, filling));
      }
    }
  }
}

TEST(Validators, PrintNothing) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  for (const char* text : {static_cast<const char*>(nullptr), "", "nothing of all that", "192.168.1.1", "255.255.255.0",
                           "2023-06-01T12:30:00Z", "2023-06-01", "12:30:00", "12:30", "0:1:2:3:4:5", "::1"}) {
    for (const NamedPredicate& each : kPredicates)
      each.predicate(text);
    uint32_t octets[4];
    uint16_t minutes;
    ROQ_UTIL_ValidateDnsOrHostAddress(text);
    ROQ_UTIL_ValidateHostIpWithSubnetMask(text, text);
    ROQ_UTIL_IpAddrSplit(text, octets);
    ROQ_UTIL_TimeToShort(text, &minutes);
    ROQ_UTIL_ValidateRange(text, 1, 10);
    ROQ_UTIL_ValidateLength(text, 10);
  }
  fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Validators, AllocateNothingButTheMasksCopies) {
  for (const NamedPredicate& each : kPredicates) {
    bool copies = strcmp(each.name, "ROQ_UTIL_ValidateSubnetMask") == 0;
    roq::test::AllocationProbe probe;
    for (const char* text : {"1.2.3.4", "2023-06-01T12:30:00Z", "0:1:2:3:4:5", "::1", "12:30"})
      each.predicate(text);
    EXPECT_EQ(probe.asked(), copies ? 5U : 0U) << each.name;
    EXPECT_EQ(probe.held(), 0U) << each.name;
  }
}

} // namespace
