#include "system/netinfo/scene.h"
#include <algorithm>
#include <dirent.h>
#include <gtest/gtest.h>
#include <roqutil/netinfo.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace roq::scene;

namespace {

constexpr char kRecord[] = "/var/tmp/commands";
// One line per command: the tool's name and its arguments in brackets.
constexpr char kRecorder[] = "{ printf %s \"${0##*/}\"; printf ' [%s]' \"$@\"; echo; } >>/var/tmp/commands\n";

// A machine whose tools write down how they are called.
class RecordingTools : public testing::Test {
protected:
  void SetUp() override {
    for (const char* tool : {"/var/insmod", "/var/rmmod"})
      write_script(tool, kRecorder);
    unlink(kRecord);
  }

  void TearDown() override {
    for (const char* file : {"/var/insmod", "/var/rmmod", kRecord})
      unlink(file);
  }
};

using ModuleCommands = RecordingTools;

void load_list(std::string_view modules) {
  hide_proc();
  write_file("/proc/modules", modules);
}

std::string take_commands() {
  std::string commands = read_file(kRecord);
  unlink(kRecord);
  return commands;
}

constexpr char kUsbIsLoaded[] = "usb 16384 0 - Live 0x0000000000000000\n";

} // namespace

TEST_F(ModuleCommands, LoadAModuleThatIsNotLoaded) {
  in_child([] {
    load_list(kUsbIsLoaded);
    EXPECT_EQ(printed_by([] { EXPECT_EQ(ROQ_UTIL_InsertModule("vfat", "/lib/modules"), 1U); }), "");
    EXPECT_EQ(take_commands(), "insmod [/lib/modules/vfat.ko]\n");
  });
}

TEST_F(ModuleCommands, DoNothingForAModuleThatIsLoaded) {
  in_child([] {
    load_list(kUsbIsLoaded);
    EXPECT_EQ(ROQ_UTIL_IsModuleInserted("usb"), 1U);
    EXPECT_EQ(ROQ_UTIL_InsertModule("usb", "/lib/modules"), 1U);
    EXPECT_EQ(take_commands(), "");
  });
}

TEST_F(ModuleCommands, UnloadAModuleThatIsLoaded) {
  in_child([] {
    load_list(kUsbIsLoaded);
    EXPECT_EQ(printed_by([] { EXPECT_EQ(ROQ_UTIL_RemoveModule("usb", "/lib/modules"), 1U); }), "");
    EXPECT_EQ(take_commands(), "rmmod [/lib/modules/usb.ko]\n");
  });
}

TEST_F(ModuleCommands, DoNothingToUnloadAModuleThatIsNotLoaded) {
  in_child([] {
    load_list(kUsbIsLoaded);
    EXPECT_EQ(ROQ_UTIL_IsModuleInserted("vfat"), 0U);
    EXPECT_EQ(ROQ_UTIL_RemoveModule("vfat", "/lib/modules"), 1U);
    EXPECT_EQ(take_commands(), "");
  });
}

TEST_F(ModuleCommands, TakeTheEndOfALongerNameForTheModule) {
  in_child([] {
    load_list("foo_usb 16384 0 - Live 0x0000000000000000\n");
    EXPECT_EQ(ROQ_UTIL_InsertModule("usb", "/lib"), 1U);
    EXPECT_EQ(take_commands(), "");
    EXPECT_EQ(ROQ_UTIL_RemoveModule("usb", "/lib"), 1U);
    EXPECT_EQ(take_commands(), "rmmod [/lib/usb.ko]\n");
  });
}

TEST_F(ModuleCommands, WithoutATableLoadButDoNotUnload) {
  in_child([] {
    hide_proc();
    constexpr char kLine[] = "Can't Open File:/proc/modules\n";
    EXPECT_EQ(printed_by([] { EXPECT_EQ(ROQ_UTIL_IsModuleInserted("usb"), 0U); }), kLine);
    EXPECT_EQ(printed_by([] { EXPECT_EQ(ROQ_UTIL_InsertModule("usb", "/lib"), 1U); }), kLine);
    EXPECT_EQ(take_commands(), "insmod [/lib/usb.ko]\n");
    EXPECT_EQ(printed_by([] { EXPECT_EQ(ROQ_UTIL_RemoveModule("usb", "/lib"), 1U); }), kLine);
    EXPECT_EQ(take_commands(), "");
  });
}

