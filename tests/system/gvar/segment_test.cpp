#include "store.h"
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>

namespace {

using namespace roq::test;

constexpr uint32_t kCanary = 0xC0FFEE11;
constexpr const char* kNegativeLength =
    "len - sizeof(struct bhead) <= -((bufsize) ((bufsize) (-(((1L << (sizeof(bufsize) * 8 - 2)) - 1) * 2) - 2)) + 1)";

int attached_processes(int id) {
  shmid_ds descriptor;
  return shmctl(id, IPC_STAT, &descriptor) == 0 ? static_cast<int>(descriptor.shm_nattch) : -1;
}

unsigned permissions_of_segment(int id) {
  shmid_ds descriptor;
  return shmctl(id, IPC_STAT, &descriptor) == 0 ? descriptor.shm_perm.mode & 0777U : 0;
}

// Where the kernel's table has the segment.
int index_of(int id) {
  shm_info info;
  int highest = shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&info));
  for (int index = 0; index <= highest; ++index) {
    shmid_ds descriptor;
    if (shmctl(index, SHM_STAT, &descriptor) == id) return index;
  }
  return -1;
}

int create_private_segment(int permissions = 0666) {
  int id = shmget(IPC_PRIVATE, 1024, IPC_CREAT | permissions);
  EXPECT_GE(id, 0);
  return id;
}

void* handle_of(uint32_t module) { return address_to_pointer(fixed_address(module) + 24); }

// ---- ROQ_UTIL_GVarInit, ROQ_UTIL_GVarInitEx

class GVarInit : public StoreTest {};

TEST_F(GVarInit, WritesTheHeaderOfANewSegment) {
  create_module(3, 4096, 60);
  SegmentView segment(segment_id(3));
  EXPECT_EQ(segment.size(), 4096U);
  EXPECT_EQ(segment.word(0), 0x00042047U);
  EXPECT_EQ(segment.word(4), 4096U - 60U);
  EXPECT_EQ(segment.word(8), static_cast<uint32_t>(semaphore_id(3)));
  EXPECT_GT(semaphore_id(3), 0);
  EXPECT_EQ(segment.word(12), 0U);
  EXPECT_EQ(segment.half(16), 60U);
  EXPECT_EQ(segment.half(18), 0U);
  EXPECT_EQ(segment.word(20), 0U);
  EXPECT_TRUE(segment.is_zero(52, 60)) << "the module's own area";
  PoolModel model(&segment.pool(), segment.at(60), 4096 - 60);
  // The links are those of the fixed address, not of this view.
  PoolModel fixed(static_cast<RoqPoolHandle*>(handle_of(3)), address_to_pointer(fixed_address(3) + 60), 4096 - 60);
  EXPECT_EQ(fixed.difference(segment.pool(), segment.at(60)), "");
  EXPECT_NE(model.difference(segment.pool(), segment.at(60)), "");
}

TEST_F(GVarInit, WritesTheHeaderInTheProcessorsByteOrder) {
  create_module(0);
  SegmentView segment(segment_id(0));
  bool big_endian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
  std::vector<unsigned char> magic = {0x47, 0x20, 0x04, 0x00}, header_size = {52, 0, 0, 0};
  if (big_endian) {
    magic = {0x00, 0x04, 0x20, 0x47};
    header_size = {0, 52, 0, 0};
  }
  EXPECT_EQ(std::vector<unsigned char>(segment.at(0), segment.at(4)), magic);
  EXPECT_EQ(std::vector<unsigned char>(segment.at(16), segment.at(20)), header_size);
}

TEST_F(GVarInit, WithTheSmallestSizesMakesAPoolOf972Bytes) {
  create_module(0, 1024, 52);
  SegmentView segment(segment_id(0));
  EXPECT_EQ(segment.word(4), 972U);
  EXPECT_EQ(segment.word(32), kFirstAddress + 52) << "first free block";
  EXPECT_EQ(segment.word(56), 964U) << "its size";
  EXPECT_EQ(segment.word(1016), 964U);
  EXPECT_EQ(segment.word(1020), 0x80000000U);
}

TEST_F(GVarInit, AttachesEveryModuleAtItsOwnAddress) {
  expect_in_child([] {
    for (uint32_t module = 0; module < 7; ++module) {
      uint32_t created = kCanary;
      ASSERT_EQ(ROQ_UTIL_GVarInit(module, 0x80000, 52, &created), 0U);
      EXPECT_EQ(created, 1U);
    }
    for (uint32_t module = 0; module < 7; ++module) {
      EXPECT_EQ(*static_cast<uint32_t*>(address_to_pointer(fixed_address(module))), 0x00042047U);
      EXPECT_EQ(attached_processes(segment_id(module)), 1);
    }
    EXPECT_EQ(*reinterpret_cast<uint32_t*>(0x2EF00000), 0x00042047U);
    EXPECT_EQ(*reinterpret_cast<uint32_t*>(0x2F500000), 0x00042047U);
  });
}

