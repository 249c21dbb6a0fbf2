#include "system/netinfo/scene.h"
#include <gtest/gtest.h>
#include <roqutil/netinfo.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace roq::scene;

namespace {

constexpr char kListing[] = "/var/iptable";
constexpr char kRecord[] = "/var/tmp/commands";

uint32_t remove_rule(const std::string& interface, const std::string& table = "filter",
                     const std::string& chain = "INPUT") {
  uint32_t result = 9;
  std::string printed =
      printed_by([&] { result = ROQ_UTIL_RemoveIpTableRule(interface.c_str(), table.c_str(), chain.c_str()); });
  EXPECT_EQ(printed, "");
  return result;
}

std::string rules(const std::string& chain = "INPUT", const std::string& table = "filter") {
  return output_of("/bin/iptables -t " + table + " -S " + chain);
}

void add_rule(const std::string& rule) { run("/bin/iptables " + rule); }

std::string take_commands() {
  std::string commands = read_file(kRecord);
  unlink(kRecord);
  return commands;
}

// Takes the place of the firewall's tool and writes down how it is called: its listing is `listing`.
class RecordingFirewall : public testing::Test {
protected:
  void TearDown() override {
    for (const char* file : {"/var/iptables", "/var/tmp/listing", kRecord, kListing})
      unlink(file);
  }

  static void list(std::string_view listing) {
    write_file("/var/tmp/listing", listing);
    write_script("/var/iptables", "{ printf iptables; printf ' [%s]' \"$@\"; echo; } >>/var/tmp/commands\n"
                                  "case \"$*\" in *' -L '*) cat /var/tmp/listing ;; esac\n");
  }
};

constexpr char kHeaders[] = "Chain INPUT (policy ACCEPT)\nnum pkts bytes target prot opt in out source destination\n";
constexpr char kPpp0Rule[] = "3 0 0 ACCEPT all -- ppp0 any anywhere anywhere\n";
constexpr char kListCommand[] = "iptables [-t] [filter] [-L] [INPUT] [-v] [--line-numbers]\n";
constexpr char kDeleteCommand[] = "iptables [-t] [filter] [-D] [INPUT] [3]\n";

} // namespace

TEST(FirewallRulesOfTheKernel, AreRemovedOnePerCall) {
  in_child([] {
    add_rule("-A INPUT -i eth0 -j ACCEPT");
    add_rule("-A INPUT -i ppp0 -j ACCEPT");
    add_rule("-A INPUT -i eth1 -p tcp --dport 80 -j DROP");
    add_rule("-A INPUT -s 192.0.2.1 -j DROP");
    add_rule("-A INPUT -i ppp0 -p udp -m udp --dport 53 -j DROP");
    EXPECT_EQ(remove_rule("ppp0"), 1U);
    EXPECT_EQ(rules(),
              "-P INPUT ACCEPT\n-A INPUT -i eth0 -j ACCEPT\n-A INPUT -i eth1 -p tcp -m tcp --dport 80 -j DROP\n"
              "-A INPUT -s 192.0.2.1/32 -j DROP\n-A INPUT -i ppp0 -p udp -m udp --dport 53 -j DROP");
    EXPECT_EQ(remove_rule("ppp0"), 1U);
    EXPECT_EQ(rules(),
              "-P INPUT ACCEPT\n-A INPUT -i eth0 -j ACCEPT\n-A INPUT -i eth1 -p tcp -m tcp --dport 80 -j DROP\n"
              "-A INPUT -s 192.0.2.1/32 -j DROP");
    EXPECT_EQ(remove_rule("ppp0"), 0U);
  });
}

TEST(FirewallRulesOfTheKernel, AreRemovedWhenTheyNameTheInterfaceForOutput) {
  in_child([] {
    add_rule("-A FORWARD -i eth0 -o eth1 -j ACCEPT");
    add_rule("-A FORWARD -i eth0 -o ppp0 -j ACCEPT");
    EXPECT_EQ(remove_rule("ppp0", "filter", "FORWARD"), 1U);
    EXPECT_EQ(rules("FORWARD"), "-P FORWARD ACCEPT\n-A FORWARD -i eth0 -o eth1 -j ACCEPT");
  });
}

