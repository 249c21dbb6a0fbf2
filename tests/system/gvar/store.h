// The machine's side of the store: segments and semaphore sets, looked at without the library.
#ifndef ROQ_TESTS_SYSTEM_GVAR_STORE_H
#define ROQ_TESTS_SYSTEM_GVAR_STORE_H

#include "support/assertion.h"
#include "support/child.h"
#include "support/pool_model.h"
#include <cerrno>
#include <climits>
#include <roqutil/gvar.h>
#include <sched.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <vector>

namespace roq::test {

inline constexpr uint32_t kFirstAddress = 0x2EF00000;
inline constexpr int kReaderUnits = 1, kWriterUnits = 10;

inline uint32_t fixed_address(uint32_t module) { return kFirstAddress + module * 0x100000; }

inline void* address_to_pointer(uint32_t address) { return reinterpret_cast<void*>(static_cast<uintptr_t>(address)); }

inline key_t key_of(uint32_t module) { return ftok("/var/", static_cast<int>(103 + module)); }

inline int segment_id(uint32_t module) { return shmget(key_of(module), 0, 0); }

inline int semaphore_id(uint32_t module) { return semget(key_of(module), 0, 0); }

union SemaphoreArgument {
  int value;
  semid_ds* descriptor;
  unsigned short* values;
};

inline int semaphore_value(int id) { return semctl(id, 0, GETVAL); }
inline int waiting_processes(int id) { return semctl(id, 0, GETNCNT); }
inline int last_process(int id) { return semctl(id, 0, GETPID); }
inline void set_semaphore(int id, int value) { ASSERT_EQ(semctl(id, 0, SETVAL, SemaphoreArgument{.value = value}), 0); }

inline void change_semaphore(int id, int change, bool undo = false) {
  sembuf operation{0, static_cast<short>(change), static_cast<short>(undo ? SEM_UNDO : 0)};
  ASSERT_EQ(semop(id, &operation, 1), 0);
}

// Not the machine's owner any more: bound by the permissions of segments and sets.
inline void become_somebody_else() { ASSERT_EQ(setresuid(65534, 65534, 65534), 0); }

// A segment attached wherever there is room, whatever the library does with it.
class SegmentView {
public:
  explicit SegmentView(int id) : start_(static_cast<unsigned char*>(shmat(id, nullptr, 0))) {
    if (reinterpret_cast<intptr_t>(start_) == -1) abort();
    shmid_ds descriptor;
    shmctl(id, IPC_STAT, &descriptor);
    size_ = descriptor.shm_segsz;
  }
  ~SegmentView() { shmdt(start_); }
  SegmentView(const SegmentView&) = delete;
  SegmentView& operator=(const SegmentView&) = delete;

  unsigned char* at(size_t place) const { return start_ + place; }
  uint32_t& word(size_t place) const { return *reinterpret_cast<uint32_t*>(start_ + place); }
  uint16_t& half(size_t place) const { return *reinterpret_cast<uint16_t*>(start_ + place); }
  const RoqPoolHandle& pool() const { return *reinterpret_cast<const RoqPoolHandle*>(start_ + 24); }
  size_t size() const { return size_; }
  std::vector<unsigned char> bytes() const { return {start_, start_ + size_}; }
  bool is_zero(size_t from, size_t to) const {
    return std::all_of(start_ + from, start_ + to, [](unsigned char byte) { return byte == 0; });
  }

private:
  unsigned char* start_;
  size_t size_;
};

// Removes every segment and every semaphore set of the sandbox.
inline void remove_all_ipc() {
  shm_info segments;
  int highest = shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&segments));
  for (int index = 0; index <= highest; ++index) {
    shmid_ds descriptor;
    int id = shmctl(index, SHM_STAT, &descriptor);
    if (id >= 0) shmctl(id, IPC_RMID, nullptr);
  }
  seminfo sets;
  SemaphoreArgument argument{};
  argument.values = reinterpret_cast<unsigned short*>(&sets);
  highest = semctl(0, 0, SEM_INFO, argument);
  for (int index = 0; index <= highest; ++index) {
    semid_ds descriptor;
    argument.descriptor = &descriptor;
    int id = semctl(index, 0, SEM_STAT, argument);
    if (id >= 0) semctl(id, 0, IPC_RMID);
  }
}

// Every test begins and ends without segments and sets. Whatever attaches runs in a child, so that no test finds a
// fixed address taken.
class StoreTest : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_NE(getenv("ROQ_SANDBOX"), nullptr) << "these tests remove all segments: run them inside the sandbox";
    remove_all_ipc();
  }
  void TearDown() override { remove_all_ipc(); }
};

// Initialises the module in a child.
inline void create_module(uint32_t module, uint32_t size = 1024, uint32_t header_size = 52) {
  expect_in_child([=] {
    uint32_t created = 7;
    ASSERT_EQ(ROQ_UTIL_GVarInit(module, size, header_size, &created), 0U);
    ASSERT_EQ(created, 1U);
  });
}

// A segment that the library did not make.
inline int create_foreign_segment(uint32_t module, size_t size = 1024, int permissions = 0666) {
  int id = shmget(key_of(module), size, IPC_CREAT | IPC_EXCL | permissions);
  EXPECT_GE(id, 0);
  return id;
}

} // namespace roq::test

#endif