TEST_F(GVarInit, MakesSegmentAndSetWithTheModulesKeyForEverybody) {
  create_module(5, 2000, 52);
  int set = semaphore_id(5);
  shmid_ds segment;
  ASSERT_EQ(shmctl(segment_id(5), IPC_STAT, &segment), 0);
  EXPECT_EQ(segment.shm_perm.__key, key_of(5));
  EXPECT_EQ(segment.shm_perm.mode & 0777, 0666);
  EXPECT_EQ(segment.shm_segsz, 2000U);
  semid_ds semaphores;
  ASSERT_EQ(semctl(set, 0, IPC_STAT, SemaphoreArgument{.descriptor = &semaphores}), 0);
  EXPECT_EQ(semaphores.sem_perm.__key, key_of(5));
  EXPECT_EQ(semaphores.sem_perm.mode & 0777, 0666);
  EXPECT_EQ(semaphores.sem_nsems, 1U);
  EXPECT_EQ(semaphore_value(set), 10);
}

struct Limits {
  uint32_t module, size, header_size;
};

TEST_F(GVarInit, OutsideItsLimitsRefusesAndTouchesNothing) {
  for (Limits refused : {Limits{7, 1024, 52}, Limits{16, 1024, 52}, Limits{17, 1024, 52}, Limits{0xFFFFFFFF, 1024, 52},
                         Limits{0, 1023, 52}, Limits{0, 0, 52}, Limits{0, 0x80001, 52}, Limits{0, 0xFFFFFFFF, 52},
                         Limits{0, 1024, 51}, Limits{0, 1024, 0}, Limits{0, 1024, 1024}, Limits{0, 1024, 1025},
                         Limits{0, 1024, 0xFFFFFFFF}, Limits{0, 0x80000, 0x80000}}) {
    expect_in_child([=] {
      for (uint32_t use_lock : {0U, 1U}) {
        uint32_t created = kCanary;
        EXPECT_EQ(ROQ_UTIL_GVarInitEx(refused.module, refused.size, refused.header_size, use_lock, &created), 1U);
        EXPECT_EQ(created, kCanary);
      }
      EXPECT_EQ(ROQ_UTIL_GVarInit(refused.module, refused.size, refused.header_size, nullptr), 1U);
    });
    EXPECT_EQ(segment_id(refused.module), -1) << refused.module << " " << refused.size << " " << refused.header_size;
    EXPECT_EQ(semaphore_id(refused.module), -1);
  }
}

TEST_F(GVarInit, OutsideItsLimitsLeavesAnExistingModuleAlone) {
  create_module(0);
  SegmentView segment(segment_id(0));
  std::vector<unsigned char> before = segment.bytes();
  expect_in_child([] {
    EXPECT_EQ(ROQ_UTIL_GVarInitEx(0, 1023, 52, 0, nullptr), 1U);
    EXPECT_EQ(ROQ_UTIL_GVarInitEx(0, 1024, 51, 0, nullptr), 1U);
    EXPECT_EQ(attached_processes(segment_id(0)), 2) << "only the view of the test, here and in its parent";
  });
  EXPECT_EQ(segment.bytes(), before);
}

TEST_F(GVarInit, AcceptsItsLimits) {
  for (Limits accepted :
       {Limits{0, 1024, 52}, Limits{1, 0x80000, 52}, Limits{2, 1024, 1000}, Limits{6, 0x80000, 0x80000 - 24}}) {
    create_module(accepted.module, accepted.size, accepted.header_size);
    EXPECT_EQ(SegmentView(segment_id(accepted.module)).word(4), accepted.size - accepted.header_size);
  }
}

TEST_F(GVarInit, KeepsTheLowHalfOfALargeHeaderSizeAndUsesAllOfIt) {
  create_module(1, 0x40000, 0x20034);
  SegmentView segment(segment_id(1));
  EXPECT_EQ(segment.half(16), 0x34U);
  EXPECT_EQ(segment.half(18), 0U);
  EXPECT_EQ(segment.word(4), 0x40000U - 0x20034U);
  EXPECT_EQ(segment.word(32), fixed_address(1) + 0x20034);
  EXPECT_TRUE(segment.is_zero(52, 0x20034));
  EXPECT_EQ(segment.word(0x20034 + 4), 0x40000U - 0x20034U - 8U);
}

