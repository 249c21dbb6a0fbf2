#include "bus_test.h"

#include <cerrno>
#include <sched.h>
#include <sys/mount.h>
#include <syslog.h>

using namespace roq::test::msgbus;

namespace {

class DebugChannel : public BusTest {
protected:
  static std::string on_standard_error(const char* text) {
    testing::internal::CaptureStderr();
    ROQ_DEBUG("%s", text);
    return testing::internal::GetCapturedStderr();
  }
};

// What the system's log gets, in a child with a /dev of its own; the empty text when nothing came.
std::string line_in_log(const char* text) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  PeerProcess child([&] {
    if (unshare(CLONE_NEWNS) != 0 || mount("", "/dev", "tmpfs", 0, "") != 0) return 1;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, "/dev/log");
    int log = socket(AF_UNIX, SOCK_DGRAM, 0);
    if (bind(log, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 2;
    closelog();
    ROQ_DEBUG("%s", text);
    char line[2048];
    ssize_t length = recv(log, line, sizeof line, MSG_DONTWAIT);
    return length > 0 && write(ends[1], line, static_cast<size_t>(length)) == length ? 0 : 3;
  });
  EXPECT_EQ(child.result(), 0);
  close(ends[1]);
  char line[2048];
  ssize_t length = read(ends[0], line, sizeof line);
  close(ends[0]);
  return {line, length > 0 ? static_cast<size_t>(length) : 0};
}

} // namespace

TEST_F(DebugChannel, IsSilentOnStandardErrorUnlessItIsAskedFor) {
  EXPECT_EQ(on_standard_error("a line"), "");
  setenv("ROQ_MSG_DEBUG", "0", 1);
  EXPECT_EQ(on_standard_error("a line"), "");
  setenv("ROQ_MSG_DEBUG", "", 1);
  EXPECT_EQ(on_standard_error("a line"), "");
}

TEST_F(DebugChannel, GoesToStandardErrorWhenItIsAskedFor) {
  setenv("ROQ_MSG_DEBUG", "1", 1);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ROQ_DEBUG("port %d of %s", 4, "eth0");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "port 4 of eth0\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(DebugChannel, EndsEveryLineOnce) {
  setenv("ROQ_MSG_DEBUG", "1", 1);
  EXPECT_EQ(on_standard_error("no end"), "no end\n");
  EXPECT_EQ(on_standard_error("an end\n"), "an end\n");
  EXPECT_EQ(on_standard_error(""), "\n");
}

TEST_F(DebugChannel, DoesNotReadTheTextAsAFormat) {
  setenv("ROQ_MSG_DEBUG", "1", 1);
  EXPECT_EQ(on_standard_error("100%s %n"), "100%s %n\n");
}

TEST_F(DebugChannel, CutsALineAtItsLongestLength) {
  setenv("ROQ_MSG_DEBUG", "1", 1);
  EXPECT_EQ(on_standard_error(std::string(5000, 'x').c_str()), std::string(1023, 'x') + "\n");
}

TEST_F(DebugChannel, GoesToTheSystemsLogAtDebugLevel) {
  std::string line = line_in_log("Can't Open File:/proc/net/ipv6_route\n");
  std::string priority = "<" + std::to_string(LOG_USER | LOG_DEBUG) + ">";
  EXPECT_TRUE(line.starts_with(priority)) << line;
  EXPECT_NE(line.find("Can't Open File:/proc/net/ipv6_route"), std::string::npos) << line;
}

TEST_F(DebugChannel, LeavesErrnoAlone) {
  errno = 4711;
  ROQ_DEBUG("a line");
  EXPECT_EQ(errno, 4711);
}
