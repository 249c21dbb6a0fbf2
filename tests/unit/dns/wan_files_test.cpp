#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <roqutil/dns.h>
#include <string>
#include <unistd.h>

namespace {

class WanReadFirstLine : public testing::Test {
protected:
  WanReadFirstLine() {
    const int file = mkstemp(path_);
    EXPECT_GE(file, 0);
    close(file);
    memset(line_, 'E', sizeof line_);
  }
  ~WanReadFirstLine() override { unlink(path_); }

  int32_t read(const std::string& content, int32_t size = 32) {
    FILE* file = fopen(path_, "w");
    fwrite(content.data(), 1, content.size(), file);
    fclose(file);
    return Wan_readFirstLine(path_, line_, size);
  }

  char path_[64] = "/tmp/roqutil-first-line-XXXXXX";
  char line_[64];
};

TEST_F(WanReadFirstLine, IsCutAtTheFirstWhiteSpace) {
  for (const char* content : {"ppp0\n", "ppp0", "ppp0 up\n", "ppp0\tup", "ppp0\r\n", "ppp0\vx", "ppp0\nsecond\n"}) {
    EXPECT_EQ(read(content), 0);
    EXPECT_STREQ(line_, "ppp0") << content;
  }
}

TEST_F(WanReadFirstLine, OfALineThatBeginsWithWhiteSpaceIsEmpty) {
  EXPECT_EQ(read(" ppp0\n"), 0);
  EXPECT_STREQ(line_, "");
  EXPECT_EQ(read("\nppp0\n"), 0);
  EXPECT_STREQ(line_, "");
}

TEST_F(WanReadFirstLine, OfAnEmptyFileIsEmpty) {
  EXPECT_EQ(read(""), 0);
  EXPECT_STREQ(line_, "");
}

TEST_F(WanReadFirstLine, IsCutToTheSizeLessOne) {
  EXPECT_EQ(read("0123456789\n", 5), 0);
  EXPECT_STREQ(line_, "0123");
  EXPECT_EQ(line_[5], 'E');
  EXPECT_EQ(read(std::string(100000, 'x'), 64), 0);
  EXPECT_EQ(strlen(line_), 63U);
}

TEST_F(WanReadFirstLine, OfSizeOneIsEmpty) {
  EXPECT_EQ(read("ppp0\n", 1), 0);
  EXPECT_EQ(line_[0], '\0');
  EXPECT_EQ(line_[1], 'E');
}

TEST_F(WanReadFirstLine, OfNoSizeFailsAndWritesNothing) {
  EXPECT_EQ(read("ppp0\n", 0), -1);
  EXPECT_EQ(read("ppp0\n", -1), -1);
  EXPECT_EQ(line_[0], 'E');
}

TEST_F(WanReadFirstLine, OfAMissingFileFailsAndWritesNothing) {
  EXPECT_EQ(Wan_readFirstLine("/nonexistent/file", line_, 32), -1);
  EXPECT_EQ(Wan_readFirstLine(nullptr, line_, 32), -1);
  EXPECT_EQ(line_[0], 'E');
  EXPECT_EQ(Wan_readFirstLine(path_, nullptr, 32), -1);
}

TEST_F(WanReadFirstLine, WritesNothingBehindTheLine) {
  EXPECT_EQ(read("ab\ncdefgh\n"), 0);
  EXPECT_EQ(std::string(line_ + 4, 8), "EEEEEEEE");
}

} // namespace
