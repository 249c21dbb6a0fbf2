#include "parsed.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <roqutil/process.h>

namespace roq::test::process {
namespace {

// One line and what it becomes.
struct Example {
  const char* line;
  Parsed expected;
};

Parsed arguments(std::vector<std::string> texts) { return {true, std::move(texts), {}, {}, false}; }

void expect_examples(const std::vector<Example>& examples, Plan plan = Plan::given) {
  for (const Example& example : examples)
    EXPECT_EQ(parse(example.line, plan), example.expected) << in_quotes(example.line);
}

TEST(ParseArgs, SplitsAtWhiteSpace) {
  expect_examples({
      {"prog a b", arguments({"prog", "a", "b"})},
      {"  prog\ta", arguments({"prog", "a"})},
      {"prog \t\n\v\f\r a \n", arguments({"prog", "a"})},
      {"prog", arguments({"prog"})},
      {"a\nb\vc\fd\re", arguments({"a", "b", "c", "d", "e"})},
  });
}

TEST(ParseArgs, OfAnEmptyLineSucceedsWithTheTerminatorOnly) {
  expect_examples({{"", arguments({})}, {" \t\n\v\f\r", arguments({})}});
}

TEST(ParseArgs, SeparatesAtABackspaceWithoutSkippingIt) {
  expect_examples({
      {"a\bb", arguments({"a", "b"})},
      {"a \b b", arguments({"a", "", "b"})},
      {"a\b\bb", arguments({"a", "", "b"})},
      {"\ba", arguments({"", "a"})},
      {"a\b", arguments({"a"})},
      {"a \b", arguments({"a", ""})},
      {"'a\bb'", arguments({"'a\bb'"})},
      {"a '\b'", arguments({"a", "\b"})},
  });
}

TEST(ParseArgs, TakesOtherControlBytesAndHighBytesAsOrdinaryCharacters) {
  expect_examples({
      {"a\x07"
       "b\x0e"
       "c\x1f"
       "d\x7f",
       arguments({"a\x07"
                  "b\x0e"
                  "c\x1f"
                  "d\x7f"})},
      {"\x80\xa0\xff\x85 \xc2\xa0", arguments({"\x80\xa0\xff\x85", "\xc2\xa0"})},
      {"\x01 a", arguments({"\x01", "a"})},
  });
}

TEST(ParseArgs, RemovesTheQuotesOfArguments) {
  expect_examples({
      {"prog 'a b' \"c d\"", arguments({"prog", "a b", "c d"})},
      {"prog a' 'b\" \"c", arguments({"prog", "a b c"})},
      {"prog '\"' \"'\"", arguments({"prog", "\"", "'"})},
      {"prog '' \"\"", arguments({"prog", "", ""})},
      {"prog 'a'\"b\"", arguments({"prog", "ab"})},
      {"prog '\t\n'", arguments({"prog", "\t\n"})},
  });
}

TEST(ParseArgs, TakesTheCharacterBehindABackslashLiterally) {
  expect_examples({
      {"prog a\\ b", arguments({"prog", "a b"})},
      {"prog \\' \\\" \\\\", arguments({"prog", "'", "\"", "\\"})},
      {"prog \\a\\b", arguments({"prog", "ab"})},
      {"prog a\\\tb", arguments({"prog", "a\tb"})},
      {"prog \\\bx", arguments({"prog", "\bx"})},
  });
}

TEST(ParseArgs, DropsABackslashAtTheEndOfTheLine) {
  expect_examples({
      {"prog a\\", arguments({"prog", "a"})},
      {"prog \\", arguments({"prog", ""})},
      {"prog\\", arguments({"prog\\"})}, // the program keeps it
      {"prog \\\\\\", arguments({"prog", "\\"})},
  });
}

TEST(ParseArgs, KeepsBackslashesInsideQuotes) {
  expect_examples({
      {"prog 'a\\b' \"c\\d\"", arguments({"prog", "a\\b", "c\\d"})},
      {"prog '\\\\'", arguments({"prog", "\\\\"})},
      {"prog \"\\'\"", arguments({"prog", "\\'"})},
  });
}

TEST(ParseArgs, FailsOnAnEscapedQuoteInsideQuotes) {
  expect_examples({
      {"prog \"a\\\"b\"", kParseFailure},
      {"prog 'a\\'b'", kParseFailure},
      {"prog \"\\\"\"", kParseFailure},
      {"prog \"a\\\"b\\\"c\"", kParseFailure},
  });
}

TEST(ParseArgs, FailsOnAQuotedRunThatIsLeftOpen) {
  expect_examples({
      {"prog \"a", kParseFailure},
      {"prog 'a", kParseFailure},
      {"prog a\"", kParseFailure},
      {"'", kParseFailure},
      {"prog 'a\\", kParseFailure},
      {"prog \"a\\\"", kParseFailure},
      {"prog 'a\"", kParseFailure},
      {"prog 'a' 'b", kParseFailure},
      {"\"prog a", kParseFailure},
  });
  expect_examples({{"prog \"a", kParseFailure}, {"prog 'a\\", kParseFailure}}, Plan::null);
}

TEST(ParseArgs, LeavesQuotesAndBackslashesInTheProgram) {
  expect_examples({
      {"'my prog' a", arguments({"'my prog'", "a"})},
      {"my\\ prog a", arguments({"my\\ prog", "a"})},
      {"\"a\\\"b\"", arguments({"\"a\\\"b\""})},
  });
}

TEST(ParseArgs, CutsADotAndASlashOffTheProgram) {
  expect_examples({
      {"./tool -x", arguments({"tool", "-x"})},
      {"../tool", arguments({"../tool"})},
      {"././tool", arguments({"./tool"})},
      {"./", arguments({""})},
      {".", arguments({"."})},
      {".//tool", arguments({"/tool"})},
      {"tool ./a", arguments({"tool", "./a"})},
      {"'./tool'", arguments({"'./tool'"})},
  });
}

TEST(ParseArgs, TakesABackgroundMarkerOffTheEnd) {
  Parsed background{true, {"cmd"}, {}, {}, true};
  expect_examples({
      {"cmd &", background},
      {"cmd&", background},
      {"cmd & ", background},
      {"&", {true, {}, {}, {}, true}},
      {"cmd &&", {true, {"cmd", "&"}, {}, {}, true}},
      {"cmd & &", {true, {"cmd", "&"}, {}, {}, true}},
      {"cmd a\\&", {true, {"cmd", "a"}, {}, {}, true}}, // the backslash is then the last character, and dropped
      {"cmd \\&", {true, {"cmd", ""}, {}, {}, true}},
      {"cmd '&'", arguments({"cmd", "&"})},
      {"cmd & a", arguments({"cmd", "&", "a"})},
      {"cmd a&b", arguments({"cmd", "a&b"})},
      {"cmd \b", arguments({"cmd", ""})},
      {"cmd 'a'&", {true, {"cmd", "a"}, {}, {}, true}},
  });
}

TEST(ParseArgs, LooksForRedirectionsInFrontOfTheBackgroundMarker) {
  expect_examples({
      {"cmd > out &", {true, {"cmd"}, ParsedFile{"out", false}, {}, true}},
      {"cmd >out&", {true, {"cmd"}, ParsedFile{"out", false}, {}, true}},
      {"cmd a >& b", {true, {"cmd", "a", ">&", "b"}, {}, {}, false}},
      {"cmd 2>&1 > out &", {true, {"cmd"}, ParsedFile{"out", false}, ParsedFile{"out", false}, true}},
      {"cmd 2>&", {true, {"cmd"}, {}, {}, true}}, // cut to a bare "2>"
  });
}

TEST(ParseArgs, LeavesMarkersAndRedirectionsAloneWithoutAPlan) {
  expect_examples(
      {
          {"cmd &", arguments({"cmd", "&"})},
          {"cmd&", arguments({"cmd&"})},
          {"cmd > out 2>&1", arguments({"cmd", ">", "out", "2>&1"})},
          {"cmd a\\&", arguments({"cmd", "a&"})},
      },
      Plan::null);
}

TEST(ParseArgs, FirstPassDropsADuplicationWithoutEffect) {
  for (const char* duplication : {"2>&1", "1>&2", "1>&1", "2>&2"}) {
    std::string line = std::string("cmd a ") + duplication;
    EXPECT_EQ(parse(line), arguments({"cmd", "a"})) << line;
    EXPECT_EQ(parse(std::string("cmd > out ") + duplication), (Parsed{true, {"cmd"}, ParsedFile{"out"}, {}, false}));
  }
  expect_examples({
      {"cmd > 2>&1", arguments({"cmd"})}, // what remains is a bare operator
      {"cmd 2>&1 2>&1", arguments({"cmd"})},
      {"2>&1", arguments({"2>&1"})}, // a single token is the program
  });
}

TEST(ParseArgs, FirstPassTakesAFileAfterAnOperator) {
  expect_examples({
      {"cmd > out", {true, {"cmd"}, ParsedFile{"out", false}, {}, false}},
      {"cmd >> out", {true, {"cmd"}, ParsedFile{"out", true}, {}, false}},
      {"cmd a > out", {true, {"cmd", "a"}, ParsedFile{"out", false}, {}, false}},
      {"> out", {true, {}, ParsedFile{"out", false}, {}, false}},
      {"cmd > >", {true, {"cmd"}, ParsedFile{">", false}, {}, false}},
      {"cmd > 2>err", {true, {"cmd"}, ParsedFile{"2>err", false}, {}, false}},
      {"cmd > \b", {true, {"cmd"}, ParsedFile{"", false}, {}, false}},
  });
}

TEST(ParseArgs, FirstPassTakesAFileWithItsOperator) {
  expect_examples({
      {"cmd >out", {true, {"cmd"}, ParsedFile{"out", false}, {}, false}},
      {"cmd >>out", {true, {"cmd"}, ParsedFile{"out", true}, {}, false}},
      {"cmd >>>out", {true, {"cmd"}, ParsedFile{">out", true}, {}, false}},
      {"cmd >", arguments({"cmd"})},
      {"cmd >>", arguments({"cmd"})},
      {"cmd >&1", {true, {"cmd"}, ParsedFile{"&1", false}, {}, false}},
      {">out", arguments({">out"})},
  });
}

TEST(ParseArgs, FirstPassTakesAFileWithItsDescriptor) {
  expect_examples({
      {"cmd 1>out", {true, {"cmd"}, ParsedFile{"out", false}, {}, false}},
      {"cmd 2>err", {true, {"cmd"}, {}, ParsedFile{"err", false}, false}},
      {"cmd 1>>out", {true, {"cmd"}, ParsedFile{"out", true}, {}, false}},
      {"cmd 2>>err", {true, {"cmd"}, {}, ParsedFile{"err", true}, false}},
      {"cmd 1>", arguments({"cmd"})},
      {"cmd 2>", arguments({"cmd"})},
      {"cmd 1>>", {true, {"cmd"}, ParsedFile{">", false}, {}, false}},
      {"cmd 2>>", {true, {"cmd"}, {}, ParsedFile{">", false}, false}},
      {"cmd 2>>>", {true, {"cmd"}, {}, ParsedFile{">", true}, false}},
      {"cmd 2>&3", {true, {"cmd"}, {}, ParsedFile{"&3", false}, false}},
      {"cmd 3>out", arguments({"cmd", "3>out"})},
  });
}

TEST(ParseArgs, FirstPassTakesAFileAfterAGluedOperator) {
  expect_examples({
      {"cmd 1> out", {true, {"cmd"}, ParsedFile{"out", false}, {}, false}},
      {"cmd 2> err", {true, {"cmd"}, {}, ParsedFile{"err", false}, false}},
      {"cmd 1>> out", {true, {"cmd"}, ParsedFile{"out", true}, {}, false}},
      {"cmd 2>> err", {true, {"cmd"}, {}, ParsedFile{"err", true}, false}},
      {"cmd a> out", {true, {"cmd"}, ParsedFile{"out", false}, {}, false}},
      {"cmd a>> out", {true, {"cmd"}, ParsedFile{"out", true}, {}, false}},
      {"cmd> out", {true, {}, ParsedFile{"out", false}, {}, false}},
      {"cmd 22> out", {true, {"cmd"}, ParsedFile{"out", false}, {}, false}},
      {"cmd 3>> out", {true, {"cmd"}, ParsedFile{"out", true}, {}, false}},
      {"cmd >>> out", {true, {"cmd"}, ParsedFile{"out", true}, {}, false}},
      {"cmd \b out", arguments({"cmd", "", "out"})},
  });
}

TEST(ParseArgs, FirstPassEndsAtWhatIsNoRedirection) {
  expect_examples({
      {"cmd > out a", arguments({"cmd", ">", "out", "a"})},
      {"cmd >out a", arguments({"cmd", ">out", "a"})},
      {"cmd 2>err a", arguments({"cmd", "2>err", "a"})},
      {"cmd 2>&1 a", arguments({"cmd", "2>&1", "a"})},
      {"cmd a b", arguments({"cmd", "a", "b"})},
  });
}

TEST(ParseArgs, SecondPassGivesADuplicationTheOtherOutputsFile) {
  ParsedFile out{"out", false}, appended{"out", true}, err{"err", false};
  expect_examples({
      {"cmd 2>&1 > out", {true, {"cmd"}, out, out, false}},
      {"cmd 2>&1 >>out", {true, {"cmd"}, appended, appended, false}},
      {"cmd 1>&2 2>err", {true, {"cmd"}, err, err, false}},
      {"cmd 1>&2 2>> out", {true, {"cmd"}, appended, appended, false}},
      {"cmd 2>&1 2>err", {true, {"cmd"}, {}, err, false}}, // already set
      {"cmd 1>&2 > out", {true, {"cmd"}, out, {}, false}}, // already set
      {"cmd 1>&1 > out", {true, {"cmd"}, out, {}, false}},
      {"cmd 2>&2 > out", {true, {"cmd"}, out, {}, false}},
      {"cmd 2>&1 1>&1", arguments({"cmd"})}, // nothing to copy
  });
}

TEST(ParseArgs, SecondPassTakesTheOtherOutputsFile) {
  ParsedFile out{"out", false}, err{"err", false}, out_appended{"out", true}, err_appended{"err", true};
  expect_examples({
      {"cmd > out 2> err", {true, {"cmd"}, out, err, false}},
      {"cmd >> out 2>> err", {true, {"cmd"}, out_appended, err_appended, false}},
      {"cmd >out 2>err", {true, {"cmd"}, out, err, false}},
      {"cmd >>out 2>>err", {true, {"cmd"}, out_appended, err_appended, false}},
      {"cmd 1>out 2>err", {true, {"cmd"}, out, err, false}},
      {"cmd 2>err 1>out", {true, {"cmd"}, out, err, false}},
      {"cmd 2>>err >out", {true, {"cmd"}, out, err_appended, false}},
      {"cmd 1> out 2>err", {true, {"cmd"}, out, err, false}},
      {"cmd 1>> out 2>err", {true, {"cmd"}, out_appended, err, false}},
      {"cmd 2>> err >out", {true, {"cmd"}, out, err_appended, false}},
      {"cmd a> out 2>err", {true, {"cmd"}, out, err, false}},
      {"cmd a>> out 2>err", {true, {"cmd"}, out_appended, err, false}},
      {"cmd 1>> 2>err", {true, {"cmd"}, ParsedFile{">", false}, err, false}},
  });
}

TEST(ParseArgs, SecondPassTakesASeparateErrorOperatorForGluedText) {
  ParsedFile out{"out", false}, err{"err", false};
  expect_examples({
      {"cmd 2> err >out", {true, {"cmd"}, out, {}, false}},
      {"cmd 2> err > out", {true, {"cmd"}, out, {}, false}},
      {"cmd 2> err 1>&2", {true, {"cmd"}, err, {}, false}},
      {"cmd 2> out 2> err", {true, {"cmd"}, out, err, false}},
      {"cmd 2> out 2>&1", {true, {"cmd"}, out, {}, false}},
  });
}

TEST(ParseArgs, SecondPassDoesNotReplaceWhatIsSet) {
  ParsedFile two{"two", false};
  expect_examples({
      {"cmd > one > two", {true, {"cmd"}, two, {}, false}},
      {"cmd >>one > two", {true, {"cmd"}, two, {}, false}},
      {"cmd 1>>one >two", {true, {"cmd"}, two, {}, false}},
      {"cmd 1> one >two", {true, {"cmd"}, two, {}, false}},
      {"cmd a>> one >two", {true, {"cmd"}, two, {}, false}},
      {"cmd 2>one 2>two", {true, {"cmd"}, {}, two, false}},
      {"cmd 2>>one 2> two", {true, {"cmd"}, {}, two, false}},
      {"cmd 2>> one 2>two", {true, {"cmd"}, {}, two, false}},
      {"cmd > \b > two", {true, {"cmd"}, two, {}, false}},
      {"cmd > one > \b", {true, {"cmd"}, ParsedFile{"", false}, {}, false}}, // an empty name is a name
  });
}

TEST(ParseArgs, DropsABareOperatorInEitherPass) {
  ParsedFile out{"out", false};
  expect_examples({
      {"cmd > > out", {true, {"cmd"}, out, {}, false}},
      {"cmd 2> > out", {true, {"cmd"}, out, {}, false}},
      {"cmd 1> 2>out", {true, {"cmd"}, {}, out, false}},
      {"cmd >out 2>", {true, {"cmd"}, out, {}, false}},
      {"cmd 2> 1>", arguments({"cmd"})},
  });
}

TEST(ParseArgs, TakesTwoRedirectionsAtMost) {
  ParsedFile out{"out", false}, err{"err", false};
  expect_examples({
      {"cmd 2>first >out 2>err", {true, {"cmd", "2>first"}, out, err, false}},
      {"cmd > first > out 2> err", {true, {"cmd", ">", "first"}, out, err, false}},
      {"cmd > out 2>&1 2>&1", {true, {"cmd", ">", "out"}, {}, {}, false}},
      {">one >two >three", {true, {">one"}, ParsedFile{"three", false}, {}, false}},
      {">one >two", {true, {">one"}, ParsedFile{"two", false}, {}, false}},
  });
}

TEST(ParseArgs, NeverUnquotesFileNames) {
  expect_examples({
      {"cmd > \"my file\"", {true, {"cmd"}, ParsedFile{"\"my file\"", false}, {}, false}},
      {"cmd 2>'e f'", {true, {"cmd"}, {}, ParsedFile{"'e f'", false}, false}},
      {"cmd >a\\ b", {true, {"cmd"}, ParsedFile{"a\\ b", false}, {}, false}},
      {"cmd > \"a\\\"b\"", {true, {"cmd"}, ParsedFile{"\"a\\\"b\"", false}, {}, false}},
  });
}

TEST(ParseArgs, ClearsTheFilesWhenAnArgumentFails) {
  // parse() looks at the plan's texts after a failure.
  expect_examples({
      {"cmd \"a\\\"b\" > out", kParseFailure},
      {"cmd \"a\\\"b\" >out 2>err", kParseFailure},
      {"cmd 'a\\'b' 2>&1 >> out", kParseFailure},
  });
}

TEST(ParseArgs, AcceptsFourThousandAndNinetySixCharacters) {
  std::string longest = "cmd " + std::string(4092, 'a');
  EXPECT_EQ(parse(longest), arguments({"cmd", std::string(4092, 'a')}));
  EXPECT_EQ(parse(longest + "a"), kParseFailure);
  EXPECT_EQ(parse(std::string(4096, ' ')), arguments({}));
  EXPECT_EQ(parse(std::string(4097, ' ')), kParseFailure);
}

TEST(ParseArgs, HoldsAsManyArgumentsAsALineCan) {
  std::string line;
  std::vector<std::string> expected;
  for (int i = 0; i < 2048; ++i) {
    line += "a ";
    expected.push_back("a");
    if (i > 40 && i % 97 != 0) continue;
    EXPECT_EQ(parse(line), arguments(expected)) << i;
  }
  EXPECT_EQ(parse(line), arguments(expected));
}

TEST(ParseArgs, FailsOnNullArgumentsAfterItClearedCountAndPlan) {
  char** vector = nullptr;
  int32_t count = 5;
  RedirectPlan plan{const_cast<char*>("x"), const_cast<char*>("y"), 1, 1, 1};
  EXPECT_EQ(ROQ_UTIL_ParseArgs(nullptr, &vector, &count, &plan), 1U);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(plan.pcStdoutFile, nullptr);
  EXPECT_EQ(plan.pcStderrFile, nullptr);
  EXPECT_EQ(plan.bStdoutAppend, 0);
  EXPECT_EQ(plan.bStderrAppend, 0);
  EXPECT_EQ(plan.bBackground, 0);

  count = 5;
  plan.bBackground = 1;
  EXPECT_EQ(ROQ_UTIL_ParseArgs("cmd", nullptr, &count, &plan), 1U);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(plan.bBackground, 0);
}

TEST(ParseArgs, WritesNeitherCountNorPlanWhenTheyAreNull) {
  char** vector = nullptr;
  ASSERT_EQ(ROQ_UTIL_ParseArgs("cmd a", &vector, nullptr, nullptr), 0U);
  EXPECT_STREQ(vector[0], "cmd");
  EXPECT_STREQ(vector[1], "a");
  EXPECT_EQ(vector[2], nullptr);
  ROQ_UTIL_FreeArgs(vector);
}

TEST(ParseArgs, GivesTheOutputsTextsOfTheirOwn) {
  char** vector = nullptr;
  RedirectPlan plan;
  ASSERT_EQ(ROQ_UTIL_ParseArgs("cmd 2>&1 >out", &vector, nullptr, &plan), 0U);
  EXPECT_STREQ(plan.pcStdoutFile, "out");
  EXPECT_STREQ(plan.pcStderrFile, "out");
  EXPECT_NE(plan.pcStdoutFile, plan.pcStderrFile);
  ROQ_UTIL_FreeArgs(vector);
  free(plan.pcStdoutFile);
  free(plan.pcStderrFile);
}

TEST(ParseArgs, LeavesTheLineAlone) {
  char line[] = "  cmd 'a b' \\c >out &";
  char copy[sizeof line];
  memcpy(copy, line, sizeof line);
  parse(line);
  EXPECT_EQ(memcmp(line, copy, sizeof line), 0);
}

TEST(FreeArgs, IgnoresNull) { ROQ_UTIL_FreeArgs(nullptr); }

} // namespace
} // namespace roq::test::process