TEST_F(ModuleCommands, ReportAnIssuedCommandEvenWhenItFails) {
  in_child([] {
    load_list(kUsbIsLoaded);
    write_script("/var/insmod", "exit 1\n");
    write_script("/var/rmmod", "kill -9 $$\n");
    EXPECT_EQ(ROQ_UTIL_InsertModule("vfat", "/lib"), 1U);
    EXPECT_EQ(ROQ_UTIL_RemoveModule("usb", "/lib"), 1U);
  });
}

TEST_F(ModuleCommands, ReportAnIssuedCommandEvenWhenThereIsNoTool) {
  in_child([] {
    load_list(kUsbIsLoaded);
    unlink("/var/insmod");
    for (const char* folder : {"/usr/bin", "/usr/sbin"})
      ASSERT_EQ(mount("empty", folder, "tmpfs", 0, nullptr), 0);
    EXPECT_EQ(ROQ_UTIL_InsertModule("vfat", "/lib"), 1U);
  });
}

TEST_F(ModuleCommands, AreFoundInBinToo) {
  in_child([] {
    load_list(kUsbIsLoaded);
    mkdir("/var/tmp/tools", 0755);
    ASSERT_EQ(rename("/var/insmod", "/var/tmp/tools/insmod"), 0);
    put_into_bin("/var/tmp/tools");
    EXPECT_EQ(ROQ_UTIL_InsertModule("vfat", "/lib"), 1U);
    EXPECT_EQ(take_commands(), "insmod [/lib/vfat.ko]\n");
    unlink("/var/tmp/tools/insmod");
  });
}

TEST_F(ModuleCommands, AreCutAt511Characters) {
  in_child([] {
    load_list("");
    std::string directory = "/" + std::string(490, 'd');
    EXPECT_EQ(ROQ_UTIL_InsertModule("0123456789abcdef", directory.c_str()), 1U);
    std::string command = "insmod " + directory + "/0123456789abcdef.ko";
    ASSERT_GT(command.size(), 511U);
    EXPECT_EQ(take_commands(), "insmod [" + command.substr(7, 504) + "]\n");
    EXPECT_EQ(ROQ_UTIL_InsertModule("0", (directory + std::string(600, 'e')).c_str()), 1U);
    EXPECT_EQ(take_commands(), "insmod [" + (directory + std::string(600, 'e')).substr(0, 504) + "]\n");
  });
}

TEST_F(ModuleCommands, OfExactly511CharactersAreWhole) {
  in_child([] {
    load_list("");
    std::string directory = "/" + std::string(498, 'd');
    EXPECT_EQ(ROQ_UTIL_InsertModule("x", directory.c_str()), 1U);
    EXPECT_EQ(take_commands(), "insmod [" + directory + "/x.ko]\n");
  });
}

TEST_F(ModuleCommands, SplitBlanksInNamesAsACommandLineDoes) {
  in_child([] {
    load_list("");
    EXPECT_EQ(ROQ_UTIL_InsertModule("a b", "/my lib"), 1U);
    EXPECT_EQ(take_commands(), "insmod [/my] [lib/a] [b.ko]\n");
  });
}

TEST_F(ModuleCommands, LeaveNoDescriptorOpen) {
  in_child([] {
    load_list(kUsbIsLoaded);
    std::vector<int> before = open_descriptors();
    ROQ_UTIL_InsertModule("vfat", "/lib");
    ROQ_UTIL_RemoveModule("usb", "/lib");
    ROQ_UTIL_IsModuleInserted("usb");
    ROQ_UTIL_InsertModulesDir("/var");
    ROQ_UTIL_InsertModulesDir("/nowhere");
    EXPECT_EQ(open_descriptors(), before);
  });
}

namespace {

constexpr char kDirectory[] = "/var/tmp/modules";

void fill_directory(const std::vector<std::string>& names) {
  run(std::string("rm -rf ") + kDirectory + " && mkdir " + kDirectory);
  for (const std::string& name : names)
    write_file(kDirectory + ("/" + name), "");
}

std::string loading(const std::string& module) {
  return std::string("insmod [") + kDirectory + "/" + module + ".ko]\n";
}

std::vector<std::string> listed_names() {
  std::vector<std::string> names;
  DIR* directory = opendir(kDirectory);
  while (dirent* entry = readdir(directory))
    names.emplace_back(entry->d_name);
  closedir(directory);
  return names;
}

} // namespace

