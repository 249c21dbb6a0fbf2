#include "launched.h"

#include <sys/stat.h>

namespace roq::test::process {
namespace {

class WriteFile : public testing::Test {
protected:
  ~WriteFile() override {
    for (const auto& entry : std::filesystem::directory_iterator("/var/log"))
      std::filesystem::remove_all(entry);
  }
};

TEST_F(WriteFile, ReplacesALogFileByFormattedText) {
  EXPECT_EQ(ROQ_WriteFile("roq", "%d", 5), 0);
  EXPECT_EQ(content_of("/var/log/roq"), "5");
  EXPECT_EQ(ROQ_WriteFile("roq", "%s and %s, %c%% %08x\n", "one", "another", 'c', 0xbeefU), 0);
  EXPECT_EQ(content_of("/var/log/roq"), "one and another, c% 0000beef\n");
  EXPECT_EQ(ROQ_WriteFile("roq", "%s", ""), 0);
  EXPECT_EQ(content_of("/var/log/roq"), "");
}

TEST_F(WriteFile, WritesTextsOfAnyLength) {
  std::string text(1000000, 'x');
  EXPECT_EQ(ROQ_WriteFile("roq", "%s", text.c_str()), 0);
  EXPECT_EQ(content_of("/var/log/roq"), text);
}

TEST_F(WriteFile, WritesIntoFoldersThatExist) {
  EXPECT_EQ(ROQ_WriteFile("sub/roq", "text"), 0);
  EXPECT_FALSE(std::filesystem::exists("/var/log/sub"));
  std::filesystem::create_directory("/var/log/sub");
  EXPECT_EQ(ROQ_WriteFile("sub/roq", "text"), 0);
  EXPECT_EQ(content_of("/var/log/sub/roq"), "text");
}

TEST_F(WriteFile, CutsThePathAt127Characters) {
  EXPECT_EQ(ROQ_WriteFile(std::string(300, 'a').c_str(), "text"), 0);
  EXPECT_EQ(content_of("/var/log/" + std::string(118, 'a')), "text");
}

TEST_F(WriteFile, GivesZeroAndPrintsNothingWhenTheFileCannotBeOpened) {
  Outcome outcome = run_in_child([] {
    std::filesystem::create_directory("/var/log/folder");
    EXPECT_EQ(ROQ_WriteFile("folder", "text"), 0);
    EXPECT_EQ(ROQ_WriteFile("", "text"), 0);
    EXPECT_EQ(ROQ_WriteFile("no/such/folder", "text"), 0);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST_F(WriteFile, GivesTheResultOfTheCloseOnAFullDevice) {
  EXPECT_EQ(ROQ_WriteFile("../../dev/full", "text"), -1);
  EXPECT_EQ(ROQ_WriteFile("../../dev/full", "%s", ""), 0); // nothing to write
}

TEST_F(WriteFile, DoesNothingForNullArguments) {
  EXPECT_EQ(ROQ_WriteFile(nullptr, "text"), 0);
  // The compiler knows the format of the function itself.
  int32_t (*write_file)(const char*, const char*, ...) = ROQ_WriteFile;
  EXPECT_EQ(write_file("roq", nullptr), 0);
  EXPECT_FALSE(std::filesystem::exists("/var/log/roq"));
}

TEST_F(WriteFile, LeavesNoDescriptorOpen) {
  std::set<int> before = open_descriptors();
  ROQ_WriteFile("roq", "text");
  ROQ_WriteFile("no/such/folder", "text");
  ROQ_WriteFile("../../dev/full", "text");
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(WriteFile, GivesZeroWhenTheWritingFailedBeforeTheClose) {
  std::string text(1000000, 'x');
  EXPECT_EQ(ROQ_WriteFile("../../dev/full", "%s", text.c_str()), 0);
}

} // namespace
} // namespace roq::test::process
