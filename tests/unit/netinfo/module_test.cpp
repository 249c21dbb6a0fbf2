#include "netinfo/module.h"
#include "unit/netinfo/table.h"
#include <roqutil/netinfo.h>

using namespace roq::netinfo;

namespace {

bool lists(std::string_view text, const char* name) {
  LineReader table = table_of(text);
  return lists_module(table, name);
}

constexpr char kModules[] = "foo_usb 16384 0 - Live 0x0000000000000000\n"
                            "ext4 737280 1 - Live 0x0000000000000000 (O)\n"
                            "jbd2 131072 1 ext4, Live 0x0000000000000000\n";

} // namespace

TEST(ModuleTable, ListsAModuleByItsName) {
  EXPECT_TRUE(lists(kModules, "foo_usb"));
  EXPECT_TRUE(lists(kModules, "jbd2"));
  EXPECT_FALSE(lists(kModules, "vfat"));
}

TEST(ModuleTable, ListsAModuleWhoseNameEndsALongerOne) { EXPECT_TRUE(lists(kModules, "usb")); }

TEST(ModuleTable, DoesNotListAModuleWhoseNameBeginsALongerOne) {
  EXPECT_FALSE(lists(kModules, "foo"));
  EXPECT_FALSE(lists(kModules, "ext"));
}

TEST(ModuleTable, ListsWhateverTextABlankFollowsInAnyColumn) {
  for (const char* text : {"16384", "Live", "-", "ext4,", "x0000000000000000", "0 - Live"}) {
    EXPECT_TRUE(lists(kModules, text)) << text;
  }
}

TEST(ModuleTable, ExaminesOnlyTheFirstOccurrenceInALine) {
  EXPECT_FALSE(lists("usbcore_usb 16384 0 - Live 0x0\n", "usb"));
  EXPECT_TRUE(lists("usbcore_usb 16384 0 - Live 0x0\nusb 1 0 - Live 0x0\n", "usb"));
}

TEST(ModuleTable, TakesNothingButABlankForTheEndOfAName) {
  EXPECT_FALSE(lists("usb\t1 0\n", "usb"));
  EXPECT_FALSE(lists("usb\n", "usb"));
  EXPECT_FALSE(lists("usb", "usb"));
  EXPECT_FALSE(lists("usb\xa0 1\n", "usb"));
}

TEST(ModuleTable, ListsTheEmptyNameInALineThatBeginsWithABlank) {
  EXPECT_FALSE(lists(kModules, ""));
  EXPECT_TRUE(lists(std::string(kModules) + " x\n", ""));
}

TEST(ModuleTable, ListsNothingWhenItIsEmpty) { EXPECT_FALSE(lists("", "usb")); }

TEST(ModuleTable, IsReadInLinesOf511Characters) {
  std::string padding(508, 'x');
  EXPECT_FALSE(lists(padding + "usb 1\n", "usb")) << "the blank is in the next line";
  EXPECT_TRUE(lists(padding.substr(1) + "usb 1\n", "usb"));
  EXPECT_TRUE(lists(padding + "xxxusb 1\n", "usb")) << "the name begins the next line";
}

TEST(ModuleTable, IsNeverSearchedForNoName) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(ROQ_UTIL_IsModuleInserted(nullptr), 0U);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(ModuleFunctions, RefuseNullPointersSilently) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(ROQ_UTIL_InsertModule(nullptr, "/lib"), 0U);
  EXPECT_EQ(ROQ_UTIL_InsertModule("usb", nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_RemoveModule(nullptr, "/lib"), 0U);
  EXPECT_EQ(ROQ_UTIL_RemoveModule("usb", nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_InsertModulesDir(nullptr), 0U);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(InsertModulesDir, OfADirectoryThatCannotBeOpenedGivesZero) {
  EXPECT_EQ(ROQ_UTIL_InsertModulesDir("/nowhere/at/all"), 0U);
  EXPECT_EQ(ROQ_UTIL_InsertModulesDir("/dev/null"), 0U);
  EXPECT_EQ(ROQ_UTIL_InsertModulesDir(""), 0U);
}
