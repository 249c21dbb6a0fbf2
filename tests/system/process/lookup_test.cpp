#include "launched.h"

#include <csignal>
#include <sched.h>
#include <sys/mount.h>

namespace roq::test::process {
namespace {

std::vector<uint32_t> find(const std::string& name) {
  uint32_t* list = ROQ_UTIL_FindPidByName(name.c_str());
  if (list == nullptr) return {};
  std::vector<uint32_t> found{list[0]};
  bool nobody = list[0] == 0xFFFFFFFF || (list[0] == 1 && name == "init");
  for (size_t i = 1; !nobody && list[i] != 0; ++i)
    found.push_back(list[i]);
  free(list);
  return found;
}

using Ids = std::vector<uint32_t>;

// A process with this command line, which is there when this is made and gone when this is.
class Process {
public:
  explicit Process(const std::vector<std::string>& words) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) abort();
    pid_ = fork();
    if (pid_ == 0) {
      // The shell waits for its standard input, which nobody writes to.
      std::vector<char*> vector{const_cast<char*>("sh"), const_cast<char*>("-c"), const_cast<char*>("read x")};
      for (const std::string& word : words)
        vector.push_back(const_cast<char*>(word.c_str()));
      vector.push_back(nullptr);
      dup2(input_[0], STDIN_FILENO);
      execv("/bin/sh", vector.data());
      _exit(1);
    }
    close(ready[1]);
    char byte;
    if (read(ready[0], &byte, 1) != 0) abort(); // its end: the program runs
    close(ready[0]);
  }
  ~Process() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    close(input_[0]);
    close(input_[1]);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  uint32_t id() const { return static_cast<uint32_t>(pid_); }

private:
  struct Pipe {
    Pipe() {
      if (pipe2(ends, O_CLOEXEC) != 0) abort();
    }
    int operator[](size_t i) const { return ends[i]; }
    int ends[2];
  };
  Pipe input_;
  pid_t pid_;
};

TEST(FindPidByName, FindsProcessesByAPieceOfTheirCommandLine) {
  Process one({"unique-mark-one"}), two({"unique-mark-two"});
  EXPECT_EQ(find("unique-mark-one"), Ids{one.id()});
  EXPECT_EQ(find("mark-two"), Ids{two.id()});
  EXPECT_EQ(find("unique-mark-"), (Ids{one.id(), two.id()})); // in the order of /proc
  EXPECT_EQ(find("unique-mark-three"), Ids{0xFFFFFFFF});
}

TEST(FindPidByName, JoinsTheWordsOfACommandLine) {
  Process process({"first-part", "second-part"});
  EXPECT_EQ(find("first-partsecond-part"), Ids{process.id()});
  EXPECT_EQ(find("first-part second-part"), Ids{0xFFFFFFFF});
  EXPECT_EQ(find("-cread xfirst-part"), Ids{process.id()}); // a blank inside a word is one
}

TEST(FindPidByName, LooksAtTheFirst126Bytes) {
  // "sh", "-c" and "read x" take 13 bytes with their ends.
  Process whole({std::string(109, 'a') + "mark"}), cut({std::string(110, 'b') + "mark"});
  EXPECT_EQ(find("aamark"), Ids{whole.id()});
  EXPECT_EQ(find("bbmark"), Ids{0xFFFFFFFF});
  EXPECT_EQ(find("bbmar"), Ids{cut.id()});
}

TEST(FindPidByName, StopsAtTheFirstLineFeed) {
  Process process({"before-line\nbehind-line"});
  EXPECT_EQ(find("before-line\n"), Ids{process.id()});
  EXPECT_EQ(find("behind-line"), Ids{0xFFFFFFFF});
}

TEST(FindPidByName, StopsAtAnEmptyWord) {
  Process process({"in-front-of-it", "", "behind-it-all"});
  EXPECT_EQ(find("in-front-of-it"), Ids{process.id()});
  EXPECT_EQ(find("behind-it-all"), Ids{0xFFFFFFFF});
}

