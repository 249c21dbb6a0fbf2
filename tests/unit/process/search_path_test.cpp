#include "support/temporary_folder.h"
#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <roqutil/process.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace roq::test::process {
namespace {

// The search path leads to two folders of the test's own, and back where it led afterwards.
class SearchPath : public testing::Test {
protected:
  SearchPath() {
    first_ = folder_.path("first");
    second_ = folder_.path("second");
    mkdir(first_.c_str(), 0755);
    mkdir(second_.c_str(), 0755);
    memcpy(saved_.data(), g_apcBinSearchPath, sizeof saved_);
    search({first_.c_str(), second_.c_str()});
  }
  ~SearchPath() override { memcpy(g_apcBinSearchPath, saved_.data(), sizeof saved_); }

  static void search(std::initializer_list<const char*> folders) {
    size_t count = 0;
    for (const char* folder : folders)
      g_apcBinSearchPath[count++] = folder;
    g_apcBinSearchPath[count] = nullptr;
  }

  static void make_file(const std::string& path, mode_t mode) {
    write_file(path, "");
    chmod(path.c_str(), mode);
  }

  // What is found for a name; the result is expected to be `expected_result`.
  static std::string find(const char* name, int32_t expected_result) {
    char full[256] = "untouched";
    EXPECT_EQ(ROQ_UTIL_GetExeFullPath(name, full, sizeof full), expected_result) << name;
    return full;
  }

  TemporaryFolder folder_;
  std::string first_, second_;
  std::array<const char*, ROQ_BIN_SEARCH_PATH_ROOM> saved_;
};

TEST_F(SearchPath, IsSearchedInItsOrder) {
  make_file(second_ + "/tool", 0700);
  EXPECT_EQ(find("tool", 0), second_ + "/tool");
  make_file(first_ + "/tool", 0700);
  EXPECT_EQ(find("tool", 0), first_ + "/tool");
  search({second_.c_str(), first_.c_str()});
  EXPECT_EQ(find("tool", 0), second_ + "/tool");
}

TEST_F(SearchPath, LeavesTheLastCandidateWhenNothingIsFound) { EXPECT_EQ(find("tool", -1), second_ + "/tool"); }

TEST_F(SearchPath, MayBeEmpty) {
  search({});
  EXPECT_EQ(find("tool", -1), "untouched");
}

TEST_F(SearchPath, MayBeFilledToItsRoom) {
  make_file(second_ + "/tool", 0700);
  for (size_t i = 0; i < ROQ_BIN_SEARCH_PATH_ROOM - 2; ++i)
    g_apcBinSearchPath[i] = first_.c_str();
  g_apcBinSearchPath[ROQ_BIN_SEARCH_PATH_ROOM - 2] = second_.c_str();
  g_apcBinSearchPath[ROQ_BIN_SEARCH_PATH_ROOM - 1] = nullptr;
  EXPECT_EQ(find("tool", 0), second_ + "/tool");
}

TEST_F(SearchPath, PassesOverWhatItsOwnerMayNotExecute) {
  make_file(first_ + "/tool", 0677);
  make_file(second_ + "/tool", 0100);
  EXPECT_EQ(find("tool", 0), second_ + "/tool");
}

TEST_F(SearchPath, PassesOverFolders) {
  mkdir((first_ + "/tool").c_str(), 0755);
  make_file(second_ + "/tool", 0755);
  EXPECT_EQ(find("tool", 0), second_ + "/tool");
}

TEST_F(SearchPath, TakesASocketWithTheOwnersExecuteBit) {
  // Its type has the bit of a regular file set.
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string path = first_ + "/tool";
  strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  chmod(path.c_str(), 0700);
  EXPECT_EQ(find("tool", 0), path);
  close(fd);
}

TEST_F(SearchPath, FollowsLinks) {
  make_file(second_ + "/real", 0755);
  ASSERT_EQ(symlink((second_ + "/real").c_str(), (first_ + "/tool").c_str()), 0);
  EXPECT_EQ(find("tool", 0), first_ + "/tool");
}

TEST_F(SearchPath, IsSearchedForNamesWithASlashInTheMiddle) {
  mkdir((second_ + "/sub").c_str(), 0755);
  make_file(second_ + "/sub/tool", 0755);
  EXPECT_EQ(find("sub/tool", 0), second_ + "/sub/tool");
}

TEST(GetExeFullPath, AcceptsANameWithALeadingSlashUntested) {
  char full[256];
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("/there/is/no/such/program", full, sizeof full), 0);
  EXPECT_STREQ(full, "/there/is/no/such/program");
}

TEST(GetExeFullPath, CutsANameWithALeadingSlashToTheSize) {
  char full[16];
  memset(full, '#', sizeof full);
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("/abcdefghij", full, 8), 0);
  EXPECT_STREQ(full, "/abcdef");
  EXPECT_EQ(full[8], '#');
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("/xyz", full, 1), 0);
  EXPECT_STREQ(full, "");
  full[0] = '#';
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("/xyz", full, 0), 0);
  EXPECT_EQ(full[0], '#');
}

TEST_F(SearchPath, TestsACandidateAsItWasCut) {
  make_file(first_ + "/tool", 0755);
  std::string cut = first_ + "/tool";
  char full[256];
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("toolbox", full, static_cast<uint32_t>(cut.size() + 1)), 0);
  EXPECT_EQ(full, cut);
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("toolbox", full, sizeof full), -1);
}

TEST_F(SearchPath, WritesNoMoreThanTheSize) {
  for (uint32_t size : {0U, 1U, 2U, 7U}) {
    char full[16];
    memset(full, '#', sizeof full);
    EXPECT_EQ(ROQ_UTIL_GetExeFullPath("tool", full, size), -1) << size;
    EXPECT_EQ(full[size], '#') << size;
    EXPECT_EQ(strnlen(full, size), size > 0 ? size - 1 : 0) << size;
  }
}

TEST(GetExeFullPath, RefusesNullAndEmptyArguments) {
  char full[8] = "as was";
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath(nullptr, full, sizeof full), -1);
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("", full, sizeof full), -1);
  EXPECT_STREQ(full, "as was");
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("sh", nullptr, 256), -1);
  EXPECT_EQ(ROQ_UTIL_GetExeFullPath("/bin/sh", nullptr, 256), -1);
}

TEST(SearchPathTable, HoldsFourFoldersAndANull) {
  const char* expected[] = {"/var", "/bin", "/sbin", "/usr/bin"};
  for (size_t i = 0; i < 4; ++i)
    EXPECT_STREQ(g_apcBinSearchPath[i], expected[i]);
  for (size_t i = 4; i < ROQ_BIN_SEARCH_PATH_ROOM; ++i)
    EXPECT_EQ(g_apcBinSearchPath[i], nullptr);
}

TEST_F(SearchPath, TakesAFileThatIsTooLongForA32BitNumber) {
  make_file(first_ + "/tool", 0755);
  ASSERT_EQ(truncate64((first_ + "/tool").c_str(), off64_t{3} << 30), 0);
  EXPECT_EQ(find("tool", 0), first_ + "/tool");
}

} // namespace
} // namespace roq::test::process
