#include "gvar/map.h"

#include "support/store_segment.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

namespace {

using roq::test::kSemaphoreOfSegment;
using roq::test::StoreSegment;
using namespace roq::tool::gvar;

Report look_at(const StoreSegment& segment) {
  return inspect({segment.bytes(), segment.size(), segment.base()}, {segment.module(), kSemaphoreOfSegment});
}

std::string picture_of(const StoreSegment& segment, bool colours = false) {
  roq::tool::Text out;
  append_map(out, look_at(segment), roq::tool::Colours(colours));
  return out.c_str();
}

size_t count(const std::string& text, char wanted) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), wanted));
}

TEST(ToolMap, DrawsBlocksInAddressOrder) {
  StoreSegment segment(2, 1024);
  segment.set(1, "12345678");
  roq::gvar::pool_allocate(segment.pool(), 24);
  std::string picture = picture_of(segment);
  // From the high end of the pool: value, node, own block; four bytes per character.
  EXPECT_NE(picture.find(".????????oooooo####\n"), std::string::npos) << picture;
  EXPECT_EQ(picture.rfind("0x2f100034 ...", 0), 0U) << picture;
  EXPECT_NE(picture.find("one character: 4 bytes"), std::string::npos);
}

TEST(ToolMap, HasAtMostHundredColumns) {
  for (uint32_t size : {1024U, 5000U, 0x80000U}) {
    StoreSegment segment(2, size);
    std::istringstream lines(picture_of(segment));
    std::string line;
    size_t rows = 0;
    for (; std::getline(lines, line); ++rows)
      EXPECT_LE(line.size(), kMapWidth);
    EXPECT_LE(rows, 34U);
  }
}

TEST(ToolMap, UsesColoursOnlyWhenAsked) {
  StoreSegment segment(2, 1024);
  segment.set(1, "12345678");
  EXPECT_EQ(count(picture_of(segment), '\033'), 0U);
  EXPECT_GT(count(picture_of(segment, true), '\033'), 3U);
}

TEST(ToolMap, ShowsWhatIsBehindABreakAsUnknown) {
  StoreSegment segment(2, 1024);
  write32(segment.bytes(), 52 + kBsizeAt, 3);
  std::string picture = picture_of(segment);
  EXPECT_EQ(count(picture, '.'), 1U) << picture; // the legend's
  EXPECT_GT(count(picture, 'x'), 200U);
}

TEST(ToolMap, DrawsNothingWhereThereIsNoPool) {
  std::vector<uint8_t> bytes(1024, 0);
  roq::tool::Text out;
  append_map(out, inspect({bytes.data(), 10, 0}, {2, 1}), roq::tool::Colours(false));
  append_svg(out, inspect({bytes.data(), 10, 0}, {2, 1}), 2);
  EXPECT_FALSE(out.empty());
}

TEST(ToolSvg, HasAGroupWithATitlePerBlock) {
  StoreSegment segment(2, 4096);
  segment.set(1, "12345678");
  segment.set(2, std::string(1000, 'x'));
  roq::tool::Text out;
  Report report = look_at(segment);
  append_svg(out, report, 2);
  std::string svg = out.c_str();
  size_t groups = 0;
  for (size_t at = svg.find("<g>"); at != std::string::npos; at = svg.find("<g>", at + 1))
    ++groups;
  EXPECT_EQ(groups, report.blocks.size());
  EXPECT_NE(svg.find("<title>value, 1008 bytes at 0x"), std::string::npos);
  EXPECT_NE(svg.find("variable 0x00020002</title>"), std::string::npos);
  EXPECT_EQ(svg.rfind("</svg>\n"), svg.size() - 7);
}

} // namespace