TEST_F(GVarInit, WithTooLittleRoomForAPoolMeetsItsAssertionAfterTheHeaderWasWritten) {
  for (uint32_t header_size : {1023U, 1020U, 1016U, 1004U, 1001U}) {
    remove_all_ipc();
    Outcome outcome = run_in_child([=] { ROQ_UTIL_GVarInit(0, 1024, header_size, nullptr); });
    EXPECT_TRUE(stopped_by(outcome, 1000, "bpool", kNegativeLength)) << header_size;
    SegmentView segment(segment_id(0));
    EXPECT_EQ(segment.word(0), 0x00042047U);
    EXPECT_EQ(segment.word(4), 1024 - header_size);
    EXPECT_EQ(segment.half(16), header_size);
    EXPECT_EQ(segment.word(8), 0U);
    EXPECT_EQ(semaphore_id(0), -1);
  }
}

TEST_F(GVarInit, OfAnExistingModuleSucceedsWithoutCreating) {
  create_module(3);
  expect_in_child([] {
    ASSERT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
    ASSERT_EQ(ROQ_UTIL_GVarSetValue(0x00030001, "hello", 5), 0U);
  });
  change_semaphore(semaphore_id(3), -1);
  SegmentView segment(segment_id(3));
  std::vector<unsigned char> before = segment.bytes();
  expect_in_child([] {
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, &created), 0U);
    EXPECT_EQ(created, 0U);
    EXPECT_EQ(ROQ_UTIL_GVarInit(3, 1024, 500, nullptr), 0U) << "the header size of the creator stays";
    EXPECT_EQ(*static_cast<uint32_t*>(address_to_pointer(fixed_address(3))), 0x00042047U);
  });
  EXPECT_EQ(segment.bytes(), before);
  EXPECT_EQ(semaphore_value(semaphore_id(3)), 9) << "the semaphore is not set again";
}

TEST_F(GVarInit, TwiceInOneProcessSucceedsWithoutCreating) {
  expect_in_child([] {
    uint32_t created = kCanary;
    ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, &created), 0U);
    EXPECT_EQ(created, 1U);
    ASSERT_EQ(ROQ_UTIL_GVarSetValue(0x00030001, "hello", 5), 0U);
    EXPECT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, &created), 0U);
    EXPECT_EQ(created, 0U);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
    EXPECT_EQ(attached_processes(segment_id(3)), 1);
    uint32_t length = 0;
    EXPECT_NE(ROQ_UTIL_GVarGetValue(0x00030001, &length), nullptr);
    EXPECT_EQ(length, 5U);
  });
}

TEST_F(GVarInit, AcceptsAnExistingSegmentThatIsLarger) {
  create_module(2, 8192, 52);
  expect_in_child([] {
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInit(2, 1024, 52, &created), 0U);
    EXPECT_EQ(created, 0U);
  });
  EXPECT_EQ(SegmentView(segment_id(2)).word(4), 8192U - 52U);
}

TEST_F(GVarInit, FailsOnAnExistingSegmentThatIsSmallerAndLeavesIt) {
  int id = create_foreign_segment(2, 1024);
  expect_in_child([] {
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInit(2, 1025, 52, &created), 1U);
    EXPECT_EQ(created, kCanary);
  });
  EXPECT_EQ(segment_id(2), id);
  EXPECT_TRUE(SegmentView(id).is_zero(0, 1024));
  EXPECT_EQ(semaphore_id(2), -1);
}

TEST_F(GVarInit, TakesASegmentOfSomebodyElseAsItIsAndOnlyAddsItsSemaphore) {
  int id = create_foreign_segment(2, 1024);
  expect_in_child([] {
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInit(2, 1024, 52, &created), 0U);
    EXPECT_EQ(created, 0U);
  });
  SegmentView segment(id);
  EXPECT_TRUE(segment.is_zero(0, 8));
  EXPECT_EQ(segment.word(8), static_cast<uint32_t>(semaphore_id(2)));
  EXPECT_TRUE(segment.is_zero(12, 1024));
  EXPECT_EQ(semaphore_value(semaphore_id(2)), 10);
}

TEST_F(GVarInit, WithoutLockMakesNoSemaphoreSet) {
  expect_in_child([] {
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInitEx(4, 1024, 52, 0, &created), 0U);
    EXPECT_EQ(created, 1U);
  });
  EXPECT_EQ(SegmentView(segment_id(4)).word(8), 0U);
  EXPECT_EQ(semaphore_id(4), -1);
}

TEST_F(GVarInit, WithoutLockSwitchesLockingOffForEverybody) {
  create_module(4);
  int set = semaphore_id(4);
  expect_in_child([] {
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInitEx(4, 1024, 52, 0, &created), 0U);
    EXPECT_EQ(created, 0U);
  });
  EXPECT_EQ(SegmentView(segment_id(4)).word(8), 0U);
  EXPECT_EQ(semaphore_id(4), set) << "the set itself stays";
  set_semaphore(set, 0);
  expect_in_child([] {
    ASSERT_EQ(ROQ_UTIL_GVarAttach(4), 0U);
    EXPECT_EQ(ROQ_UTIL_GVarSetValue(0x00040001, "x", 1), 0U);
    EXPECT_NE(ROQ_UTIL_GVarGetValue(0x00040001, nullptr), nullptr);
  });
  EXPECT_EQ(semaphore_value(set), 0);
}