TEST(FindPidByName, FindsEveryProcessByTheEmptyName) {
  Process process({"anything"});
  Ids found = find("");
  EXPECT_EQ(found.front(), 1U);
  EXPECT_NE(std::find(found.begin(), found.end(), process.id()), found.end());
  EXPECT_NE(std::find(found.begin(), found.end(), static_cast<uint32_t>(getpid())), found.end());
}

TEST(FindPidByName, PassesOverZombies) {
  pid_t child = fork();
  if (child == 0) _exit(0);
  siginfo_t info;
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
  Ids found = find("");
  EXPECT_EQ(std::find(found.begin(), found.end(), static_cast<uint32_t>(child)), found.end());
  waitpid(child, nullptr, 0);
}

TEST(FindPidByName, FindsAProcessWhileOthersComeAndGo) {
  Process process({"steady-mark"});
  Child churn([] {
    for (;;) {
      pid_t child = fork();
      if (child == 0) _exit(0);
      waitpid(child, nullptr, 0);
    }
  });
  std::set<int> descriptors = open_descriptors();
  for (int i = 0; i < 300; ++i)
    ASSERT_EQ(find("steady-mark"), Ids{process.id()});
  EXPECT_EQ(open_descriptors(), descriptors);
}

TEST(GetPid, GivesTheFirstOfTheList) {
  Process one({"unique-mark"}), two({"unique-mark"});
  EXPECT_EQ(ROQ_UTIL_GetPid("unique-mark"), one.id());
}

TEST(GetPid, SearchesForTheNameWithoutItsBlanks) {
  Process process({"first-part", "second-part"});
  EXPECT_EQ(ROQ_UTIL_GetPid("  first-part second- part "), process.id());
  EXPECT_EQ(ROQ_UTIL_GetPid("first-part\tsecond-part"), 0xFFFFFFFFU);
}

TEST(GetPid, FindsEveryProcessByBlanks) {
  EXPECT_EQ(ROQ_UTIL_GetPid(""), 1U);
  EXPECT_EQ(ROQ_UTIL_GetPid("   "), 1U);
}

TEST(GetPid, CutsAnOverLongName) { EXPECT_EQ(ROQ_UTIL_GetPid(std::string(100000, 'x').c_str()), 0xFFFFFFFFU); }

// ---- a process table made by hand

class MadeTable : public testing::Test {
protected:
  // Runs the piece with an empty folder in place of /proc.
  template <typename Piece> static void with_table(Piece&& piece) {
    expect_in_child([&] {
      ASSERT_EQ(unshare(CLONE_NEWNS), 0);
      ASSERT_EQ(mount("table", "/proc", "tmpfs", 0, nullptr), 0);
      piece();
    });
  }

  // The same with a folder of a disk, whose entries may have larger numbers than a 32-bit program expects.
  template <typename Piece> static void with_table_on_disk(Piece&& piece) {
    char folder[] = "/tmp/roqutil-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    expect_in_child([&] {
      ASSERT_EQ(unshare(CLONE_NEWNS), 0);
      ASSERT_EQ(mount(folder, "/proc", nullptr, MS_BIND, nullptr), 0);
      piece();
    });
    std::filesystem::remove_all(folder);
  }

  static void make_process(const std::string& entry, const std::string& command_line) {
    std::filesystem::create_directory("/proc/" + entry);
    write_file("/proc/" + entry + "/cmdline", command_line);
  }

  // In any order: this table's is the file system's.
  static std::set<uint32_t> find_all(const std::string& name) {
    Ids found = find(name);
    return {found.begin(), found.end()};
  }
};

const std::string kMark("mark\0", 5);
using IdSet = std::set<uint32_t>;

TEST_F(MadeTable, IsSearchedInEntriesThatBeginWithADigitOnly) {
  with_table([] {
    for (const char* entry : {"7", "12", "a12", "self", "-3", "+4", ".5", "9abc"})
      make_process(entry, kMark);
    EXPECT_EQ(find_all("mark"), (IdSet{7, 12, 9}));
  });
}

