#include "system/netinfo/scene.h"
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <roqmsg.h>
#include <roqutil/netinfo.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace roq::scene;

namespace {

struct Node {
  uint32_t result;
  std::string text, printed;
};

Node node(uint32_t kind) {
  char text[64];
  memset(text, 'Z', sizeof text);
  Node found;
  found.printed = printed_by([&] { found.result = ROQ_Get3GUsbStickNode(kind, text); });
  found.text.assign(text, strnlen(text, sizeof text));
  return found;
}

const std::string kUntouched(64, 'Z');

} // namespace

TEST(ModemTable, IsReadFromProc) {
  in_child([] {
    hide_proc();
    write_file("/proc/proc_user_umts", "pcui:ttyUSB2\nmodem: ttyUSB0\nvoice ttyUSB1\nvoice:ttyUSB3");
    EXPECT_EQ(node(1).text, "ttyUSB2");
    EXPECT_EQ(node(2).text, " ttyUSB0");
    EXPECT_EQ(node(3).text, "ttyUSB3");
    for (uint32_t kind : {1U, 2U, 3U}) {
      EXPECT_EQ(node(kind).result, 1U);
      EXPECT_EQ(node(kind).printed, "");
    }
  });
}

TEST(ModemTable, ThatIsMissingGivesZeroAndALine) {
  in_child([] {
    hide_proc();
    Node found = node(2);
    EXPECT_EQ(found.result, 0U);
    EXPECT_EQ(found.text, kUntouched);
    EXPECT_EQ(found.printed, "\n open proc_user_umts fail\n");
  });
}

TEST(ModemTable, WithoutTheKeywordGivesZeroAndPrintsNothing) {
  in_child([] {
    hide_proc();
    write_file("/proc/proc_user_umts", "pcui:ttyUSB2\n");
    Node found = node(3);
    EXPECT_EQ(found.result, 0U);
    EXPECT_EQ(found.text, kUntouched);
    EXPECT_EQ(found.printed, "");
  });
}

TEST(ModemTable, IsNotOpenedForAKindThatDoesNotExist) {
  in_child([] {
    hide_proc();
    EXPECT_EQ(node(4).printed, "\n fail, the para is invalid.\n");
  });
}

TEST(ModemTable, IsClosedAgain) {
  in_child([] {
    hide_proc();
    write_file("/proc/proc_user_umts", "pcui:ttyUSB2\n");
    std::vector<int> before = open_descriptors();
    node(1);
    node(2);
    EXPECT_EQ(open_descriptors(), before);
  });
}

TEST(QosMark, IsSetWithTheOptionOfThisBuild) {
  int asked = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ASSERT_GE(asked, 0);
  uint32_t value = 0x1234;
  errno = 0;
  int32_t expected = setsockopt(asked, SOL_SOCKET, ROQ_TEST_MARK_OPTION, &value, sizeof value);
  std::string warning =
      expected == 0 ? "" : std::string("\r\nwarning:  QoS  setsockopt error: ") + strerror(errno) + "\r\n";
  testing::internal::CaptureStderr();
  EXPECT_EQ(ROQ_UTIL_QosSetMark(asked, 0x89abcdef), expected);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), warning);
  if (expected == 0) {
    socklen_t length = sizeof value;
    ASSERT_EQ(getsockopt(asked, SOL_SOCKET, ROQ_TEST_MARK_OPTION, &value, &length), 0);
    EXPECT_EQ(value, 0x89abcdefU);
  }
  close(asked);
}

TEST(QosMark, OfADescriptorThatIsNoSocketFailsWithAWarning) {
  int asked = dup(0);
  ASSERT_GE(asked, 0);
  uint32_t value = 5;
  ASSERT_EQ(setsockopt(asked, SOL_SOCKET, ROQ_TEST_MARK_OPTION, &value, sizeof value), -1);
  std::string warning = std::string("\r\nwarning:  QoS  setsockopt error: ") + strerror(errno) + "\r\n";
  testing::internal::CaptureStderr();
  EXPECT_EQ(ROQ_UTIL_QosSetMark(asked, 5), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), warning);
  close(asked);
}

namespace {

// Plays the configuration manager for one request, in a child: the type is the length of the interface's name.
pid_t start_configuration_manager() {
  RoqMsgEndpoint* endpoint = ROQ_MSG_Register("cms");
  EXPECT_NE(endpoint, nullptr);
  pid_t child = fork();
  if (child == 0) {
    RoqMsgReceived asked;
    bool right = ROQ_MSG_Receive(endpoint, &asked, 30000) == 0 && asked.type == 0x60007 && asked.expects_reply == 1 &&
                 asked.announced_length == strlen(asked.payload) + 1 &&
                 ROQ_MSG_Reply(endpoint, &asked, asked.announced_length - 1, nullptr, 0) == 0;
    ROQ_MSG_Unregister(endpoint);
    _exit(right ? 0 : 1);
  }
  return child;
}

} // namespace

TEST(InterfaceTypeFromTheBus, IsWhatTheConfigurationManagerAnswers) {
  in_child([] {
    pid_t manager = start_configuration_manager();
    ASSERT_GT(manager, 0);
    EXPECT_EQ(ROQ_UTIL_GetIntfType("eth0.1"), 6U);
    int status = 0;
    ASSERT_EQ(waitpid(manager, &status, 0), manager);
    EXPECT_EQ(status, 0);
  });
}

TEST(InterfaceTypeFromTheBus, IsZeroWhenNoConfigurationManagerRuns) {
  EXPECT_EQ(printed_by([] { EXPECT_EQ(ROQ_UTIL_GetIntfType("eth0"), 0U); }), "");
}
