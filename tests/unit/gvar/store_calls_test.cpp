// What the store asks of the kernel, call by call.
#include "scripted_ipc.h"
#include "support/child.h"
#include "support/mapping.h"
#include "support/store_segment.h"
#include <gmock/gmock.h>

namespace {

using namespace roq::test;
using roq::gvar::SegmentHeader;
using testing::ElementsAre;

constexpr uint32_t kCanary = 0xC0FFEE11;

// Zeroed memory where a module's segment would be attached.
struct AttachedMemory {
  explicit AttachedMemory(uint32_t module) : memory(0x2EF00000 + module * 0x100000, 4096) {}
  SegmentHeader* header() const { return reinterpret_cast<SegmentHeader*>(memory.at(0)); }
  Mapping memory;
};

// ---- segments

TEST(StoreCalls, AnInitAsksForANewSegmentAndThenForTheExistingOne) {
  ScriptedIpc ipc({-EEXIST, -EACCES});
  uint32_t created = kCanary;
  EXPECT_EQ(ROQ_UTIL_GVarInit(4, 2000, 52, &created), 1U);
  EXPECT_EQ(created, kCanary);
  EXPECT_THAT(ipc.calls, ElementsAre("shmget module 4, 2000, 03666", "shmget module 4, 2000, 0666"));
}

TEST(StoreCalls, AnyFailureToMakeASegmentLeadsToTheExistingOne) {
  ScriptedIpc ipc({-ENOSPC, 7, 0});
  EXPECT_EQ(ROQ_UTIL_GVarDelModule(100, 0xFFFFFFFF), 0U);
  EXPECT_THAT(ipc.calls, ElementsAre("shmget another key, 4294967295, 03666", "shmget another key, 4294967295, 0666",
                                     "shmctl 7, IPC_RMID"));
}

TEST(StoreCalls, AnInitAttachesAtTheModulesAddressWithoutFlags) {
  ScriptedIpc ipc({5, -ENOMEM});
  EXPECT_EQ(ROQ_UTIL_GVarInit(4, 2000, 52, nullptr), 1U);
  EXPECT_THAT(ipc.calls, ElementsAre("shmget module 4, 2000, 03666", "shmat 5, 0x2f300000, 0"));
}

TEST(StoreCalls, AnAttachElsewhereIsAFailureAndIsNotUndone) {
  ScriptedIpc ipc({5, 0});
  ipc.attached_at = 0x2f310000;
  uint32_t created = kCanary;
  EXPECT_EQ(ROQ_UTIL_GVarInit(4, 2000, 52, &created), 1U);
  EXPECT_EQ(created, kCanary);
  EXPECT_THAT(ipc.calls, ElementsAre("shmget module 4, 2000, 03666", "shmat 5, 0x2f300000, 0"));
}

// ---- semaphore sets

TEST(StoreCalls, AnInitMakesASetOfOneSemaphoreAndSetsItToTen) {
  AttachedMemory segment(4);
  ScriptedIpc ipc({5, 0, 9, 0});
  uint32_t created = kCanary;
  EXPECT_EQ(ROQ_UTIL_GVarInit(4, 2000, 52, &created), 0U);
  EXPECT_EQ(created, 1U);
  EXPECT_EQ(segment.header()->semaphore_id, 9);
  EXPECT_THAT(ipc.calls, ElementsAre("shmget module 4, 2000, 03666", "shmat 5, 0x2f300000, 0",
                                     "semget module 4, 1, 03666", "semctl 9, 0, SETVAL, 10"));
}

TEST(StoreCalls, AnInitAsksForAnExistingSetWithoutASize) {
  AttachedMemory segment(4);
  ScriptedIpc ipc({-EEXIST, 5, 0, -EEXIST, 9});
  segment.header()->semaphore_id = 9;
  uint32_t created = kCanary;
  EXPECT_EQ(ROQ_UTIL_GVarInit(4, 2000, 52, &created), 0U);
  EXPECT_EQ(created, 0U);
  EXPECT_THAT(ipc.calls,
              ElementsAre("shmget module 4, 2000, 03666", "shmget module 4, 2000, 0666", "shmat 5, 0x2f300000, 0",
                          "semget module 4, 1, 03666", "semget module 4, 0, 01666"));
}

TEST(StoreCalls, AnExistingSetThatCannotBeHadRemovesTheSegment) {
  AttachedMemory segment(4);
  ScriptedIpc ipc({-EEXIST, 5, 0, -EEXIST, -EACCES});
  segment.header()->semaphore_id = -1;
  EXPECT_EQ(ROQ_UTIL_GVarInit(4, 2000, 52, nullptr), 1U);
  EXPECT_THAT(ipc.calls, testing::Contains("shmctl 5, IPC_RMID"));
}

TEST(StoreCalls, AMissingSetIsMinusOneWhichNoSemaphoreHas) {
  AttachedMemory segment(4);
  ScriptedIpc ipc({5, 0, -ENOSPC, -EINVAL});
  uint32_t created = kCanary;
  EXPECT_EQ(ROQ_UTIL_GVarInit(4, 2000, 52, &created), 1U);
  EXPECT_EQ(created, kCanary);
  EXPECT_EQ(segment.header()->semaphore_id, 0);
  EXPECT_THAT(ipc.calls, ElementsAre("shmget module 4, 2000, 03666", "shmat 5, 0x2f300000, 0",
                                     "semget module 4, 1, 03666", "semctl -1, 0, SETVAL, 10", "shmctl 5, IPC_RMID"));
}

TEST(StoreCalls, AMissingSetSuitsAHeaderThatSaysMinusOne) {
  AttachedMemory segment(4);
  ScriptedIpc ipc({-EEXIST, 5, 0, -ENOSPC});
  segment.header()->semaphore_id = -1;
  EXPECT_EQ(ROQ_UTIL_GVarInit(4, 2000, 52, nullptr), 0U);
  EXPECT_THAT(ipc.calls, ElementsAre("shmget module 4, 2000, 03666", "shmget module 4, 2000, 0666",
                                     "shmat 5, 0x2f300000, 0", "semget module 4, 1, 03666"));
}

TEST(StoreCalls, AnInitWithoutLockAsksForNoSet) {
  AttachedMemory segment(4);
  ScriptedIpc ipc({-EEXIST, 5});
  segment.header()->semaphore_id = 9;
  EXPECT_EQ(ROQ_UTIL_GVarInitEx(4, 2000, 52, 0, nullptr), 0U);
  EXPECT_EQ(segment.header()->semaphore_id, 0);
  EXPECT_THAT(ipc.calls,
              ElementsAre("shmget module 4, 2000, 03666", "shmget module 4, 2000, 0666", "shmat 5, 0x2f300000, 0"));
}

// ---- the listing, in processes that have not seen the module before

TEST(StoreCalls, TheExistenceTestGoesThroughTheListingAndComparesKeysOnly) {
  expect_in_child([] {
    ScriptedIpc ipc({3, 11, -EINVAL, -EACCES, 14});
    ipc.modules = {{0, 8}, {2, 7}, {3, 7}};
    EXPECT_NE(ROQ_UTIL_GVarGetMemHandle(7), nullptr) << "what index 2 returned is not looked at";
    EXPECT_THAT(ipc.take_calls(),
                ElementsAre("shmctl 0, SHM_INFO", "shmctl 0, SHM_STAT", "shmctl 1, SHM_STAT", "shmctl 2, SHM_STAT"));
    EXPECT_NE(ROQ_UTIL_GVarGetMemHandle(7), nullptr);
    EXPECT_THAT(ipc.take_calls(), ElementsAre("shmctl 2, SHM_STAT")) << "where it was seen last";

    ipc.modules = {{3, 7}};
    ipc.answers = {-EINVAL, 3};
    EXPECT_NE(ROQ_UTIL_GVarGetMemHandle(7), nullptr);
    EXPECT_THAT(ipc.take_calls(), ElementsAre("shmctl 2, SHM_STAT", "shmctl 0, SHM_INFO", "shmctl 0, SHM_STAT",
                                              "shmctl 1, SHM_STAT", "shmctl 2, SHM_STAT", "shmctl 3, SHM_STAT"));
  });
}

TEST(StoreCalls, TheExistenceTestAsksTheHighestIndexToo) {
  expect_in_child([] {
    ScriptedIpc ipc({1});
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(9), nullptr);
    EXPECT_THAT(ipc.calls, ElementsAre("shmctl 0, SHM_INFO", "shmctl 0, SHM_STAT", "shmctl 1, SHM_STAT"));
  });
}

