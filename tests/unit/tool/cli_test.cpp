#include "cli.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace roq::tool;

// What the command saw when it ran.
struct Seen {
  int runs = 0;
  std::vector<std::string> arguments;
  bool json = false, four = false;
  std::string file;
  std::optional<uint32_t> number;
};
Seen seen;

int run_probe(const Invocation& call) {
  ++seen.runs;
  for (const char* argument : call.arguments())
    seen.arguments.emplace_back(argument);
  seen.json = call.json();
  seen.four = call.has("four");
  seen.file = call.value("file", "(none)");
  seen.number = call.option_number("number", 7, 1, 10);
  if (!seen.number) return kUsage;
  return kSuccess;
}

int run_failing(const Invocation& call) { return call.refused("%s: no such thing; make one", call.argument(0)); }

constexpr Option kOptions[] = {
    {"file", "FILE", "a file"}, {"number", "NUMBER", "a number"}, {"four", nullptr, "a switch", '4'}, kJsonOption};
constexpr Example kExamples[] = {{"prog group probe a", "an example"}};
constexpr Command kCommands[] = {
    {.name = "probe",
     .arguments = "A [B]",
     .minimum = 1,
     .maximum = 2,
     .summary = "look at arguments",
     .details = "word word word word word word word word word word word word word word word word word word word word "
                "word word word",
     .options = kOptions,
     .examples = kExamples,
     .run = run_probe},
    {.name = "run",
     .arguments = "COMMAND...",
     .minimum = 1,
     .maximum = kAnyNumber,
     .summary = "take a command line",
     .options = kOptions,
     .options_come_first = true,
     .run = run_probe},
    {.name = "fail", .arguments = "A", .minimum = 1, .maximum = 1, .summary = "fail", .run = run_failing}};
const Group kGroup{.name = "group", .summary = "a group", .commands = kCommands, .examples = kExamples};
const Group* const kGroups[] = {&kGroup};
const Program kProgram{
    .name = "roqutil", .summary = "a program", .groups = kGroups, .commands = {}, .examples = kExamples};

struct Result {
  int code;
  std::string out, err;
};

Result type(std::vector<const char*> words) {
  seen = {};
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  int code = run_program(kProgram, {words.data(), words.size()});
  fflush(stdout);
  return {code, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
}

// One line that begins with the tool's name.
void expect_usage_line(const Result& result, const char* expected) {
  EXPECT_EQ(result.code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err.rfind("roqutil: ", 0), 0U) << result.err;
  EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
  EXPECT_NE(result.err.find(expected), std::string::npos) << result.err;
}

TEST(ToolCommandLine, SortsOptionsFromArguments) {
  EXPECT_EQ(type({"group", "probe", "one", "--file", "f", "--json", "two"}).code, 0);
  EXPECT_EQ(seen.arguments, (std::vector<std::string>{"one", "two"}));
  EXPECT_TRUE(seen.json);
  EXPECT_EQ(seen.file, "f");
}

TEST(ToolCommandLine, TakesValuesBehindAnEqualsSign) {
  EXPECT_EQ(type({"group", "probe", "one", "--file=a=b", "--number=0x0A"}).code, 0);
  EXPECT_EQ(seen.file, "a=b");
  EXPECT_EQ(seen.number, 10U);
}

TEST(ToolCommandLine, EndsOptionsAtTwoDashes) {
  type({"group", "probe", "--", "--json", "-h"});
  EXPECT_EQ(seen.arguments, (std::vector<std::string>{"--json", "-h"}));
  EXPECT_FALSE(seen.json);
}

TEST(ToolCommandLine, TakesWordsWithOneDashAsArguments) {
  type({"group", "probe", "-1", "-"});
  EXPECT_EQ(seen.arguments, (std::vector<std::string>{"-1", "-"}));
  EXPECT_FALSE(seen.four);
}

TEST(ToolCommandLine, KnowsShortForms) {
  for (const char* form : {"-4", "--four"}) {
    EXPECT_EQ(type({"group", "probe", form, "a"}).code, 0);
    EXPECT_TRUE(seen.four) << form;
    EXPECT_EQ(seen.arguments, (std::vector<std::string>{"a"}));
  }
  type({"group", "probe", "-44", "--", "-4"});
  EXPECT_EQ(seen.arguments, (std::vector<std::string>{"-44", "-4"}));
  EXPECT_FALSE(seen.four);
}

TEST(ToolCommandLine, LeavesTheOptionsOfATypedCommandAlone) {
  type({"group", "run", "--json", "ls", "--file", "-h", "--"});
  EXPECT_EQ(seen.arguments, (std::vector<std::string>{"ls", "--file", "-h", "--"}));
  EXPECT_TRUE(seen.json);
}

TEST(ToolCommandLine, TakesTheLastOfEqualOptions) {
  type({"group", "probe", "a", "--file", "x", "--file", "y"});
  EXPECT_EQ(seen.file, "y");
}

TEST(ToolCommandLine, TellsInOneLineWhatWasExpected) {
  expect_usage_line(type({}), "expected one of group");
  expect_usage_line(type({"nothing"}), "'nothing': expected one of group");
  expect_usage_line(type({"group"}), "expected one of probe, run, fail");
  expect_usage_line(type({"group", "nothing"}), "'nothing': expected one of probe, run, fail");
  expect_usage_line(type({"--what"}), "unknown option --what: expected --help");
  expect_usage_line(type({"group", "--what"}), "group: unknown option --what: expected --help");
  expect_usage_line(type({"group", "probe", "a", "--fil", "x"}), "unknown option --fil: expected --file");
  expect_usage_line(type({"group", "probe", "a", "--files", "x"}), "unknown option --files: expected --file");
  expect_usage_line(type({"group", "probe"}), "expected A [B]");
  expect_usage_line(type({"group", "probe", "a", "b", "c"}), "'c' is too many: expected A [B]");
  expect_usage_line(type({"group", "probe", "a", "--what"}),
                    "unknown option --what: expected --file, --number, --four, --json");
  expect_usage_line(type({"group", "fail", "a", "--what=1"}), "--what: expected none");
  expect_usage_line(type({"group", "probe", "a", "--file"}), "expected FILE");
  expect_usage_line(type({"group", "probe", "a", "--json=1"}), "--json takes no value");
  EXPECT_EQ(seen.runs, 0);
  expect_usage_line(type({"group", "probe", "a", "--number", "11"}), "'11': expected a number from 1 to 10");
}

TEST(ToolCommandLine, PrintsHelpOnEveryLevelOnStandardOutput) {
  for (std::vector<const char*> words : {std::vector<const char*>{"--help"},
                                         {"-h"},
                                         {"group", "--help"},
                                         {"group", "-h"},
                                         {"group", "probe", "--help"},
                                         {"group", "probe", "too", "many", "x", "-h"}}) {
    Result result = type(words);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.rfind("usage: roqutil ", 0), 0U);
    EXPECT_NE(result.out.find("Examples:\n  prog group probe a\n      an example\n"), std::string::npos) << result.out;
    EXPECT_EQ(seen.runs, 0);
  }
}