TEST_F(ModuleCommands, OfADirectoryGoOnBehindOneThatFails) {
  in_child([] {
    load_list("");
    write_script("/var/insmod", std::string(kRecorder) + "exit 1\n");
    fill_directory({"a.ko", "b.ko"});
    EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U);
    std::string commands = take_commands();
    EXPECT_EQ(std::count(commands.begin(), commands.end(), '\n'), 2) << commands;
    unlink("/proc/modules");
    constexpr char kLine[] = "Can't Open File:/proc/modules\n";
    EXPECT_EQ(printed_by([] { EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U); }), std::string(kLine) + kLine);
    commands = take_commands();
    EXPECT_EQ(std::count(commands.begin(), commands.end(), '\n'), 2) << commands;
  });
}

TEST_F(ModuleCommands, LoadTheModulesOfADirectory) {
  in_child([] {
    load_list(kUsbIsLoaded);
    fill_directory({"alpha.ko", "notes.txt", "gamma.ko.bak", "usb.ko"});
    EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U);
    std::string commands = take_commands();
    EXPECT_NE(commands.find(loading("alpha")), std::string::npos);
    EXPECT_NE(commands.find(loading("gamma")), std::string::npos);
    EXPECT_EQ(std::count(commands.begin(), commands.end(), '\n'), 2) << commands;
  });
}

TEST_F(ModuleCommands, LoadADirectoryInTheOrderOfItsListing) {
  in_child([] {
    load_list("");
    fill_directory({"c.ko", "a.ko", "b.ko", "z.ko", "m.ko"});
    std::string expected;
    for (const std::string& name : listed_names()) {
      if (name.size() == 4) expected += loading(name.substr(0, 1));
    }
    EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U);
    EXPECT_EQ(take_commands(), expected);
  });
}

// Where entries may have larger numbers than a 32-bit program expects.
TEST_F(ModuleCommands, LoadADirectoryOfADisk) {
  char directory[] = "/tmp/roqutil-XXXXXX";
  ASSERT_NE(mkdtemp(directory), nullptr);
  write_file(directory + std::string("/alpha.ko"), "");
  in_child([&] {
    load_list("");
    EXPECT_EQ(ROQ_UTIL_InsertModulesDir(directory), 1U);
    EXPECT_EQ(take_commands(), std::string("insmod [") + directory + "/alpha.ko]\n");
  });
  run(std::string("rm -r ") + directory);
}

TEST_F(ModuleCommands, CutADirectoryEntryAtTheFirstSuffix) {
  in_child([] {
    load_list("");
    for (const char* name : {"a.ko.b.ko", "a.koala", "a.ko"}) {
      fill_directory({name});
      EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U);
      EXPECT_EQ(take_commands(), loading("a")) << name;
    }
    fill_directory({".ko"});
    EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U);
    EXPECT_EQ(take_commands(), loading(""));
    fill_directory({std::string(252, 'n') + ".ko"});
    EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U);
    EXPECT_EQ(take_commands(), loading(std::string(252, 'n')));
  });
}

TEST_F(ModuleCommands, TakeDirectoriesAndLinksForModulesToo) {
  in_child([] {
    load_list("");
    fill_directory({});
    run(std::string("mkdir ") + kDirectory + "/folder.ko");
    EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U);
    EXPECT_EQ(take_commands(), loading("folder"));
    fill_directory({});
    run(std::string("ln -s nowhere ") + kDirectory + "/link.ko");
    EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U);
    EXPECT_EQ(take_commands(), loading("link"));
  });
}

TEST_F(ModuleCommands, DoNothingForADirectoryWithoutModules) {
  in_child([] {
    load_list("");
    fill_directory({"notes.txt", "ko", "a.KO", "a.k"});
    EXPECT_EQ(ROQ_UTIL_InsertModulesDir(kDirectory), 1U);
    EXPECT_EQ(take_commands(), "");
  });
}