TEST(StoreCalls, WithoutAHighestIndexNothingExists) {
  expect_in_child([] {
    ScriptedIpc ipc({-EINVAL});
    ipc.modules = {{0, 10}};
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(10), nullptr);
    EXPECT_THAT(ipc.calls, ElementsAre("shmctl 0, SHM_INFO"));
  });
}

TEST(StoreCalls, ModulesFrom17OnAreNotAskedFor) {
  expect_in_child([] {
    ScriptedIpc ipc;
    EXPECT_EQ(ROQ_UTIL_GVarGetMemHandle(17), nullptr);
    EXPECT_EQ(ROQ_UTIL_GVarAttach(7), 1U);
    EXPECT_THAT(ipc.calls, ElementsAre());
  });
}

TEST(StoreCalls, AnAttachTakesTheIdThatTheListingReturned) {
  expect_in_child([] {
    ScriptedIpc ipc({0, 77, -EACCES});
    ipc.modules = {{0, 6}};
    EXPECT_EQ(ROQ_UTIL_GVarAttach(6), 1U);
    EXPECT_THAT(ipc.calls, ElementsAre("shmctl 0, SHM_INFO", "shmctl 0, SHM_STAT", "shmat 77, 0x2f500000, 0"));
  });
}

// ---- locks

// A module with variable 1, asked for once, so that it is known where its segment is.
class StoreLockCalls : public testing::Test {
protected:
  static constexpr uint32_t kModule = 11;
  static constexpr uint32_t kId = kModule << 16 | 1;

