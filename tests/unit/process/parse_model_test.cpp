#include "parsed.h"

#include <gtest/gtest.h>
#include <random>

namespace roq::test::process {
namespace {

constexpr int kGeneratedLines = 200000;

class LineGenerator {
public:
  std::string next() {
    std::string line;
    for (size_t pieces = below(12); pieces > 0; --pieces)
      line += kPieces[below(std::size(kPieces))];
    return line;
  }

  size_t below(size_t limit) { return random_() % limit; }

private:
  // Blanks and operators come often enough to meet at the end of a line.
  static constexpr const char* kPieces[] = {
      " ",    " ",    " ",    " ",    " ",    " ",  " ",     "\t",  "\b", "\n",   "\v",  "a",     "cmd",
      "-x",   "out",  "./",   ">",    ">",    ">>", "1>",    "2>",  "2>", "1>>",  "2>>", "2>&1",  "1>&2",
      "1>&1", "2>&2", " > ",  " >> ", " 2>",  " 1", " 2>&1", "&",   " &", "'",    "\"",  "'a b'", "\"c\"",
      "\\",   "\\\"", "\x01", "\xc3", "\x7f", "3>", "x>",    "x>>", "#",  "$(a)", "2>&", ">&2",   "1"};
  std::mt19937 random_{20240229};
};

TEST(ParseArgs, AgreesWithTheModelOnGeneratedLines) {
  LineGenerator lines;
  int failures = 0, redirected = 0, background = 0;
  for (int i = 0; i < kGeneratedLines; ++i) {
    std::string line = lines.next();
    Plan plan = lines.below(8) == 0 ? Plan::null : Plan::given;
    Parsed expected = parse_by_model(line, plan);
    ASSERT_EQ(parse(line, plan), expected) << in_quotes(line);
    failures += !expected.succeeded;
    redirected += expected.output.has_value() && expected.error.has_value();
    background += expected.background;
  }
  // The lines must be worth the comparison.
  EXPECT_GT(failures, kGeneratedLines / 50);
  EXPECT_LT(failures, kGeneratedLines / 2);
  EXPECT_GT(redirected, kGeneratedLines / 100);
  EXPECT_GT(background, kGeneratedLines / 100);
}

TEST(ParseArgs, AgreesWithTheModelOnGeneratedBytes) {
  std::mt19937 random{7};
  for (int i = 0; i < 20000; ++i) {
    std::string line(random() % 40, '\0');
    for (char& c : line)
      c = static_cast<char>(1 + random() % 255);
    ASSERT_EQ(parse(line), parse_by_model(line)) << in_quotes(line);
  }
}

} // namespace
} // namespace roq::test::process
