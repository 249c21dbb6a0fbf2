#include "support/text.h"

#include "support/guarded_text.h"
#include <gtest/gtest.h>
#include <limits>

namespace {

TEST(CopyCut, CopiesWhatFitsAndTerminatesIt) {
  char out[] = "########";
  roq::copy_cut(out, 4, "ab");
  EXPECT_EQ(std::string(out, 8), std::string("ab\0#####", 8));
  roq::copy_cut(out, 4, "abcdef");
  EXPECT_EQ(std::string(out, 8), std::string("abc\0####", 8));
  roq::copy_cut(out, 1, "abcdef");
  EXPECT_EQ(std::string(out, 8), std::string("\0bc\0####", 8));
}

TEST(CopyCut, ReadsNothingBehindWhatItTakes) {
  roq::test::GuardedRoom room(16);
  char out[4];
  roq::copy_cut(out, sizeof out, room.hold_at_end("abc"));
  EXPECT_STREQ(out, "abc");
}

TEST(CopyCut, TakesAnySizeThatThereIs) {
  char out[4];
  roq::copy_cut(out, std::numeric_limits<size_t>::max(), "abc");
  EXPECT_STREQ(out, "abc");
}

TEST(IsLongerThan, ComparesTheLengthWithTheLimit) {
  EXPECT_FALSE(roq::is_longer_than("", 0));
  EXPECT_TRUE(roq::is_longer_than("a", 0));
  EXPECT_FALSE(roq::is_longer_than("abc", 3));
  EXPECT_TRUE(roq::is_longer_than("abcd", 3));
}

TEST(IsLongerThan, ReadsNothingBehindTheFirstCharacterTooMany) {
  roq::test::GuardedRoom room(16);
  EXPECT_TRUE(roq::is_longer_than(room.hold_at_end("abcd"), 3));
}

} // namespace
