#include "netinfo/fields.h"
#include <gtest/gtest.h>
#include <string>

using namespace roq::netinfo;

TEST(Fields, AreEmptyAtFirst) {
  Fields<3, 8> fields;
  for (size_t column = 0; column < 3; ++column)
    EXPECT_STREQ(fields[column], "");
}

TEST(Fields, AreWhatStandsBetweenWhiteSpaceOfAnyKind) {
  Fields<6, 8> fields;
  fields.split(" \t one  two\tthree\vfour\ffive\rsix\n");
  EXPECT_STREQ(fields[0], "one");
  EXPECT_STREQ(fields[1], "two");
  EXPECT_STREQ(fields[2], "three");
  EXPECT_STREQ(fields[3], "four");
  EXPECT_STREQ(fields[4], "five");
  EXPECT_STREQ(fields[5], "six");
}

TEST(Fields, KeepWhatAShortLineDoesNotReach) {
  Fields<3, 8> fields;
  fields.split("a b c\n");
  fields.split("d\n");
  EXPECT_STREQ(fields[0], "d");
  EXPECT_STREQ(fields[1], "b");
  EXPECT_STREQ(fields[2], "c");
  fields.split(" \n");
  EXPECT_STREQ(fields[0], "d");
}

TEST(Fields, AreCutToTheirBufferAndTheRestIsNoFieldOfItsOwn) {
  Fields<2, 4> fields;
  fields.split("abcdefgh xyz\n");
  EXPECT_STREQ(fields[0], "abc");
  EXPECT_STREQ(fields[1], "xyz");
}

TEST(Fields, PassFurtherColumnsOver) {
  Fields<2, 4> fields;
  fields.split("a b c d\n");
  EXPECT_STREQ(fields[0], "a");
  EXPECT_STREQ(fields[1], "b");
}

TEST(Fields, BeyondTheLastBufferShareIt) {
  Fields<2, 8> fields;
  fields.split("a b c d e\n", 4);
  EXPECT_STREQ(fields[0], "a");
  EXPECT_STREQ(fields[1], "d");
}

TEST(Fields, HoldBytesAboveSevenBits) {
  Fields<2, 8> fields;
  fields.split("\xa0\x85 \xff");
  EXPECT_STREQ(fields[0], "\xa0\x85");
  EXPECT_STREQ(fields[1], "\xff");
}

TEST(Fields, NeverWriteBeyondTheirBuffers) {
  char buffers[3][4];
  memset(buffers, 0x5a, sizeof buffers);
  split_fields("abcdefgh ijklmnop qrstuvwx", {buffers[0], 4, 2}, 3);
  EXPECT_STREQ(buffers[0], "abc");
  EXPECT_STREQ(buffers[1], "qrs");
  for (char c : buffers[2])
    EXPECT_EQ(c, 0x5a);
}