TEST(FirewallRulesOfTheKernel, AreRemovedFromTheTableAndChainTold) {
  in_child([] {
    add_rule("-t nat -A POSTROUTING -o ppp0 -j MASQUERADE");
    add_rule("-t mangle -N marks");
    add_rule("-t mangle -A marks -i ppp0 -j RETURN");
    add_rule("-A INPUT -i ppp0 -j ACCEPT");
    EXPECT_EQ(remove_rule("ppp0", "nat", "POSTROUTING"), 1U);
    EXPECT_EQ(rules("POSTROUTING", "nat"), "-P POSTROUTING ACCEPT");
    EXPECT_EQ(remove_rule("ppp0", "mangle", "marks"), 1U);
    EXPECT_EQ(rules("marks", "mangle"), "-N marks");
    EXPECT_EQ(rules(), "-P INPUT ACCEPT\n-A INPUT -i ppp0 -j ACCEPT");
  });
}

TEST(FirewallRulesOfTheKernel, AreNotRemovedForASimilarInterface) {
  in_child([] {
    add_rule("-A INPUT -i ppp0 -j ACCEPT");
    std::string before = rules();
    for (const std::string& name :
         {std::string("ppp"), std::string("ppp00"), std::string("!ppp0"), std::string(300, 'p')}) {
      EXPECT_EQ(remove_rule(name), 0U) << name;
    }
    add_rule("-I INPUT ! -i ppp0 -j DROP");
    EXPECT_EQ(remove_rule("ppp0"), 1U);
    EXPECT_EQ(rules(), "-P INPUT ACCEPT\n-A INPUT ! -i ppp0 -j DROP");
  });
}

TEST(FirewallRulesOfTheKernel, WithoutATargetAreFoundByOutputOnly) {
  in_child([] {
    add_rule("-A FORWARD -i ppp0");
    add_rule("-A FORWARD -o ppp1");
    EXPECT_EQ(remove_rule("ppp0", "filter", "FORWARD"), 0U);
    EXPECT_EQ(remove_rule("ppp1", "filter", "FORWARD"), 1U);
    EXPECT_EQ(rules("FORWARD"), "-P FORWARD ACCEPT\n-A FORWARD -i ppp0");
  });
}

TEST(FirewallRulesOfTheKernel, AreNotRemovedFromAChainThatIsNotThere) {
  in_child([] {
    add_rule("-A INPUT -i ppp0 -j ACCEPT");
    testing::internal::CaptureStderr();
    EXPECT_EQ(remove_rule("ppp0", "filter", "nochain"), 0U);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "") << "the tool's own complaint is the caller's";
    EXPECT_EQ(rules(), "-P INPUT ACCEPT\n-A INPUT -i ppp0 -j ACCEPT");
  });
}

TEST(FirewallRulesOfTheKernel, LeaveTheirListingBehind) {
  in_child([] {
    add_rule("-A INPUT -i ppp0 -j ACCEPT");
    EXPECT_EQ(remove_rule("eth0"), 0U);
    std::string listing = read_file(kListing);
    EXPECT_EQ(listing.substr(0, 12), "Chain INPUT ");
    EXPECT_NE(listing.find("ppp0"), std::string::npos);
    unlink(kListing);
  });
}

using FirewallCommands = RecordingFirewall;

TEST_F(FirewallCommands, ListAndDelete) {
  list(std::string(kHeaders) + "1 0 0 ACCEPT all -- eth0 any anywhere anywhere\n" + kPpp0Rule + kPpp0Rule);
  EXPECT_EQ(remove_rule("ppp0"), 1U);
  EXPECT_EQ(take_commands(), std::string(kListCommand) + kDeleteCommand);
}

TEST_F(FirewallCommands, OnlyListWhenNoRuleMatches) {
  list(std::string(kHeaders) + kPpp0Rule);
  EXPECT_EQ(remove_rule("ppp1"), 0U);
  EXPECT_EQ(take_commands(), kListCommand);
}

TEST_F(FirewallCommands, AreNotIssuedForNullPointers) {
  list(std::string(kHeaders) + kPpp0Rule);
  EXPECT_EQ(ROQ_UTIL_RemoveIpTableRule(nullptr, "filter", "INPUT"), 0U);
  EXPECT_EQ(ROQ_UTIL_RemoveIpTableRule("ppp0", nullptr, "INPUT"), 0U);
  EXPECT_EQ(ROQ_UTIL_RemoveIpTableRule("ppp0", "filter", nullptr), 0U);
  EXPECT_EQ(take_commands(), "");
}

TEST_F(FirewallCommands, OverwriteTheOldListing) {
  write_file(kListing, std::string(kHeaders) + kPpp0Rule);
  list(kHeaders);
  EXPECT_EQ(remove_rule("ppp0"), 0U);
  EXPECT_EQ(read_file(kListing), kHeaders);
}