TEST_F(MadeTable, HasItsNamesConvertedWithTheirPrefixes) {
  with_table([] {
    for (const char* entry : {"0x1f", "010", "099", "0", "0x", "4294967297", "2147483648"})
      make_process(entry, kMark);
    uint32_t* list = ROQ_UTIL_FindPidByName("mark");
    std::multiset<uint32_t> found(list, list + 7);
    EXPECT_EQ(list[7], 0U);
    free(list);
    EXPECT_EQ(found, (std::multiset<uint32_t>{0x1f, 8, 0, 0, 0, 2147483647, 2147483647}));
  });
}

TEST_F(MadeTable, MayLieOnADisk) {
  with_table_on_disk([] {
    for (const char* entry : {"7", "12", "345", "self"})
      make_process(entry, kMark);
    EXPECT_EQ(find_all("mark"), (IdSet{7, 12, 345}));
  });
}

TEST_F(MadeTable, MayHaveEntriesThatCannotBeRead) {
  with_table([] {
    make_process("3", "");                                  // empty
    std::filesystem::create_directory("/proc/4");           // nothing there
    std::filesystem::create_directories("/proc/5/cmdline"); // a folder
    write_file("/proc/6", "mark");                          // no folder
    make_process("7", kMark);
    EXPECT_EQ(find_all("mark"), IdSet{7});
    EXPECT_EQ(find_all(""), IdSet{7});
  });
}

TEST_F(MadeTable, MayHaveCommandLinesOfAnyForm) {
  with_table([] {
    make_process("3", std::string("\0\0mark\0", 7));
    make_process("4", std::string("\0mark\0", 6));
    make_process("5", "mark"); // without an end
    make_process("6", "\nmark");
    EXPECT_EQ(find_all("mark"), (IdSet{4, 5}));
    EXPECT_EQ(find_all(""), (IdSet{3, 4, 5, 6}));
    EXPECT_EQ(find_all("\n"), IdSet{6});
  });
}

TEST_F(MadeTable, HasNamesOfUpTo113CharactersReached) {
  with_table([] {
    // "/proc/", the name and "/cmdline" are cut at 127 characters.
    make_process("1" + std::string(112, 'x'), kMark);
    make_process("2" + std::string(113, 'x'), kMark);
    make_process("3" + std::string(254, 'x'), kMark);
    EXPECT_EQ(find_all("mark"), IdSet{1});
  });
}

TEST_F(MadeTable, WithoutAMatchGivesOneEntryThatDependsOnTheName) {
  with_table([] {
    make_process("7", kMark);
    EXPECT_EQ(find("init"), Ids{1});
    EXPECT_EQ(find("init "), Ids{0xFFFFFFFF});
    EXPECT_EQ(find("inittab"), Ids{0xFFFFFFFF});
    EXPECT_EQ(ROQ_UTIL_GetPid("init"), 1U);
    EXPECT_EQ(ROQ_UTIL_GetPid("in it"), 1U); // the blank is taken out first
    EXPECT_EQ(ROQ_UTIL_GetPid("other"), 0xFFFFFFFFU);
    make_process("8", std::string("/sbin/init\0", 11));
    EXPECT_EQ(find("init"), Ids{8});
  });
}

TEST_F(MadeTable, ThatIsMissingGivesNullWithAText) {
  TemporaryFolder folder;
  Outcome outcome = run_in_child([&] {
    ASSERT_EQ(chroot(folder.path().c_str()), 0);
    EXPECT_EQ(ROQ_UTIL_FindPidByName("mark"), nullptr);
    EXPECT_EQ(ROQ_UTIL_GetPid("mark"), 0U);
  });
  EXPECT_TRUE(outcome.exited_with(0)) << outcome;
  EXPECT_EQ(outcome.out, "cms:Cannot open /proccms:Cannot open /proc");
  EXPECT_EQ(outcome.err, "");
}

TEST(FindPidByName, LeavesNoDescriptorOpen) {
  Process process({"steady-mark"});
  std::set<int> before = open_descriptors();
  EXPECT_EQ(find("steady-mark"), Ids{process.id()});
  EXPECT_EQ(find("no-such-mark"), Ids{0xFFFFFFFF});
  EXPECT_EQ(open_descriptors(), before);
}

} // namespace
} // namespace roq::test::process