TEST(ToolCommandLine, SaysWhatFailedWhyAndWhatToDo) {
  Result result = type({"group", "fail", "thing"});
  EXPECT_EQ(result.code, 3);
  EXPECT_EQ(result.err, "roqutil: group fail: thing: no such thing; make one\n");
}

TEST(ToolCommandLine, WrapsHelpAtHundredColumns) {
  std::string help = type({"group", "probe", "--help"}).out;
  EXPECT_NE(help.find("\n  -4, --four           a switch\n"), std::string::npos) << help;
  size_t lines = 0;
  for (size_t at = 0, end; (end = help.find('\n', at)) != std::string::npos; at = end + 1, ++lines)
    EXPECT_LE(end - at, 100U) << help;
  EXPECT_NE(help.find("word word\nword"), std::string::npos) << help;
}

TEST(ToolTimes, AreSecondsWithThreeDecimalsAtMost) {
  EXPECT_EQ(parse_time("0"), 0U);
  EXPECT_EQ(parse_time("5"), 5000U);
  EXPECT_EQ(parse_time("0.2"), 200U);
  EXPECT_EQ(parse_time("0.001"), 1U);
  EXPECT_EQ(parse_time("08.25"), 8250U);
  EXPECT_EQ(parse_time("4294967.295"), 4294967295U);
  for (const char* bad :
       {"", ".", "5.", ".5", "0.0001", "-1", "+1", " 1", "1 ", "1s", "1.x", "1.2.3", "0x1", "4294967.296"})
    EXPECT_EQ(parse_time(bad), std::nullopt) << bad;
}

TEST(ToolNumbers, AreDecimalOrHexadecimalAndNothingElse) {
  EXPECT_EQ(parse_number("0"), 0U);
  EXPECT_EQ(parse_number("4294967295"), 4294967295U);
  EXPECT_EQ(parse_number("0xffFF"), 0xFFFFU);
  EXPECT_EQ(parse_number("007"), 7U);
  for (const char* bad :
       {"", " 1", "1 ", "-1", "+1", "4294967296", "0x", "0x1FFFFFFFF", "1a", "0xg", "99999999999999999999", "x1"})
    EXPECT_EQ(parse_number(bad), std::nullopt) << bad;
  EXPECT_EQ(parse_number(nullptr), std::nullopt);
}

TEST(ToolText, GrowsAndStaysTerminated) {
  Text text;
  EXPECT_STREQ(text.c_str(), "");
  for (int at = 0; at < 1000; ++at)
    text.format("%d,", at);
  EXPECT_EQ(text.size(), std::string(text.c_str()).size());
  EXPECT_EQ(text.view().substr(0, 6), "0,1,2,");
  text.append(text.view());
  EXPECT_EQ(text.size(), 2 * 3890U);
  text.clear();
  EXPECT_TRUE(text.empty());
}

TEST(ToolArray, KeepsAnElementOfItsOwnWhileItMoves) {
  Array<int> array;
  array.add(42);
  for (int at = 0; at < 100; ++at)
    array.add(array[0]);
  EXPECT_EQ(array.size(), 101U);
  EXPECT_EQ(array.last(), 42);
}

} // namespace
