#include "netinfo/line_reader.h"
#include "unit/netinfo/table.h"
#include <fcntl.h>
#include <vector>

using namespace roq::netinfo;

namespace {

template <size_t size> std::vector<std::string> lines_of(std::string_view text) {
  LineReader table = table_of(text);
  std::vector<std::string> lines;
  char line[size];
  while (table.next(line))
    lines.emplace_back(line);
  return lines;
}

using Lines = std::vector<std::string>;

} // namespace

TEST(LineReader, DeliversLinesWithTheirLineEnds) {
  EXPECT_EQ(lines_of<16>("one\ntwo\n\nfour\n"), Lines({"one\n", "two\n", "\n", "four\n"}));
}

TEST(LineReader, DeliversALastLineWithoutLineEnd) { EXPECT_EQ(lines_of<16>("one\ntwo"), Lines({"one\n", "two"})); }

TEST(LineReader, FindsNoLineInAnEmptyTable) { EXPECT_EQ(lines_of<16>(""), Lines()); }

TEST(LineReader, CutsALongLineIntoFurtherLines) {
  EXPECT_EQ(lines_of<5>("abcdefghij\nk\n"), Lines({"abcd", "efgh", "ij\n", "k\n"}));
}

TEST(LineReader, CountsTheLineEndAsACharacterOfTheLine) {
  EXPECT_EQ(lines_of<5>("abc\nabcd\nabcde\n"), Lines({"abc\n", "abcd", "\n", "abcd", "e\n"}));
}

TEST(LineReader, PutsLinesTogetherThatTwoPiecesShare) {
  std::string text;
  Lines expected;
  for (size_t length = 1; length < 90; ++length) {
    expected.push_back(std::string(length, static_cast<char>('a' + length % 26)) + "\n");
    text += expected.back();
  }
  ASSERT_GT(text.size(), 3 * kPieceSize);
  EXPECT_EQ(lines_of<128>(text), expected);
}

TEST(LineReader, CutsALineThatIsLongerThanAPieceAtTheBuffersSize) {
  std::string text = std::string(5000, 'x') + "\ny\n";
  EXPECT_EQ(lines_of<1024>(text), Lines({std::string(1023, 'x'), std::string(1023, 'x'), std::string(1023, 'x'),
                                         std::string(1023, 'x'), std::string(908, 'x') + "\n", "y\n"}));
}

TEST(LineReader, EndsALineAtAZeroByteAndGoesOnBehindItsLineEnd) {
  using namespace std::string_view_literals;
  EXPECT_EQ(lines_of<16>("ab\0cd\nef\n"sv), Lines({"ab", "ef\n"}));
}

TEST(LineReader, PassesBytesAboveSevenBitsOn) { EXPECT_EQ(lines_of<16>("\x80\xff\xfe\n"), Lines({"\x80\xff\xfe\n"})); }

TEST(LineReader, WritesNothingBehindTheLineBuffer) {
  struct {
    char line[8];
    char canary[8];
  } buffer;
  memset(&buffer, 0x5a, sizeof buffer);
  LineReader table = table_of("123456789012345678\n");
  while (table.next(buffer.line)) {
  }
  for (char c : buffer.canary)
    EXPECT_EQ(c, 0x5a);
}

TEST(LineReader, ReadsNoFurtherPieceThanTheLineNeeds) {
  roq::UniqueFd file = file_of("first\n" + std::string(8000, 'x'));
  roq::UniqueFd same_offset(dup(file.get()));
  LineReader table(std::move(file));
  char line[32];
  ASSERT_TRUE(table.next(line));
  EXPECT_STREQ(line, "first\n");
  EXPECT_EQ(lseek(same_offset.get(), 0, SEEK_CUR), 1024);
}

TEST(LineReader, TakesWhatAShortReadDelivers) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  roq::UniqueFd writer(ends[1]);
  LineReader table{roq::UniqueFd(ends[0])};
  char line[32];
  ASSERT_EQ(write(writer.get(), "one\ntw", 6), 6);
  ASSERT_TRUE(table.next(line));
  EXPECT_STREQ(line, "one\n");
  ASSERT_EQ(write(writer.get(), "o\n", 2), 2);
  writer.reset();
  ASSERT_TRUE(table.next(line));
  EXPECT_STREQ(line, "two\n");
  EXPECT_FALSE(table.next(line));
}

TEST(LineReader, SkipsLinesAsTheBufferCutsThem) {
  LineReader table = table_of("header header\nline\n");
  char line[8];
  table.skip(line, 1);
  ASSERT_TRUE(table.next(line));
  EXPECT_STREQ(line, "header\n");
}

TEST(LineReader, OfAMissingFileIsNotOpen) { EXPECT_FALSE(LineReader("/nowhere/at/all").is_open()); }

TEST(LineReader, OfAFolderHasNoLines) {
  LineReader table("/");
  char line[8];
  EXPECT_TRUE(table.is_open());
  EXPECT_FALSE(table.next(line));
}

TEST(LineReader, OpensItsTableCloseOnExec) {
  LineReader table("/dev/null");
  ASSERT_TRUE(table.is_open());
  int lowest_free = dup(0);
  ASSERT_GT(lowest_free, 0);
  close(lowest_free);
  EXPECT_EQ(fcntl(lowest_free - 1, F_GETFD), FD_CLOEXEC);
}

TEST(LineReader, ClosesItsTableOnce) {
  roq::UniqueFd file = file_of("");
  int number = file.get();
  {
    LineReader table(std::move(file));
    EXPECT_EQ(table.close(), 0);
    EXPECT_FALSE(table.is_open());
    EXPECT_EQ(fcntl(number, F_GETFD), -1);
  }
}

TEST(LineReader, ReportsThatItsTableCouldNotBeClosed) {
  roq::UniqueFd file = file_of("");
  int number = file.get();
  LineReader table(std::move(file));
  close(number);
  EXPECT_EQ(table.close(), -1);
}