TEST_F(GVarInit, WithLockSwitchesLockingOnAgainWithAFreshSemaphore) {
  create_module(4);
  int set = semaphore_id(4);
  set_semaphore(set, 3);
  expect_in_child([] {
    EXPECT_EQ(ROQ_UTIL_GVarInitEx(4, 1024, 52, 0, nullptr), 0U);
    EXPECT_EQ(ROQ_UTIL_GVarInitEx(4, 1024, 52, 0x80000000, nullptr), 0U);
  });
  EXPECT_EQ(SegmentView(segment_id(4)).word(8), static_cast<uint32_t>(set));
  EXPECT_EQ(semaphore_value(set), 10);
}

TEST_F(GVarInit, UsesASetThatIsThereAlready) {
  int set = semget(key_of(1), 3, IPC_CREAT | 0666);
  create_module(1);
  EXPECT_EQ(SegmentView(segment_id(1)).word(8), static_cast<uint32_t>(set));
  EXPECT_EQ(semctl(set, 0, GETVAL), 10);
  EXPECT_EQ(semctl(set, 1, GETVAL), 0);
}

TEST_F(GVarInit, RemovesASegmentThatNamesAnotherSet) {
  create_module(1);
  int set = semaphore_id(1);
  SegmentView segment(segment_id(1));
  segment.word(8) = static_cast<uint32_t>(set + 1);
  std::vector<unsigned char> before = segment.bytes();
  expect_in_child([] {
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInit(1, 1024, 52, &created), 1U);
    EXPECT_EQ(created, kCanary);
  });
  EXPECT_EQ(segment_id(1), -1) << "the segment is removed although it existed before";
  EXPECT_EQ(segment.bytes(), before);
  EXPECT_EQ(semaphore_id(1), set);
  EXPECT_EQ(semaphore_value(set), 10);
}

TEST_F(GVarInit, RemovesASegmentWhoseSetWasReplaced) {
  create_module(1);
  semctl(semaphore_id(1), 0, IPC_RMID);
  expect_in_child([] { EXPECT_EQ(ROQ_UTIL_GVarInit(1, 1024, 52, nullptr), 1U); });
  EXPECT_EQ(segment_id(1), -1);
  EXPECT_EQ(semaphore_value(semaphore_id(1)), 0) << "a new set was made and never set to 10";
}

TEST_F(GVarInit, RemovesTheSegmentWhenTheSetMayNotBeUsed) {
  semget(key_of(1), 1, IPC_CREAT | 0600);
  expect_in_child([] {
    become_somebody_else();
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInit(1, 1024, 52, &created), 1U);
    EXPECT_EQ(created, kCanary);
  });
  EXPECT_EQ(segment_id(1), -1);
}

// The kernel's limits on semaphores, changed and put back.
class SemaphoreLimits {
public:
  explicit SemaphoreLimits(const char* limits) {
    int fd = open(path, O_RDWR | O_CLOEXEC);
    ssize_t length = read(fd, before_, sizeof before_ - 1);
    EXPECT_GT(length, 0);
    close(fd);
    write_all(limits);
  }
  ~SemaphoreLimits() { write_all(before_); }
  SemaphoreLimits(const SemaphoreLimits&) = delete;
  SemaphoreLimits& operator=(const SemaphoreLimits&) = delete;

private:
  static constexpr const char* path = "/proc/sys/kernel/sem";
  void write_all(const char* limits) {
    int fd = open(path, O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(write(fd, limits, strlen(limits)), static_cast<ssize_t>(strlen(limits)));
    close(fd);
  }
  char before_[128] = {};
};

TEST_F(GVarInit, RemovesTheSegmentWhenThereAreNoSetsLeft) {
  SemaphoreLimits no_sets("32000 1024000000 500 0");
  ASSERT_EQ(semget(key_of(0), 1, IPC_CREAT | 0666), -1) << "the limit is meant to work";
  expect_in_child([] { EXPECT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, nullptr), 1U); });
  EXPECT_EQ(segment_id(0), -1);

  // Also when the header names a set already: the missing id differs from it.
  int id = create_foreign_segment(0);
  SegmentView(id).word(8) = 77;
  expect_in_child([] { EXPECT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, nullptr), 1U); });
  EXPECT_EQ(segment_id(0), -1);
}

