#include "process/unquote.h"

#include <gtest/gtest.h>
#include <string>

using roq::process::unquote;

namespace {

std::string unquoted(std::string text) {
  EXPECT_TRUE(unquote(text.data())) << text;
  return text.c_str();
}

TEST(Unquote, RemovesQuotesAndTheBackslashesOutsideThem) {
  EXPECT_EQ(unquoted(""), "");
  EXPECT_EQ(unquoted("plain"), "plain");
  EXPECT_EQ(unquoted("a'b c'd"), "ab cd");
  EXPECT_EQ(unquoted("'\\'"), "\\");
  EXPECT_EQ(unquoted("\\'a\\\\"), "'a\\");
  EXPECT_EQ(unquoted("\"'\"'\"'"), "'\"");
}

TEST(Unquote, RemovesABackslashAtTheEnd) {
  EXPECT_EQ(unquoted("a\\"), "a");
  EXPECT_EQ(unquoted("\\"), "");
}

TEST(Unquote, FailsOnARunThatIsLeftOpen) {
  for (std::string text : {"'", "a\"b", "''\"", "\"a\\\"b\""})
    EXPECT_FALSE(unquote(text.data())) << text;
}

} // namespace
