#include "system/dns/scenario.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <net/if.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace roq::tests {
namespace {

// By "suite.name". In a function, so that it is there before the first registration.
std::map<std::string, Scenarios::Body>& known_scenarios() {
  static std::map<std::string, Scenarios::Body> known;
  return known;
}

std::string key_of(const testing::TestInfo& test) { return std::string(test.test_suite_name()) + '.' + test.name(); }

struct Running {
  pid_t pid;
  FILE* output;
};

std::map<std::string, Running> running_scenarios;

void set_up_process() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  alarm(240);
  enter_own_network();
  enter_empty_var();
}

Running start(Scenarios::Body body) {
  FILE* output = tmpfile();
  fflush(nullptr);
  const pid_t pid = fork();
  if (pid != 0) return {pid, output};
  dup2(fileno(output), STDOUT_FILENO);
  dup2(fileno(output), STDERR_FILENO);
  set_up_process();
  if (!testing::Test::HasFailure()) body();
  fflush(nullptr);
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

void start_if_scenario(const std::string& key) {
  const auto known = known_scenarios().find(key);
  if (known != known_scenarios().end()) running_scenarios[key] = start(known->second);
}

std::string all_of(FILE* file) {
  std::string content;
  rewind(file);
  for (int byte = getc(file); byte != EOF; byte = getc(file))
    content += static_cast<char>(byte);
  return content;
}

} // namespace

Scenarios::Registration::Registration(const char* suite, const char* name, Body body) {
  known_scenarios()[std::string(suite) + '.' + name] = body;
}

void Scenarios::SetUpTestSuite() {
  if (!running_scenarios.empty()) return;
  const testing::UnitTest& all = *testing::UnitTest::GetInstance();
  for (int i = 0; i < all.total_test_suite_count(); ++i) {
    const testing::TestSuite& suite = *all.GetTestSuite(i);
    for (int j = 0; j < suite.total_test_count(); ++j) {
      if (suite.GetTestInfo(j)->should_run()) start_if_scenario(key_of(*suite.GetTestInfo(j)));
    }
  }
}

void Scenarios::await() {
  const std::string key = key_of(*testing::UnitTest::GetInstance()->current_test_info());
  const Running running = running_scenarios.at(key);
  running_scenarios.erase(key);
  int status = 0;
  ASSERT_EQ(waitpid(running.pid, &status, 0), running.pid);
  EXPECT_EQ(status, 0) << all_of(running.output);
  fclose(running.output);
}

void enter_empty_var() {
  ASSERT_EQ(unshare(CLONE_NEWNS), 0) << strerror(errno);
  ASSERT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0) << strerror(errno);
  ASSERT_EQ(mount("none", "/var", "tmpfs", 0, nullptr), 0) << strerror(errno);
  ASSERT_EQ(mkdir("/var/dns", 0755), 0);
  ASSERT_EQ(mkdir("/var/wan", 0755), 0);
}

void enter_empty_proc() {
  ASSERT_EQ(unshare(CLONE_NEWNS), 0) << strerror(errno);
  ASSERT_EQ(mount("none", "/proc", "tmpfs", 0, nullptr), 0) << strerror(errno);
}

void enter_own_network() {
  ASSERT_EQ(unshare(CLONE_NEWNET), 0) << strerror(errno);
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  ifreq request{};
  strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP;
  EXPECT_EQ(ioctl(fd, SIOCSIFFLAGS, &request), 0) << strerror(errno);
  close(fd);
}

} // namespace roq::tests