TEST_F(GVarInit, FailsWithoutPermissionAndLeavesTheSegment) {
  int id = create_foreign_segment(0, 1024, 0600);
  expect_in_child([] {
    become_somebody_else();
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, &created), 1U);
    EXPECT_EQ(created, kCanary);
  });
  EXPECT_EQ(segment_id(0), id);
  EXPECT_EQ(semaphore_id(0), -1);
}

void* occupy(uint32_t module) {
  void* place = address_to_pointer(fixed_address(module));
  return mmap(place, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
}

TEST_F(GVarInit, AtAnOccupiedAddressFailsAndLeavesTheFreshRawSegment) {
  expect_in_child([] {
    *static_cast<uint32_t*>(occupy(6)) = kCanary;
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInit(6, 1024, 52, &created), 1U);
    EXPECT_EQ(created, kCanary);
    EXPECT_EQ(*static_cast<uint32_t*>(address_to_pointer(fixed_address(6))), kCanary);
  });
  EXPECT_TRUE(SegmentView(segment_id(6)).is_zero(0, 1024));
  EXPECT_EQ(semaphore_id(6), -1);
}

TEST_F(GVarInit, AfterADeletionInTheSameProcessFailsAndLeavesTheFreshRawSegment) {
  expect_in_child([] {
    ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, nullptr), 0U);
    int old_id = segment_id(3);
    ASSERT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 0U);
    uint32_t created = kCanary;
    EXPECT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, &created), 1U);
    EXPECT_EQ(created, kCanary);
    EXPECT_NE(segment_id(3), old_id);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 1U);
    EXPECT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, &created), 1U) << "and again, now that the segment exists";
    EXPECT_EQ(*static_cast<uint32_t*>(address_to_pointer(fixed_address(3))), 0x00042047U) << "the old mapping";

    shmdt(address_to_pointer(fixed_address(3)));
    EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
    EXPECT_EQ(*static_cast<uint32_t*>(address_to_pointer(fixed_address(3))), 0U) << "the raw one";
  });
  SegmentView segment(segment_id(3));
  EXPECT_TRUE(segment.is_zero(0, 1024));
}

TEST_F(GVarInit, FailsWhenSomethingElseTookTheAddressAfterADetach) {
  expect_in_child([] {
    ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, nullptr), 0U);
    shmdt(address_to_pointer(fixed_address(3)));
    occupy(3);
    EXPECT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, nullptr), 1U);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 1U);
    shmdt(address_to_pointer(fixed_address(3)));
    munmap(address_to_pointer(fixed_address(3)), 4096);
    shmat(create_private_segment(), address_to_pointer(fixed_address(3)), 0);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 1U) << "another segment";
    shmdt(address_to_pointer(fixed_address(3)));
    EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
  });
}

TEST_F(GVarInit, AcceptsASegmentThatTheProcessAttachedAtItsAddressByItself) {
  create_module(3);
  expect_in_child([] {
    void* place = address_to_pointer(fixed_address(3));
    ASSERT_EQ(shmat(segment_id(3), place, 0), place);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
    EXPECT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, nullptr), 0U);
  });
}

TEST_F(GVarInit, AChildInheritsWhatItsParentAttached) {
  expect_in_child([] {
    ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, nullptr), 0U);
    expect_in_child([] {
      EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
      EXPECT_EQ(ROQ_UTIL_GVarSetValue(0x00030001, "x", 1), 0U);
    });
    EXPECT_NE(ROQ_UTIL_GVarGetValue(0x00030001, nullptr), nullptr);
  });
}

TEST_F(GVarInit, RacedByManyProcessesCreatesOnce) {
  for (int round = 0; round < 5; ++round) {
    remove_all_ipc();
    Shared<int> created_count;
    Shared<int> start;
    std::vector<std::unique_ptr<Child>> racers;
    for (int i = 0; i < 8; ++i) {
      racers.push_back(std::make_unique<Child>([&] {
        while (__atomic_load_n(start.get(), __ATOMIC_RELAXED) == 0)
          usleep(100);
        uint32_t created = 0;
        EXPECT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, &created), 0U);
        __atomic_add_fetch(created_count.get(), static_cast<int>(created), __ATOMIC_RELAXED);
      }));
    }
    __atomic_store_n(start.get(), 1, __ATOMIC_RELAXED);
    for (auto& racer : racers)
      EXPECT_TRUE(racer->wait().exited_with(0));
    EXPECT_EQ(*created_count, 1);
  }
}

