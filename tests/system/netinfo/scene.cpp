#include "system/netinfo/scene.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace roq::scene {

void in_child(const std::function<void()>& body) {
  fflush(nullptr);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    EXPECT_EQ(unshare(CLONE_NEWNS | CLONE_NEWNET), 0);
    EXPECT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    run("ip link set lo up");
    body();
    fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "the child's expectations failed, or it did not come to its end";
}

void hide_proc() {
  ASSERT_EQ(mount("tables", "/proc", "tmpfs", 0, nullptr), 0);
  ASSERT_EQ(mkdir("/proc/net", 0755), 0);
}

void put_into_bin(const std::string& folder) {
  std::string layers = "lowerdir=" + folder + ":/usr/bin";
  ASSERT_EQ(mount("tools", "/usr/bin", "overlay", 0, layers.c_str()), 0);
}

void write_file(const std::string& path, std::string_view text, unsigned mode) {
  // Written under another name: the user-mode emulator looks after some names of /proc itself when they are opened.
  std::string unfinished = path.substr(0, path.rfind('/')) + "/unfinished";
  std::ofstream(unfinished, std::ios::binary) << text;
  ASSERT_EQ(chmod(unfinished.c_str(), mode), 0) << path;
  ASSERT_EQ(rename(unfinished.c_str(), path.c_str()), 0) << path;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_script(const std::string& path, std::string_view commands) {
  write_file(path, "#!/bin/sh\n" + std::string(commands), 0755);
}

void run(const std::string& command) { EXPECT_EQ(system(command.c_str()), 0) << command; }

std::string output_of(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  EXPECT_NE(pipe, nullptr);
  std::string text;
  for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe))
    text += static_cast<char>(c);
  EXPECT_EQ(pclose(pipe), 0) << command;
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::string json_text(const std::string& json, const std::string& key) {
  std::string opening = "\"" + key + "\":\"";
  size_t at = json.find(opening);
  if (at == std::string::npos) return "";
  at += opening.size();
  return json.substr(at, json.find('"', at) - at);
}

uint64_t json_number(const std::string& json, const std::string& section, const std::string& key) {
  size_t at = json.find("\"" + section + "\"");
  EXPECT_NE(at, std::string::npos) << section;
  std::string name = "\"" + key + "\":";
  at = json.find(name, at);
  EXPECT_NE(at, std::string::npos) << key;
  return at == std::string::npos ? 0 : strtoull(json.c_str() + at + name.size(), nullptr, 10);
}

std::vector<int> open_descriptors() {
  std::vector<int> open;
  for (int fd = 0; fd < 256; ++fd) {
    if (fcntl(fd, F_GETFD) != -1) open.push_back(fd);
  }
  return open;
}

std::string printed_by(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

} // namespace roq::scene