  void SetUp() override {
    segment.set(1, "value");
    ipc.modules = {{0, kModule}};
    ASSERT_NE(ROQ_UTIL_GVarGetMemHandle(kModule), nullptr);
    ipc.take_calls();
  }

  StoreSegment segment{kModule, 1024};
  ScriptedIpc ipc;
};

TEST_F(StoreLockCalls, ReadersTakeOneUnitWithUndoAndGiveItBack) {
  auto expect_calls = [this] {
    EXPECT_THAT(ipc.take_calls(),
                ElementsAre("shmctl 0, SHM_STAT", "semop 77, 0, -1, SEM_UNDO", "semop 77, 0, 1, SEM_UNDO"));
  };
  char buffer[8];
  EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(kId, buffer, sizeof buffer, nullptr), 0U);
  expect_calls();
  void* copy = nullptr;
  EXPECT_EQ(ROQ_UTIL_GVarGetValueWithCopy(kId, &copy, nullptr), 0U);
  free(copy);
  expect_calls();
  EXPECT_NE(ROQ_UTIL_GVarGetValue(kId, nullptr), nullptr);
  expect_calls();
}

TEST_F(StoreLockCalls, WritersTakeTenUnitsWithUndoAndGiveThemBack) {
  struct Row {
    uint32_t id, length;
  };
  for (Row row : {Row{kId, 5}, Row{kId + 1, 5}, Row{kId + 2, 0}}) {
    EXPECT_EQ(ROQ_UTIL_GVarSetValue(row.id, "other", row.length), 0U);
    EXPECT_THAT(ipc.take_calls(),
                ElementsAre("shmctl 0, SHM_STAT", "semop 77, 0, -10, SEM_UNDO", "semop 77, 0, 10, SEM_UNDO"));
  }
}

TEST_F(StoreLockCalls, AreRepeatedAfterASignalOnly) {
  ipc.answers = {0, -EINTR, -EINTR, 0, -EINTR, 0};
  EXPECT_NE(ROQ_UTIL_GVarGetValue(kId, nullptr), nullptr);
  EXPECT_THAT(ipc.take_calls(),
              ElementsAre("shmctl 0, SHM_STAT", "semop 77, 0, -1, SEM_UNDO", "semop 77, 0, -1, SEM_UNDO",
                          "semop 77, 0, -1, SEM_UNDO", "semop 77, 0, 1, SEM_UNDO", "semop 77, 0, 1, SEM_UNDO"));
  ipc.answers = {0, -EIDRM, -EAGAIN};
  EXPECT_NE(ROQ_UTIL_GVarGetValue(kId, nullptr), nullptr) << "failures are ignored";
  EXPECT_THAT(ipc.take_calls(),
              ElementsAre("shmctl 0, SHM_STAT", "semop 77, 0, -1, SEM_UNDO", "semop 77, 0, 1, SEM_UNDO"));
}

TEST_F(StoreLockCalls, AreNotMadeWithTheIdZero) {
  segment.header()->semaphore_id = 0;
  EXPECT_NE(ROQ_UTIL_GVarGetValue(kId, nullptr), nullptr);
  EXPECT_EQ(ROQ_UTIL_GVarSetValue(kId, "other", 5), 0U);
  EXPECT_THAT(ipc.calls, ElementsAre("shmctl 0, SHM_STAT", "shmctl 0, SHM_STAT"));
}

TEST_F(StoreLockCalls, OfAnEmptyListAreMadeByTheAddressGetterOnly) {
  segment.header()->variables = roq::gvar::SegmentAddress::null;
  char buffer[8];
  void* copy;
  EXPECT_EQ(ROQ_UTIL_GVarGetValueEx(kId, buffer, sizeof buffer, nullptr), 0U);
  EXPECT_EQ(ROQ_UTIL_GVarGetValueWithCopy(kId, &copy, nullptr), 0U);
  EXPECT_THAT(ipc.take_calls(), ElementsAre("shmctl 0, SHM_STAT", "shmctl 0, SHM_STAT"));
  EXPECT_EQ(ROQ_UTIL_GVarGetValue(kId, nullptr), nullptr);
  EXPECT_THAT(ipc.calls, ElementsAre("shmctl 0, SHM_STAT", "semop 77, 0, -1, SEM_UNDO", "semop 77, 0, 1, SEM_UNDO"));
}

} // namespace