// In a fresh IPC namespace the first segment and the first set have the id 0.
TEST_F(GVarInit, OfASetWithTheIdZeroMeansNoLocking) {
  expect_in_child([] {
    ASSERT_EQ(unshare(CLONE_NEWIPC), 0);
    create_private_segment();
    ASSERT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, nullptr), 0U);
    ASSERT_EQ(semaphore_id(0), 0);
    EXPECT_EQ(SegmentView(segment_id(0)).word(8), 0U);
    set_semaphore(0, 0);
    EXPECT_EQ(ROQ_UTIL_GVarSetValue(1, "x", 1), 0U) << "would wait for ever if it locked";
    EXPECT_EQ(semaphore_value(0), 0);
    EXPECT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, nullptr), 0U);
    EXPECT_EQ(semaphore_value(0), 10) << "taken for a header without a set, so it is set again";
  });
}

TEST_F(GVarInit, DoesNotRemoveASegmentWithTheIdZeroWhenItFails) {
  expect_in_child([] {
    ASSERT_EQ(unshare(CLONE_NEWIPC), 0);
    ASSERT_EQ(create_foreign_segment(0), 0);
    SegmentView(0).word(8) = 12345;
    EXPECT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, nullptr), 1U);
    EXPECT_EQ(segment_id(0), 0);
  });
}

// ---- ROQ_UTIL_GVarAttach

class GVarAttach : public StoreTest {};

TEST_F(GVarAttach, AttachesAnExistingSegmentAtItsAddress) {
  create_module(2);
  create_module(6);
  expect_in_child([] {
    EXPECT_EQ(ROQ_UTIL_GVarAttach(2), 0U);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(6), 0U);
    EXPECT_EQ(*static_cast<uint32_t*>(address_to_pointer(0x2F100000)), 0x00042047U);
    EXPECT_EQ(*static_cast<uint32_t*>(address_to_pointer(0x2F500000)), 0x00042047U);
  });
}

TEST_F(GVarAttach, FailsWithoutASegmentAndCreatesNone) {
  create_module(2);
  expect_in_child([] { EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 1U); });
  EXPECT_EQ(segment_id(3), -1);
  EXPECT_EQ(semaphore_id(3), -1);
}

TEST_F(GVarAttach, RefusesModulesFromSevenOnEvenWhereASegmentExists) {
  for (uint32_t module : {7U, 16U, 17U})
    create_foreign_segment(module);
  expect_in_child([] {
    for (uint32_t module : {7U, 16U, 17U, 0xFFFFFFFFU})
      EXPECT_EQ(ROQ_UTIL_GVarAttach(module), 1U);
  });
  EXPECT_EQ(attached_processes(segment_id(7)), 0);
}

TEST_F(GVarAttach, ChecksNoMagic) {
  create_foreign_segment(0);
  expect_in_child([] {
    EXPECT_EQ(ROQ_UTIL_GVarAttach(0), 0U);
    *static_cast<uint32_t*>(address_to_pointer(kFirstAddress)) = kCanary;
  });
  EXPECT_EQ(SegmentView(segment_id(0)).word(0), kCanary);
}

TEST_F(GVarAttach, FailsAtAnOccupiedAddress) {
  create_module(0);
  expect_in_child([] {
    occupy(0);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(0), 1U);
  });
}

TEST_F(GVarAttach, FailsWithoutPermission) {
  create_foreign_segment(0, 1024, 0600);
  create_foreign_segment(1, 1024, 0644); // may be seen and read, but not attached for writing
  expect_in_child([] {
    become_somebody_else();
    EXPECT_EQ(ROQ_UTIL_GVarAttach(0), 1U);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(1), 1U);
  });
}

// ---- the existence test, through ROQ_UTIL_GVarGetMemHandle

class GVarGetMemHandle : public StoreTest {};

TEST_F(GVarGetMemHandle, IsTheSegmentsAddressPlus24) {
  create_module(0);
  create_module(3);
  create_module(6);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(0), address_to_pointer(0x2EF00018));
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), address_to_pointer(0x2F200018));
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(6), address_to_pointer(0x2F500018));
}

TEST_F(GVarGetMemHandle, IsNullWithoutASegment) {
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(0), nullptr);
  create_module(0);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(1), nullptr);
}

TEST_F(GVarGetMemHandle, AttachesNothing) {
  create_module(3);
  expect_in_child([] {
    EXPECT_NE(ROQ_UTIL_GVarGetMemHandle(3), nullptr);
    EXPECT_EQ(attached_processes(segment_id(3)), 0);
  });
}

TEST_F(GVarGetMemHandle, GivesAUsablePool) {
  expect_in_child([] {
    ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, nullptr), 0U);
    RoqPoolHandle* pool = ROQ_UTIL_GVarGetMemHandle(3);
    EXPECT_EQ(ROQ_UTIL_BgetMalloc(pool, 8), address_to_pointer(fixed_address(3) + 1024 - 16));
    Outcome outcome = run_in_child([pool] { bgetz(pool, 8); });
    EXPECT_TRUE(stopped_by(outcome, 740, "bgetz", "rsize >= size"));
    EXPECT_EQ(pool->getcount, 2) << "the allocation itself succeeded";
  });
}

