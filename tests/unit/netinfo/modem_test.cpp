#include "netinfo/modem.h"
#include "unit/netinfo/table.h"
#include <cstring>
#include <optional>
#include <roqutil/netinfo.h>

using namespace roq::netinfo;

namespace {

std::optional<std::string> node(std::string_view table, const char* keyword) {
  char out[96];
  memset(out, 0x5a, sizeof out);
  LineReader reader = table_of(table);
  if (!find_modem_node(reader, keyword, out)) {
    EXPECT_EQ(out[0], 0x5a) << "nothing found, yet something written";
    return std::nullopt;
  }
  for (size_t i = strlen(out) + 1; i < sizeof out; ++i)
    EXPECT_EQ(out[i], 0x5a);
  return out;
}

struct Answer {
  uint32_t result;
  std::string printed;
};

Answer ask(uint32_t kind, char* out) {
  testing::internal::CaptureStdout();
  uint32_t result = ROQ_Get3GUsbStickNode(kind, out);
  return {result, testing::internal::GetCapturedStdout()};
}

} // namespace

TEST(ModemNode, IsWhatFollowsTheColonOfTheLineWithTheKeyword) {
  EXPECT_EQ(node("pcui:ttyUSB2\nmodem:ttyUSB0\n", "modem"), "ttyUSB0");
  EXPECT_EQ(node("pcui:ttyUSB2\nmodem:ttyUSB0\n", "pcui"), "ttyUSB2");
}

TEST(ModemNode, KeepsItsBlanks) { EXPECT_EQ(node("modem: ttyUSB0 \r\n", "modem"), " ttyUSB0 \r"); }

TEST(ModemNode, IsWhatFollowsTheFirstColon) { EXPECT_EQ(node("modem:a:b\n", "modem"), "a:b"); }

TEST(ModemNode, MayStandInALineWhoseKeywordIsAnywhere) {
  EXPECT_EQ(node("port:the modem\n", "modem"), "the modem");
  EXPECT_EQ(node("xmodemx:n\n", "modem"), "n");
}

TEST(ModemNode, IsSoughtFurtherWhereALineHasNoColon) {
  EXPECT_EQ(node("modem ttyUSB0\nmodem:ttyUSB1\n", "modem"), "ttyUSB1");
}

TEST(ModemNode, IsThatOfTheFirstLine) { EXPECT_EQ(node("modem:a\nmodem:b\n", "modem"), "a"); }

TEST(ModemNode, MayBeEmpty) {
  EXPECT_EQ(node("modem:\n", "modem"), "");
  EXPECT_EQ(node("modem:", "modem"), "");
}

TEST(ModemNode, IsReadFromALineWithoutLineEnd) { EXPECT_EQ(node("modem:ttyUSB0", "modem"), "ttyUSB0"); }

TEST(ModemNode, IsNotFoundWithoutItsKeyword) {
  EXPECT_EQ(node("", "modem"), std::nullopt);
  EXPECT_EQ(node("\n:\nMODEM:ttyUSB0\nvoice:ttyUSB1\n", "modem"), std::nullopt);
}

TEST(ModemNode, IsCutWhereTheLineIs) {
  // 63 characters are a line; what is left of it is a line of its own.
  std::string name(80, 'n');
  EXPECT_EQ(node("modem:" + name + "\n", "modem"), name.substr(0, 57));
  EXPECT_EQ(node(std::string(63, 'x') + "modem:n\n", "modem"), "n");
  EXPECT_EQ(node(std::string(60, 'x') + "modem:n\n", "modem"), std::nullopt);
}

TEST(ModemNode, CanHoldBytesAboveSevenBits) { EXPECT_EQ(node("modem:\xff\x80\n", "modem"), "\xff\x80"); }

TEST(ModemNode, OfAKindOutsideOneToThreeIsRefusedWithALine) {
  char out[64] = "kept";
  for (uint32_t kind : {0U, 4U, 0x101U, 0xFFFFFFFFU}) {
    Answer answer = ask(kind, out);
    EXPECT_EQ(answer.result, 0U) << kind;
    EXPECT_EQ(answer.printed, "\n fail, the para is invalid.\n") << kind;
  }
  EXPECT_STREQ(out, "kept");
}

TEST(ModemNode, WithoutABufferIsRefusedWithALine) {
  for (uint32_t kind : {1U, 2U, 3U, 9U}) {
    Answer answer = ask(kind, nullptr);
    EXPECT_EQ(answer.result, 0U) << kind;
    EXPECT_EQ(answer.printed, "\n fail, the para is invalid.\n") << kind;
  }
}
