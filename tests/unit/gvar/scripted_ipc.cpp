#include "scripted_ipc.h"

#include <cstdarg>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <utility>

namespace roq::test {
namespace {

constexpr uint32_t kModules = 17;

ScriptedIpc* active = nullptr;

key_t key_of(uint32_t module) { return ftok("/var/", static_cast<int>(103 + module)); }

std::string name_of(key_t key) {
  for (uint32_t module = 0; module < kModules; ++module)
    if (key == key_of(module)) return "module " + std::to_string(module);
  return "another key";
}

[[gnu::format(printf, 1, 2)]] void note(const char* format, ...) {
  char text[128];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  active->calls.emplace_back(text);
}

int list_segments(int index, int command, shmid_ds* descriptor) {
  note("shmctl %d, %s", index, command == SHM_INFO ? "SHM_INFO" : "SHM_STAT");
  auto found = active->modules.find(index);
  if (command == SHM_STAT && found != active->modules.end()) descriptor->shm_perm.__key = key_of(found->second);
  return active->answer();
}

} // namespace

ScriptedIpc::ScriptedIpc(std::deque<int> script) : answers(std::move(script)) {
  EXPECT_EQ(active, nullptr) << "one script at a time";
  active = this;
}

ScriptedIpc::~ScriptedIpc() { active = nullptr; }

int ScriptedIpc::answer() {
  if (answers.empty()) return 0;
  int next = answers.front();
  answers.pop_front();
  if (next >= 0) return next;
  errno = -next;
  return -1;
}

std::vector<std::string> ScriptedIpc::take_calls() { return std::exchange(calls, {}); }

} // namespace roq::test

using namespace roq::test;

union SemaphoreArgument {
  int value;
  void* place;
};

extern "C" {

int __real_shmget(key_t key, size_t size, int flags);
void* __real_shmat(int id, const void* address, int flags);
int __real_shmctl(int id, int command, shmid_ds* descriptor);
int __real_semget(key_t key, int count, int flags);
int __real_semctl(int id, int number, int command, SemaphoreArgument argument);
int __real_semop(int id, sembuf* operations, size_t count);

int __wrap_shmget(key_t key, size_t size, int flags);
void* __wrap_shmat(int id, const void* address, int flags);
int __wrap_shmctl(int id, int command, shmid_ds* descriptor);
int __wrap_semget(key_t key, int count, int flags);
int __wrap_semctl(int id, int number, int command, SemaphoreArgument argument);
int __wrap_semop(int id, sembuf* operations, size_t count);
}

int __wrap_shmget(key_t key, size_t size, int flags) {
  if (active == nullptr) return __real_shmget(key, size, flags);
  note("shmget %s, %zu, %#o", name_of(key).c_str(), size, static_cast<unsigned>(flags));
  return active->answer();
}

void* __wrap_shmat(int id, const void* address, int flags) {
  if (active == nullptr) return __real_shmat(id, address, flags);
  auto place = reinterpret_cast<uintptr_t>(address);
  note("shmat %d, 0x%zx, %d", id, static_cast<size_t>(place), flags);
  if (active->answer() < 0) return reinterpret_cast<void*>(-1);
  return reinterpret_cast<void*>(active->attached_at != 0 ? active->attached_at : place);
}

int __wrap_shmctl(int id, int command, shmid_ds* descriptor) {
  if (active == nullptr) return __real_shmctl(id, command, descriptor);
  if (command == SHM_INFO || command == SHM_STAT) return list_segments(id, command, descriptor);
  note("shmctl %d, %s", id, command == IPC_RMID ? "IPC_RMID" : "another command");
  return active->answer();
}

int __wrap_semget(key_t key, int count, int flags) {
  if (active == nullptr) return __real_semget(key, count, flags);
  note("semget %s, %d, %#o", name_of(key).c_str(), count, static_cast<unsigned>(flags));
  return active->answer();
}

int __wrap_semctl(int id, int number, int command, SemaphoreArgument argument) {
  if (active == nullptr) return __real_semctl(id, number, command, argument);
  note("semctl %d, %d, %s, %d", id, number, command == SETVAL ? "SETVAL" : "another command", argument.value);
  return active->answer();
}

int __wrap_semop(int id, sembuf* operations, size_t count) {
  if (active == nullptr) return __real_semop(id, operations, count);
  for (size_t i = 0; i < count; ++i)
    note("semop %d, %d, %d, %s", id, operations[i].sem_num, operations[i].sem_op,
         operations[i].sem_flg == SEM_UNDO ? "SEM_UNDO" : "other flags");
  return active->answer();
}