TEST_F(GVarGetMemHandle, KnowsModulesUpTo16WhoeverMadeTheirSegments) {
  for (uint32_t module = 7; module <= 17; ++module) {
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(module), nullptr);
    create_foreign_segment(module, 1);
  }
  for (uint32_t module = 7; module <= 16; ++module)
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(module), handle_of(module));
  for (uint32_t module : {17U, 18U, 255U, 256U + 7U, 0x10000U + 7U, 0xFFFFFFFFU})
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(module), nullptr) << module;
}

TEST_F(GVarGetMemHandle, FindsAModuleAmongForeignSegments) {
  std::vector<int> before, after;
  for (int i = 0; i < 5; ++i)
    before.push_back(create_private_segment());
  create_module(3);
  for (int i = 0; i < 5; ++i)
    after.push_back(create_private_segment());
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), handle_of(3));
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(4), nullptr);
  for (int id : before)
    shmctl(id, IPC_RMID, nullptr);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), handle_of(3)) << "with empty slots in front";
  expect_in_child([] { EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 0U); });
  shmctl(segment_id(3), IPC_RMID, nullptr);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), nullptr);
  for (int id : after)
    shmctl(id, IPC_RMID, nullptr);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), nullptr);
}

TEST_F(GVarGetMemHandle, FollowsASegmentThatOthersDeleteAndMakeAnew) {
  create_module(3);
  int index = index_of(segment_id(3));
  ASSERT_EQ(ROQ_UTIL_GVarGetMemHandle(3), handle_of(3));
  expect_in_child([] { EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 0U); });
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), nullptr);

  // Somebody else's segment takes the place in the kernel's table. The kernel gives out its places in turn, and begins
  // again the sooner the fewer there are.
  int foreign;
  for (int tries = 0; index_of(foreign = create_private_segment()) != index && tries < 4000; ++tries)
    shmctl(foreign, IPC_RMID, nullptr);
  ASSERT_EQ(index_of(foreign), index);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), nullptr);

  create_module(3);
  ASSERT_NE(index_of(segment_id(3)), index);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), handle_of(3));
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), handle_of(3));
  shmctl(foreign, IPC_RMID, nullptr);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), handle_of(3));
}

TEST_F(GVarGetMemHandle, DoesNotTakeAnotherModulesSegmentForItsOwn) {
  create_module(3);
  ASSERT_NE(ROQ_UTIL_GVarGetMemHandle(3), nullptr);
  int index = index_of(segment_id(3));
  shmctl(segment_id(3), IPC_RMID, nullptr);
  // The kernel gives out its places in turn.
  int other;
  for (int tries = 0; index_of(other = create_foreign_segment(5)) != index && tries < 1000; ++tries)
    shmctl(other, IPC_RMID, nullptr);
  ASSERT_EQ(index_of(segment_id(5)), index);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), nullptr);
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(5), handle_of(5));
}

TEST_F(GVarGetMemHandle, PassesOverSegmentsThatMayNotBeRead) {
  int front = create_private_segment(0600);
  create_module(3);
  int back = create_private_segment(0600);
  ASSERT_LT(index_of(front), index_of(segment_id(3)));
  ASSERT_LT(index_of(segment_id(3)), index_of(back));
  expect_in_child([] {
    become_somebody_else();
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), handle_of(3));
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(2), nullptr);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(3), 0U);
  });
}

TEST_F(GVarGetMemHandle, DoesNotSeeAModuleWhoseSegmentMayNotBeRead) {
  create_foreign_segment(3, 1024, 0600);
  expect_in_child([] {
    become_somebody_else();
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), nullptr);
  });
  EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), handle_of(3));
  expect_in_child([] {
    become_somebody_else();
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), nullptr) << "also where it was seen before";
  });
}

TEST_F(GVarGetMemHandle, FindsASegmentWithTheIdZero) {
  expect_in_child([] {
    ASSERT_EQ(unshare(CLONE_NEWIPC), 0);
    ASSERT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, nullptr), 0U);
    ASSERT_EQ(segment_id(0), 0);
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(0), handle_of(0));
    EXPECT_EQ(ROQ_UTIL_GVarAttach(0), 0U);
  });
}

// ---- ROQ_UTIL_GVarDelModule

class GVarDelModule : public StoreTest {};

TEST_F(GVarDelModule, RemovesTheSegmentAndLeavesTheSet) {
  create_module(3);
  int set = semaphore_id(3);
  EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 0U);
  EXPECT_EQ(segment_id(3), -1);
  EXPECT_EQ(semaphore_id(3), set);
  EXPECT_EQ(semaphore_value(set), 10);
}

