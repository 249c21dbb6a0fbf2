#include "complete.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace roq::tool;

int run_nothing(const Invocation&) { return kSuccess; }

void add_colours(Candidates& candidates) {
  candidates.add("red");
  candidates.add("green");
}

constexpr Option kOptions[] = {{"file", "FILE", "a file"}, {"paint", "COLOUR", "a colour"}, kJsonOption};
constexpr Command kGroupCommands[] = {{.name = "draw",
                                       .arguments = "COLOUR [FILE] [round|square...]",
                                       .minimum = 1,
                                       .maximum = kAnyNumber,
                                       .summary = "draw",
                                       .options = kOptions,
                                       .run = run_nothing},
                                      {.name = "drop", .summary = "drop", .run = run_nothing},
                                      {.name = "hold",
                                       .arguments = "DIRECTORY -- COMMAND [ARGUMENT...]",
                                       .minimum = 2,
                                       .maximum = kAnyNumber,
                                       .summary = "hold",
                                       .options = kOptions,
                                       .options_come_first = true,
                                       .run = run_nothing}};
constexpr Command kCommands[] = {{.name = "version", .summary = "version", .options = kJsonOnly, .run = run_nothing}};
const Group kGroup{.name = "picture", .summary = "pictures", .commands = kGroupCommands};
const Group* const kGroups[] = {&kGroup};
constexpr Place kPlaces[] = {{"COLOUR", add_colours}};
const Program kProgram{.name = "program",
                       .summary = "a program",
                       .groups = kGroups,
                       .commands = kCommands,
                       .examples = {},
                       .places = kPlaces};

// The candidates, separated by blanks.
std::string offered(std::vector<const char*> words) {
  Candidates candidates(words.back());
  complete(candidates, kProgram, {words.data(), words.size()});
  std::string text = candidates.lines().c_str();
  for (char& c : text)
    if (c == '\n') c = ' ';
  if (!text.empty()) text.pop_back();
  return text;
}

TEST(ToolCompletion, OffersGroupsAndCommands) {
  EXPECT_EQ(offered({""}), "picture version");
  EXPECT_EQ(offered({"v"}), "version");
  EXPECT_EQ(offered({"x"}), "");
  EXPECT_EQ(offered({"picture", ""}), "draw drop hold");
  EXPECT_EQ(offered({"picture", "dr"}), "draw drop");
}

TEST(ToolCompletion, OffersNothingBehindWhatItDoesNotKnow) {
  EXPECT_EQ(offered({"x", ""}), "");
  EXPECT_EQ(offered({"picture", "x", ""}), "");
  EXPECT_EQ(offered({"picture", "draw", "--what", "--"}), "--file --paint --json --help");
}

TEST(ToolCompletion, OffersOptionsBehindADash) {
  EXPECT_EQ(offered({"-"}), "--help");
  EXPECT_EQ(offered({"picture", "--"}), "--help");
  EXPECT_EQ(offered({"picture", "draw", "-"}), "--file --paint --json --help");
  EXPECT_EQ(offered({"picture", "draw", "red", "--j"}), "--json");
}

TEST(ToolCompletion, OffersOptionsWhereNoArgumentIsLeft) {
  EXPECT_EQ(offered({"picture", "drop", ""}), "--help");
  EXPECT_EQ(offered({"version", ""}), "--json --help");
}

TEST(ToolCompletion, OffersWhatBelongsInTheArgumentsPlace) {
  EXPECT_EQ(offered({"picture", "draw", ""}), "red green");
  EXPECT_EQ(offered({"picture", "draw", "--json", "g"}), "green");
  EXPECT_EQ(offered({"picture", "draw", "red", ""}), "FILE");
  EXPECT_EQ(offered({"picture", "draw", "red", "x", ""}), "round square");
  EXPECT_EQ(offered({"picture", "draw", "red", "x", "round", "s"}), "square");
}

TEST(ToolCompletion, OffersWhatAnOptionTakes) {
  EXPECT_EQ(offered({"picture", "draw", "--file", ""}), "FILE");
  EXPECT_EQ(offered({"picture", "draw", "--paint", "r"}), "red");
  EXPECT_EQ(offered({"picture", "draw", "--file=x"}), "FILE");
  EXPECT_EQ(offered({"picture", "draw", "--paint", "red", ""}), "red green");
  EXPECT_EQ(offered({"picture", "draw", "--paint=red", "g"}), "green");
}

TEST(ToolCompletion, KnowsWhereOptionsEnd) {
  EXPECT_EQ(offered({"picture", "draw", "--", "--"}), "");
  EXPECT_EQ(offered({"picture", "draw", "--", ""}), "red green");
  EXPECT_EQ(offered({"picture", "hold", ""}), "DIRECTORY");
  EXPECT_EQ(offered({"picture", "hold", "-"}), "--file --paint --json --help");
  EXPECT_EQ(offered({"picture", "hold", "x", ""}), "--");
  EXPECT_EQ(offered({"picture", "hold", "x", "--"}), "--");
  EXPECT_EQ(offered({"picture", "hold", "x", "--", ""}), "COMMAND");
  EXPECT_EQ(offered({"picture", "hold", "x", "--", "ls", "--"}), "");
}

} // namespace
