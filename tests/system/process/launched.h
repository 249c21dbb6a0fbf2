// Launching a command line in a test, and the marks that launched programs leave.
#ifndef ROQ_TESTS_SYSTEM_PROCESS_LAUNCHED_H
#define ROQ_TESTS_SYSTEM_PROCESS_LAUNCHED_H

#include "support/child.h"
#include "support/temporary_folder.h"
#include <cstdint>
#include <fcntl.h>
#include <roqutil/process.h>
#include <set>
#include <string>

namespace roq::test::process {

inline constexpr int32_t kUntilItEnds = -1;
inline constexpr int32_t kDetached = 0;

struct Launched {
  int32_t result;
  uint32_t signal = 77;
  uint32_t code = 78;
};

inline Launched launch(const std::string& line, int32_t time_limit = kUntilItEnds) {
  Launched launched{};
  launched.result = ROQ_UTIL_ForkProcess(line.c_str(), time_limit, &launched.signal, &launched.code);
  return launched;
}

// The exit code of a program that is expected to have been launched and to have ended by itself.
inline uint32_t exit_code_of(const std::string& line, int32_t time_limit = kUntilItEnds) {
  Launched launched = launch(line, time_limit);
  EXPECT_GT(launched.result, 0) << line;
  EXPECT_EQ(launched.signal, 0U) << line;
  return launched.code;
}

inline bool has_no_children() { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

inline std::set<int> open_descriptors() {
  std::set<int> open;
  for (int fd = 0; fd < 1024; ++fd) {
    if (fcntl(fd, F_GETFD) >= 0) open.insert(fd);
  }
  return open;
}

// A program in the first folder of the search path, for as long as this lives.
class Script {
public:
  Script(const std::string& name, const std::string& content) : path_("/var/" + name) {
    write_file(path_, content);
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
  }
  ~Script() { std::filesystem::remove(path_); }
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;

private:
  std::string path_;
};

// A field of /proc/self/status, such as "SigIgn", in the text of that file.
inline std::string status_field(const std::string& status, const std::string& name) {
  size_t at = status.find("\n" + name + ":\t");
  if (at == std::string::npos) return "missing";
  at += name.size() + 3;
  return status.substr(at, status.find('\n', at) - at);
}

inline uint64_t status_mask(const std::string& status, const std::string& name) {
  return strtoull(status_field(status, name).c_str(), nullptr, 16);
}

} // namespace roq::test::process

#endif