TEST_F(GVarDelModule, AcceptsASizeUpToTheSegments) {
  for (uint32_t size : {0U, 1U, 1024U}) {
    create_module(3);
    EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, size), 0U);
    EXPECT_EQ(segment_id(3), -1);
    remove_all_ipc();
  }
}

TEST_F(GVarDelModule, WithALargerSizeReturnsOneAndLeavesTheSegment) {
  create_module(3);
  int id = segment_id(3);
  EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1025), 1U);
  EXPECT_EQ(segment_id(3), id);
}

TEST_F(GVarDelModule, OfAMissingModuleCreatesAndRemovesIt) {
  EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 0U);
  EXPECT_EQ(segment_id(3), -1);
  EXPECT_EQ(semaphore_id(3), -1);
  EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1), 0U) << "there is no lower limit";
}

TEST_F(GVarDelModule, OfAMissingModuleWithoutASizeReturnsOne) { EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 0), 1U); }

TEST_F(GVarDelModule, DoesNotCheckTheModulesRange) {
  int id = create_foreign_segment(7);
  EXPECT_EQ(ROQ_UTIL_GVarDelModule(7, 1024), 0U);
  EXPECT_EQ(shmctl(id, IPC_RMID, nullptr), -1);
  for (uint32_t module : {7U, 16U, 17U, 100U}) {
    EXPECT_EQ(ROQ_UTIL_GVarDelModule(module, 1024), 0U);
    EXPECT_EQ(segment_id(module), -1);
  }
}

TEST_F(GVarDelModule, ReturnsAllOnesWhenTheRemovalIsRefused) {
  create_module(3);
  int id = segment_id(3);
  expect_in_child([] {
    become_somebody_else();
    EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 0xFFFFFFFFU);
  });
  EXPECT_EQ(segment_id(3), id);
}

TEST_F(GVarDelModule, ReturnsOneWhenTheSegmentMayNotBeUsed) {
  create_foreign_segment(3, 1024, 0600);
  expect_in_child([] {
    become_somebody_else();
    EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 1U);
  });
  EXPECT_NE(segment_id(3), -1);
}

TEST_F(GVarDelModule, ReturnsOneForASegmentWithTheIdZero) {
  expect_in_child([] {
    ASSERT_EQ(unshare(CLONE_NEWIPC), 0);
    ASSERT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, nullptr), 0U);
    ASSERT_EQ(segment_id(0), 0);
    EXPECT_EQ(ROQ_UTIL_GVarDelModule(0, 1024), 1U);
    EXPECT_EQ(segment_id(0), 0);
  });
}

TEST_F(GVarDelModule, LeavesTheMappingOfProcessesThatHaveIt) {
  expect_in_child([] {
    ASSERT_EQ(ROQ_UTIL_GVarInit(3, 1024, 52, nullptr), 0U);
    ASSERT_EQ(ROQ_UTIL_GVarSetValue(0x00030001, "x", 1), 0U);
    void* value = ROQ_UTIL_GVarGetValue(0x00030001, nullptr);
    EXPECT_EQ(ROQ_UTIL_GVarDelModule(3, 1024), 0U);
    EXPECT_EQ(*static_cast<char*>(value), 'x');
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(3), nullptr);
    EXPECT_EQ(ROQ_UTIL_GVarGetValue(0x00030001, nullptr), nullptr);
    EXPECT_EQ(ROQ_UTIL_GVarSetValue(0x00030001, "y", 1), 1U);
  });
}

TEST_F(GVarInit, PrintsNothingWhateverHappens) {
  Outcome outcome = run_in_child([] {
    ROQ_UTIL_GVarInit(7, 1024, 52, nullptr);
    ROQ_UTIL_GVarInit(0, 1024, 52, nullptr);
    ROQ_UTIL_GVarInit(0, 2048, 52, nullptr);
    ROQ_UTIL_GVarAttach(1);
    ROQ_UTIL_GVarDelModule(0, 2048);
    ROQ_UTIL_GVarDelModule(0, 1024);
    ROQ_UTIL_GVarGetMemHandle(0);
  });
  EXPECT_TRUE(outcome.exited_with(0));
  EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST_F(GVarInit, MakesASegmentThatEverybodyMayUse) {
  expect_in_child([] {
    umask(0077);
    ASSERT_EQ(ROQ_UTIL_GVarInit(0, 1024, 52, nullptr), 0U);
  });
  EXPECT_EQ(permissions_of_segment(segment_id(0)), 0666U);
  expect_in_child([] {
    become_somebody_else();
    EXPECT_EQ(ROQ_UTIL_GVarAttach(0), 0U);
    EXPECT_EQ(ROQ_UTIL_GVarSetValue(1, "x", 1), 0U);
  });
}

} // namespace
