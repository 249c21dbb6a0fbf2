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
#include <vector>

namespace roq::tests {
namespace {

struct Known {
  std::string suite, name;
  Scenarios::Body body;
};

// In a function, so that it is there before the first registration.
std::vector<Known>& known_scenarios() {
  static std::vector<Known> known;
  return known;
}

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

std::string all_of(FILE* file) {
  std::string content;
  rewind(file);
  for (int byte = getc(file); byte != EOF; byte = getc(file))
    content += static_cast<char>(byte);
  return content;
}

} // namespace

Scenarios::Registration::Registration(const char* suite, const char* name, Body body) {
  known_scenarios().push_back({suite, name, body});
}

void Scenarios::SetUpTestSuite() {
  const testing::TestSuite& suite = *testing::UnitTest::GetInstance()->current_test_suite();
  for (int i = 0; i < suite.total_test_count(); ++i) {
    const testing::TestInfo& test = *suite.GetTestInfo(i);
    for (const Known& known : known_scenarios()) {
      if (!test.should_run() || known.suite != suite.name() || known.name != test.name()) continue;
      running_scenarios[known.name] = start(known.body);
    }
  }
}

void Scenarios::await() {
  const Running running = running_scenarios.at(testing::UnitTest::GetInstance()->current_test_info()->name());
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
