#include "support/fields.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

std::vector<std::string> fields_of(std::string text, char separator) {
  roq::FieldSplitter splitter(text.data(), separator);
  std::vector<std::string> fields;
  while (const char* field = splitter.next())
    fields.emplace_back(field);
  return fields;
}

std::vector<std::string> tokens_of(std::string text, char separator) {
  const char separators[] = {separator, '\0'};
  char* rest = nullptr;
  std::vector<std::string> tokens;
  for (char* token = strtok_r(text.data(), separators, &rest); token != nullptr;
       token = strtok_r(nullptr, separators, &rest)) {
    tokens.emplace_back(token);
  }
  return tokens;
}

using Fields = std::vector<std::string>;

TEST(FieldSplitter, TakesTheFieldsBetweenSeparators) {
  EXPECT_EQ(fields_of("1.22.333", '.'), (Fields{"1", "22", "333"}));
}

TEST(FieldSplitter, SkipsEmptyFields) {
  EXPECT_EQ(fields_of("..1..2.", '.'), (Fields{"1", "2"}));
  EXPECT_EQ(fields_of("...", '.'), Fields{});
  EXPECT_EQ(fields_of("", '.'), Fields{});
}

TEST(FieldSplitter, GoesOnGivingNullAtTheEnd) {
  char text[] = "a";
  roq::FieldSplitter splitter(text, '.');
  EXPECT_STREQ(splitter.next(), "a");
  EXPECT_EQ(splitter.next(), nullptr);
  EXPECT_EQ(splitter.next(), nullptr);
}

TEST(FieldSplitter, TakesEveryShortTextAsTheTokeniserDoes) {
  constexpr char kCharacters[] = {'.', 'a', '\x80', ' '};
  for (int code = 0; code < 4 * 4 * 4 * 4 * 4; ++code) {
    std::string text;
    for (int rest = code; rest != 0; rest /= 4)
      text += kCharacters[rest % 4];
    EXPECT_EQ(fields_of(text, '.'), tokens_of(text, '.')) << '"' << text << '"';
  }
}

} // namespace