TEST_F(FirewallCommands, FindNothingWhenTheToolFailsOrWritesNothing) {
  write_file(kListing, std::string(kHeaders) + kPpp0Rule);
  write_script("/var/iptables", "exit 3\n");
  EXPECT_EQ(remove_rule("ppp0"), 0U);
  EXPECT_EQ(read_file(kListing), "");
}

TEST_F(FirewallCommands, TakeWhatAFailingToolWrote) {
  write_script("/var/iptables", "echo \"$*\" >>/var/tmp/commands\n"
                                "case \"$*\" in *' -L '*) printf 'a\\nb\\n3 0 0 ACCEPT all -- ppp0' ;; esac\n"
                                "exit 3\n");
  EXPECT_EQ(remove_rule("ppp0"), 1U);
  EXPECT_EQ(take_commands(), "-t filter -L INPUT -v --line-numbers\n-t filter -D INPUT 3\n");
}

TEST_F(FirewallCommands, KeepTheDeletionsErrorsQuietAndItsOutputLoud) {
  list(std::string(kHeaders) + kPpp0Rule);
  write_script("/var/iptables", "case \"$*\" in *' -L '*) cat /var/tmp/listing; echo listing >&2 ;; "
                                "*) echo deleted; echo failed >&2 ;; esac\n");
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  EXPECT_EQ(ROQ_UTIL_RemoveIpTableRule("ppp0", "filter", "INPUT"), 1U);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "deleted\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "listing\n");
}

TEST_F(FirewallCommands, AreNotIssuedWithoutTheToolInBin) {
  list(std::string(kHeaders) + kPpp0Rule);
  in_child([] {
    ASSERT_EQ(mount("empty", "/usr/bin", "tmpfs", 0, nullptr), 0);
    EXPECT_EQ(remove_rule("ppp0"), 0U);
    EXPECT_EQ(take_commands(), "");
  });
}

TEST_F(FirewallCommands, ReadAStaleListingWhenTheToolCannotBeRun) {
  in_child([] {
    for (const char* folder : {"/usr/bin", "/usr/sbin"})
      ASSERT_EQ(mount("empty", folder, "tmpfs", 0, nullptr), 0);
    write_file("/usr/bin/iptables", "not executable");
    write_file(kListing, std::string(kHeaders) + kPpp0Rule);
    EXPECT_EQ(remove_rule("ppp0"), 1U);
    EXPECT_EQ(read_file(kListing), std::string(kHeaders) + kPpp0Rule);
    EXPECT_EQ(remove_rule("ppp1"), 0U);
  });
}

TEST_F(FirewallCommands, WithoutAListingPrintALine) {
  in_child([] {
    for (const char* folder : {"/usr/bin", "/usr/sbin"})
      ASSERT_EQ(mount("empty", folder, "tmpfs", 0, nullptr), 0);
    write_file("/usr/bin/iptables", "not executable");
    EXPECT_EQ(printed_by([] { EXPECT_EQ(ROQ_UTIL_RemoveIpTableRule("ppp0", "filter", "INPUT"), 0U); }),
              "Can't Open File:/var/iptable\n");
  });
}

TEST_F(FirewallCommands, AreCutAt1023CharactersAndRunAsCut) {
  // The cut takes the redirection and the options, and of the deletion the number; a stale listing is read.
  std::string chain(1000, 'c');
  ASSERT_EQ(("iptables -t filter -L " + chain + " ").size(), 1023U);
  write_file(kListing, std::string(kHeaders) + kPpp0Rule);
  list("");
  EXPECT_EQ(remove_rule("ppp0", "filter", chain), 1U);
  EXPECT_EQ(take_commands(),
            "iptables [-t] [filter] [-L] [" + chain + "]\niptables [-t] [filter] [-D] [" + chain + "]\n");
}

TEST_F(FirewallCommands, AreCutWithinALongChain) {
  list("");
  std::string chain(5000, 'c');
  EXPECT_EQ(printed_by([&] { EXPECT_EQ(ROQ_UTIL_RemoveIpTableRule("ppp0", "filter", chain.c_str()), 0U); }),
            "Can't Open File:/var/iptable\n");
  EXPECT_EQ(take_commands(), "iptables [-t] [filter] [-L] [" + chain.substr(0, 1001) + "]\n");
}

TEST_F(FirewallCommands, LeaveNoDescriptorOpen) {
  list(std::string(kHeaders) + kPpp0Rule);
  std::vector<int> before = open_descriptors();
  EXPECT_EQ(remove_rule("ppp0"), 1U);
  EXPECT_EQ(remove_rule("ppp1"), 0U);
  EXPECT_EQ(open_descriptors(), before);
}
