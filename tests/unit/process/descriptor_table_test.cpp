#include "support/call_hooks.h"
#include "support/child.h"
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <roqutil/process.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace roq::test::process {
namespace {

// A listening socket with an address that the kernel chose, and its clients.
class Listener {
public:
  explicit Listener(int type = SOCK_STREAM) : fd_(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
    sockaddr_un any{};
    any.sun_family = AF_UNIX;
    if (bind(fd_, reinterpret_cast<sockaddr*>(&any), sizeof any.sun_family) != 0 || listen(fd_, 64) != 0) abort();
  }
  ~Listener() {
    close(fd_);
    for (int client : clients_)
      close(client);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void connect_clients(int count) {
    sockaddr_storage address;
    socklen_t length = sizeof address;
    getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
    for (int i = 0; i < count; ++i) {
      int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      if (connect(client, reinterpret_cast<sockaddr*>(&address), length) != 0) abort();
      clients_.push_back(client);
    }
  }

  // Connections that nobody has accepted yet; they are accepted by this.
  int pending() {
    fcntl(fd_, F_SETFL, O_NONBLOCK);
    int count = 0;
    for (int connection; (connection = accept(fd_, nullptr, nullptr)) >= 0; ++count)
      close(connection);
    fcntl(fd_, F_SETFL, 0);
    return count;
  }

  // All clients see the end of their connection.
  bool all_clients_are_closed() const {
    for (int client : clients_) {
      char byte;
      if (recv(client, &byte, 1, MSG_DONTWAIT) != 0) return false;
    }
    return true;
  }

  void move_to(int fd) {
    ASSERT_EQ(dup2(fd_, fd), fd);
    close(fd_);
    fd_ = fd;
  }

  void do_not_block() const { fcntl(fd_, F_SETFL, O_NONBLOCK); }
  uint32_t fd() const { return static_cast<uint32_t>(fd_); }

private:
  int fd_;
  std::vector<int> clients_;
};

uint32_t drain(std::vector<uint32_t> table) {
  std::vector<uint32_t> before = table;
  uint32_t result = ROQ_UTIL_MIC_CloseBackupAppFdsReadableConnection(table.data(), static_cast<uint32_t>(table.size()));
  EXPECT_EQ(table, before);
  return result;
}

TEST(ResetBackupAppFds, FreesEveryEntryWithinTheLength) {
  std::array<uint32_t, 4> table{5, 0, 7, 9};
  EXPECT_EQ(ROQ_UTIL_MIC_ResetBackupAppFds(table.data(), 3), 0U);
  EXPECT_EQ(table, (std::array<uint32_t, 4>{0, 0, 0, 9}));
}

TEST(ResetBackupAppFds, RefusesANullTableAndALengthOfZero) {
  uint32_t entry = 5;
  EXPECT_EQ(ROQ_UTIL_MIC_ResetBackupAppFds(nullptr, 4), 1U);
  EXPECT_EQ(ROQ_UTIL_MIC_ResetBackupAppFds(&entry, 0), 1U);
  EXPECT_EQ(entry, 5U);
}

TEST(AddBackupAppFds, TakesTheFirstFreeEntry) {
  std::array<uint32_t, 4> table{5, 0, 7, 0};
  EXPECT_EQ(ROQ_UTIL_MIC_AddBackupAppFds(table.data(), 4, 11), 0U);
  EXPECT_EQ(table, (std::array<uint32_t, 4>{5, 11, 7, 0}));
}

TEST(AddBackupAppFds, AddsTheSameDescriptorTwice) {
  std::array<uint32_t, 3> table{};
  EXPECT_EQ(ROQ_UTIL_MIC_AddBackupAppFds(table.data(), 3, 11), 0U);
  EXPECT_EQ(ROQ_UTIL_MIC_AddBackupAppFds(table.data(), 3, 11), 0U);
  EXPECT_EQ(table, (std::array<uint32_t, 3>{11, 11, 0}));
}

TEST(AddBackupAppFds, HoldsAnyNumberButZero) {
  std::array<uint32_t, 2> table{};
  EXPECT_EQ(ROQ_UTIL_MIC_AddBackupAppFds(table.data(), 2, 0), 1U);
  EXPECT_EQ(ROQ_UTIL_MIC_AddBackupAppFds(table.data(), 2, 0xFFFFFFFF), 0U);
  EXPECT_EQ(table, (std::array<uint32_t, 2>{0xFFFFFFFF, 0}));
}

TEST(AddBackupAppFds, LeavesAFullTableAlone) {
  std::array<uint32_t, 3> table{5, 6, 0};
  EXPECT_EQ(ROQ_UTIL_MIC_AddBackupAppFds(table.data(), 2, 11), 1U);
  EXPECT_EQ(table, (std::array<uint32_t, 3>{5, 6, 0}));
}

TEST(AddBackupAppFds, RefusesANullTableAndALengthOfZero) {
  uint32_t entry = 0;
  EXPECT_EQ(ROQ_UTIL_MIC_AddBackupAppFds(nullptr, 4, 11), 1U);
  EXPECT_EQ(ROQ_UTIL_MIC_AddBackupAppFds(&entry, 0, 11), 1U);
  EXPECT_EQ(entry, 0U);
}

TEST(CloseReadableConnections, AcceptsAndClosesWhatIsPending) {
  Listener one, two, idle;
  one.connect_clients(3);
  two.connect_clients(1);
  EXPECT_EQ(drain({one.fd(), 0, idle.fd(), two.fd()}), 0U);
  EXPECT_TRUE(one.all_clients_are_closed());
  EXPECT_TRUE(two.all_clients_are_closed());
  EXPECT_EQ(one.pending() + two.pending() + idle.pending(), 0);
}

TEST(CloseReadableConnections, ReturnsAtOnceWhenNothingIsPending) {
  Listener one, two;
  EXPECT_EQ(drain({one.fd(), two.fd()}), 0U);
}

TEST(CloseReadableConnections, LooksAgainOnlyAtWhatWasReadyInThePassBefore) {
  static Listener* late_for;
  Listener busy, idle;
  busy.connect_clients(2);
  late_for = &idle;
  Hook accepting(call_hooks.accept, [](int fd, sockaddr* address, socklen_t* length) -> int {
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(length, nullptr);
    if (late_for != nullptr) std::exchange(late_for, nullptr)->connect_clients(1);
    return real_calls.accept(fd, address, length);
  });
  EXPECT_EQ(drain({busy.fd(), idle.fd()}), 0U);
  EXPECT_EQ(busy.pending(), 0);
  EXPECT_EQ(idle.pending(), 1);
}

TEST(CloseReadableConnections, OfATableWithoutDescriptorsGivesZero) { EXPECT_EQ(drain({0, 0, 0}), 0U); }

TEST(CloseReadableConnections, LooksOnlyAtEntriesWithinTheLength) {
  Listener one, two;
  two.connect_clients(1);
  std::array<uint32_t, 2> table{one.fd(), two.fd()};
  EXPECT_EQ(ROQ_UTIL_MIC_CloseBackupAppFdsReadableConnection(table.data(), 1), 0U);
  EXPECT_EQ(two.pending(), 1);
}

TEST(CloseReadableConnections, RefusesANullTableAndALengthOfZero) {
  Listener one;
  one.connect_clients(1);
  uint32_t entry = one.fd();
  EXPECT_EQ(ROQ_UTIL_MIC_CloseBackupAppFdsReadableConnection(nullptr, 4), 1U);
  EXPECT_EQ(ROQ_UTIL_MIC_CloseBackupAppFdsReadableConnection(&entry, 0), 1U);
  EXPECT_EQ(one.pending(), 1);
}

TEST(CloseReadableConnections, StopsAtTheFirstThatCannotBeAccepted) {
  Listener before, after;
  before.connect_clients(2);
  after.connect_clients(2);
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  ASSERT_EQ(write(pair[1], "x", 1), 1); // readable, but nothing to accept
  EXPECT_EQ(drain({before.fd(), static_cast<uint32_t>(pair[0]), after.fd()}), 1U);
  EXPECT_EQ(before.pending(), 1);
  EXPECT_EQ(after.pending(), 2);
  close(pair[0]);
  close(pair[1]);
}

TEST(CloseReadableConnections, AcceptsTwiceFromADescriptorThatIsListedTwice) {
  Listener one;
  one.connect_clients(4);
  EXPECT_EQ(drain({one.fd(), one.fd()}), 0U);
  EXPECT_TRUE(one.all_clients_are_closed());

  one.connect_clients(3); // the second entry finds nothing in the second pass
  one.do_not_block();
  EXPECT_EQ(drain({one.fd(), one.fd()}), 1U);
}

TEST(CloseReadableConnections, GivesZeroForDescriptorsThatAreClosed) {
  int fd = open("/", O_RDONLY);
  close(fd);
  EXPECT_EQ(drain({static_cast<uint32_t>(fd)}), 0U); // the wait fails
}

TEST(CloseReadableConnections, PassesOverDescriptorsThatASetCannotHold) {
  expect_in_child([] {
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = FD_SETSIZE + 8;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    Listener low, last, beyond;
    last.move_to(FD_SETSIZE - 1);
    beyond.move_to(FD_SETSIZE);
    for (Listener* listener : {&low, &last, &beyond})
      listener->connect_clients(1);
    EXPECT_EQ(drain({beyond.fd(), 0xFFFFFFFF, 0x80000000, FD_SETSIZE + 64 * 1024}), 0U);
    EXPECT_EQ(drain({0xFFFFFFFF, beyond.fd(), last.fd(), low.fd()}), 0U);
    EXPECT_EQ(low.pending(), 0);
    EXPECT_EQ(last.pending(), 0);
    EXPECT_EQ(beyond.pending(), 1);
  });
}

TEST(CloseReadableConnections, DrainsATableOfAThousandEntries) {
  Listener one;
  one.connect_clients(2);
  std::vector<uint32_t> table(1000);
  table.back() = one.fd();
  EXPECT_EQ(drain(table), 0U);
  EXPECT_EQ(one.pending(), 0);
}

TEST(CloseReadableConnections, AcceptsNothingWhenOneDescriptorIsClosed) {
  Listener one;
  one.connect_clients(2);
  int closed = open("/", O_RDONLY);
  close(closed);
  EXPECT_EQ(drain({one.fd(), static_cast<uint32_t>(closed)}), 0U); // the wait fails
  EXPECT_EQ(one.pending(), 2);
}

} // namespace
} // namespace roq::test::process
