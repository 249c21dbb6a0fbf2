#include "colours.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

using namespace roq::tool;

TEST(ToolColours, AreForTerminalsOnly) {
  setenv("TERM", "xterm", 1);
  unsetenv("NO_COLOR");
  FILE* file = fopen("/dev/null", "w");
  EXPECT_FALSE(colours_allowed(file));
  fclose(file);
  FILE* terminal = fopen("/dev/ptmx", "r+");
  ASSERT_NE(terminal, nullptr);
  EXPECT_TRUE(colours_allowed(terminal));
  setenv("NO_COLOR", "1", 1);
  EXPECT_FALSE(colours_allowed(terminal));
  setenv("NO_COLOR", "", 1);
  EXPECT_TRUE(colours_allowed(terminal));
  setenv("TERM", "dumb", 1);
  EXPECT_FALSE(colours_allowed(terminal));
  fclose(terminal);
}

TEST(ToolColours, AreEmptyTextsWhereThereAreNone) {
  Colours none(false), some(true);
  for (Colour colour : {Colour::good, Colour::bad, Colour::doubtful, Colour::prominent, Colour::faint}) {
    EXPECT_STREQ(none.begin(colour), "");
    EXPECT_EQ(some.begin(colour)[0], '\033');
  }
  EXPECT_STREQ(none.end(), "");
  EXPECT_STREQ(some.end(), "\033[0m");
}

} // namespace
