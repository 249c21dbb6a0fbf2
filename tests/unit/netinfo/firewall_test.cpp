#include "netinfo/firewall.h"
#include "unit/netinfo/table.h"
#include <cstring>
#include <optional>
#include <roqutil/netinfo.h>

using namespace roq::netinfo;

namespace {

constexpr char kHeaders[] = "Chain INPUT (policy ACCEPT 0 packets, 0 bytes)\n"
                            "num   pkts bytes target     prot opt in     out     source               destination\n";

std::optional<std::string> rule(std::string_view rules, const char* interface, std::string_view headers = kHeaders) {
  struct {
    char number[kRuleFieldSize];
    char canary[8];
  } out;
  memset(&out, 0x5a, sizeof out);
  LineReader listing = table_of(std::string(headers) + std::string(rules));
  bool found = find_rule(listing, interface, out.number);
  for (char c : out.canary)
    EXPECT_EQ(c, 0x5a);
  if (found) return out.number;
  return std::nullopt;
}

std::string line(std::string_view number, std::string_view input, std::string_view output,
                 std::string_view target = "ACCEPT", std::string_view source = "anywhere") {
  std::string text(number);
  for (std::string_view column : {std::string_view("0"), std::string_view("0"), target, std::string_view("all"),
                                  std::string_view("--"), input, output, source, std::string_view("anywhere")}) {
    text += "  ";
    text += column;
  }
  return text + "\n";
}

} // namespace

TEST(FirewallRule, IsTheFirstThatNamesTheInterfaceForInputOrOutput) {
  std::string rules = line("1", "any", "any") + line("2", "ppp0", "any") + line("3", "any", "ppp0");
  EXPECT_EQ(rule(rules, "ppp0"), "2");
  EXPECT_EQ(rule(line("1", "eth0", "eth1") + line("2", "any", "ppp0"), "ppp0"), "2");
  EXPECT_EQ(rule(rules, "any"), "1");
  EXPECT_EQ(rule(rules, "ppp1"), std::nullopt);
}

TEST(FirewallRule, IsComparedExactly) {
  for (const char* name : {"ppp", "pp0", "ppp00", "PPP0", ""})
    EXPECT_EQ(rule(line("1", "ppp0", "ppp0"), name), std::nullopt);
}

TEST(FirewallRule, IsNotFoundThroughItsOtherColumns) {
  EXPECT_EQ(rule(line("1", "any", "any", "ppp0", "ppp0"), "ppp0"), std::nullopt);
  EXPECT_EQ(rule("1 0 0 ACCEPT all -- any any anywhere ppp0 ppp0\n", "ppp0"), std::nullopt);
}

TEST(FirewallRule, WithoutATargetHasItsColumnsOneFurtherLeft) {
  EXPECT_EQ(rule(line("1", "any", "ppp0", ""), "ppp0"), "1");
  EXPECT_EQ(rule(line("1", "ppp0", "any", ""), "ppp0"), std::nullopt);
  EXPECT_EQ(rule(line("1", "any", "any", "", "ppp0"), "ppp0"), "1");
}

TEST(FirewallRule, IsNotSoughtInTheTwoHeaders) {
  EXPECT_EQ(rule("", "ppp0", line("1", "ppp0", "any") + line("2", "ppp0", "any")), std::nullopt);
  EXPECT_EQ(rule(line("3", "ppp0", "any"), "ppp0", line("1", "ppp0", "any") + line("2", "ppp0", "any")), "3");
}

TEST(FirewallRule, IsNotInAnEmptyListing) {
  EXPECT_EQ(rule("", "ppp0"), std::nullopt);
  EXPECT_EQ(rule("", "ppp0", ""), std::nullopt);
}

TEST(FirewallRule, OfAShortLineHasTheLaterColumnsOfTheLineBefore) {
  // What stood in a line before it is judged again only where that line itself did not match.
  EXPECT_EQ(rule("1 0 0 ACCEPT all -- eth0 eth1\n2 0 0 ACCEPT all -- ppp0\n", "eth1"), "1");
  EXPECT_EQ(rule("1 0 0 ACCEPT all -- eth0\n2\n", ""), "1");
  EXPECT_EQ(rule("7\n", ""), "7");
  EXPECT_EQ(rule("\n", ""), "");
}

TEST(FirewallRule, MayHaveANumberOfAnyText) { EXPECT_EQ(rule(line("x-y", "ppp0", "any"), "ppp0"), "x-y"); }

TEST(FirewallRule, HasColumnsOfAtMost31Characters) {
  std::string name(40, 'p');
  EXPECT_EQ(rule(line("1", name, "any"), name.substr(0, 31).c_str()), "1");
  EXPECT_EQ(rule(line("1", name, "any"), name.c_str()), std::nullopt);
  EXPECT_EQ(rule(line(std::string(40, '1'), "ppp0", "any"), "ppp0"), std::string(31, '1'));
}

TEST(FirewallRule, IsFoundInTheRestOfAnOverLongLine) {
  EXPECT_EQ(rule(std::string(1023, 'x') + line("9", "ppp0", "any"), "ppp0"), "9");
  EXPECT_EQ(rule("", "ppp0", std::string(1023, 'x') + "\n" + line("2", "ppp0", "any")), "2");
}

TEST(FirewallRule, IsFoundInALineWithoutLineEnd) { EXPECT_EQ(rule("4 0 0 ACCEPT all -- any ppp0", "ppp0"), "4"); }

TEST(FirewallRule, MayNameAnInterfaceWithBytesAboveSevenBits) {
  EXPECT_EQ(rule(line("1", "\xff\x80", "any"), "\xff\x80"), "1");
}

TEST(RemoveIpTableRule, RefusesNullPointersSilently) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(ROQ_UTIL_RemoveIpTableRule(nullptr, "filter", "INPUT"), 0U);
  EXPECT_EQ(ROQ_UTIL_RemoveIpTableRule("ppp0", nullptr, "INPUT"), 0U);
  EXPECT_EQ(ROQ_UTIL_RemoveIpTableRule("ppp0", "filter", nullptr), 0U);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}
