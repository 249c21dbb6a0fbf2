#include "gvar/module.h"

#include "clock.h"
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <roqutil/gvar.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <time.h>

namespace roq::tool::gvar {
namespace {

constexpr int kFirstProjectId = 'g';

int change_semaphore(int id, int change, short flags, const timespec* limit) {
  sembuf operation{};
  operation.sem_op = static_cast<short>(change);
  operation.sem_flg = flags;
  return semtimedop(id, &operation, 1, limit);
}

// What is left of a number of seconds that began at `start`; nothing when they are over.
std::optional<timespec> time_left(int64_t start, uint32_t seconds) {
  int64_t left = start + seconds * kNanosecondsPerSecond - nanoseconds_now();
  if (left <= 0) return std::nullopt;
  timespec result{};
  result.tv_sec = static_cast<time_t>(left / kNanosecondsPerSecond);
  result.tv_nsec = static_cast<long>(left % kNanosecondsPerSecond);
  return result;
}

// "NUMBER ARGUMENT ARGUMENT ...", the system call a process is in. The numbers are those of semop, semtimedop and
// their common predecessor ipc on the processors this runs on; its first argument says which operation it is.
bool is_blocked_on(const char* call, int semaphore_id) {
  constexpr long kIpc[] = {117, 4117};
  constexpr long kSemaphoreCalls[] = {65, 220, 420, 4420};
  constexpr unsigned long kSemop = 1, kSemtimedop = 4;
  char* at = nullptr;
  long number = strtol(call, &at, 10);
  if (at == call) return false;
  unsigned long first = strtoul(at, &at, 16);
  unsigned long second = strtoul(at, &at, 16);
  auto id = static_cast<unsigned long>(semaphore_id);
  if (std::find(std::begin(kSemaphoreCalls), std::end(kSemaphoreCalls), number) != std::end(kSemaphoreCalls))
    return first == id;
  bool is_ipc = std::find(std::begin(kIpc), std::end(kIpc), number) != std::end(kIpc);
  return is_ipc && (first == kSemop || first == kSemtimedop) && second == id;
}

bool process_is_blocked_on(const char* pid, int semaphore_id) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%.20s/syscall", pid);
  FILE* stream = fopen(path, "re");
  if (stream == nullptr) return false;
  char line[256] = "";
  bool read = fgets(line, sizeof line, stream) != nullptr;
  fclose(stream);
  return read && is_blocked_on(line, semaphore_id);
}

} // namespace

Module look_up_module(uint32_t number) {
  Module module{number, ftok("/var/", kFirstProjectId + static_cast<int>(number)), -1, 0, 0, -1, 0};
  if (module.key == -1) {
    module.error = errno;
    return module;
  }
  module.semaphore_id = semget(module.key, 0, 0);
  module.segment_id = shmget(module.key, 0, 0);
  if (module.segment_id < 0) {
    module.error = errno;
    return module;
  }
  shmid_ds segment{};
  if (shmctl(module.segment_id, IPC_STAT, &segment) != 0) {
    module.error = errno;
    return module;
  }
  module.size = segment.shm_segsz > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(segment.shm_segsz);
  module.attached = static_cast<uint32_t>(segment.shm_nattch);
  return module;
}

void warn_of_ids(const Module& module) {
  constexpr const char* kRemedy = "delete the module, use up id 0 (create and remove a segment and a set), and "
                                  "initialise it again";
  if (module.semaphore_id == 0)
    warn("module %u: its semaphore set has the id 0, which the store takes for 'no locking'; %s", module.number,
         kRemedy);
  if (module.segment_id == 0)
    warn("module %u: its segment has the id 0, and the store does not delete such a segment; remove it with ipcrm -m 0",
         module.number);
}

Attachment::Attachment(const Module& module, bool writable) {
  void* place = shmat(module.segment_id, nullptr, writable ? 0 : SHM_RDONLY);
  if (place == reinterpret_cast<void*>(-1))
    error_ = errno;
  else
    bytes_ = static_cast<uint8_t*>(place);
}

Attachment::~Attachment() {
  if (bytes_ != nullptr) shmdt(bytes_);
}

int Attachment::lock_id(const Module& module) const {
  if (module.size < kFixedHeader || read32(bytes_, kSemaphoreAt) == 0) return 0;
  return module.semaphore_id > 0 ? module.semaphore_id : 0;
}

Lock::Lock(int semaphore_id, int units, uint32_t seconds)
    : semaphore_id_(semaphore_id), units_(units), outcome_(Outcome::off) {
  if (semaphore_id == 0) return;
  int64_t start = nanoseconds_now();
  int result;
  do {
    std::optional<timespec> left = time_left(start, seconds);
    short flags = left ? SEM_UNDO : SEM_UNDO | IPC_NOWAIT;
    result = change_semaphore(semaphore_id, -units, flags, left ? &*left : nullptr);
  } while (result != 0 && errno == EINTR);
  error_ = result == 0 ? 0 : errno;
  if (result == 0)
    outcome_ = Outcome::held;
  else
    outcome_ = error_ == EAGAIN ? Outcome::timed_out : Outcome::refused;
}

Lock::~Lock() {
  if (outcome_ == Outcome::held) change_semaphore(semaphore_id_, units_, SEM_UNDO, nullptr);
}

std::optional<SemaphoreState> state_of(int semaphore_id) {
  SemaphoreState state{semctl(semaphore_id, 0, GETVAL), semctl(semaphore_id, 0, GETPID),
                       semctl(semaphore_id, 0, GETNCNT)};
  if (state.value < 0) return std::nullopt;
  return state;
}

Array<pid_t> processes_waiting_for(int semaphore_id) {
  Array<pid_t> waiting;
  DIR* processes = opendir("/proc");
  if (processes == nullptr) return waiting;
  while (const dirent* entry = readdir(processes)) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    if (process_is_blocked_on(entry->d_name, semaphore_id)) waiting.add(atoi(entry->d_name));
  }
  closedir(processes);
  return waiting;
}

int explain_lock(const Invocation& call, const Module& module, const Lock& lock, int semaphore_id, uint32_t seconds) {
  if (lock.outcome() == Lock::Outcome::refused)
    return call.refused("module %u: its lock (semaphore set %d) was refused: %s; run as a user who may use the store",
                        module.number, semaphore_id, strerror(lock.error()));
  std::optional<SemaphoreState> state = state_of(semaphore_id);
  return call.refused(
      "module %u: its lock was not to be had within %u seconds: %d of %d units are free, process %d used "
      "it last; wait longer with --wait, or end the process that holds it",
      module.number, seconds, state ? state->value : 0, kAllUnits, state ? state->last_user : 0);
}

std::optional<int> find_module(const Invocation& call, uint32_t number, Module& module) {
  module = look_up_module(number);
  if (module.error == ENOENT && module.key != -1)
    return call.no("module %u: it has no segment; create one with 'roqutil gvar init %u'", number, number);
  if (module.error != 0)
    return call.refused("module %u: %s: %s; run as a user who may use the store", number,
                        module.key == -1 ? "/var/" : "its segment", strerror(module.error));
  warn_of_ids(module);
  return std::nullopt;
}

std::optional<int> attach_module(const Invocation& call, uint32_t number) {
  errno = 0;
  if (ROQ_UTIL_GVarAttach(number) == 0) return std::nullopt;
  return call.refused("module %u: its segment could not be attached at 0x%08x: %s; see 'roqutil doctor gvar'", number,
                      address_of_module(number), strerror(errno));
}

void copy_segment(const Attachment& attachment, Snapshot& snapshot) {
  // What is too large to be of the store is judged by its size alone.
  uint32_t size = std::min(snapshot.module.size, kLargestSegment);
  snapshot.bytes.resize(std::max(size, kFixedHeader), 0);
  memcpy(snapshot.bytes.data(), attachment.bytes(), size);
}

std::optional<int> take_snapshot(const Invocation& call, uint32_t number, Locking locking, Snapshot& snapshot) {
  std::optional<uint32_t> seconds =
      call.option_number("wait", locking == Locking::needed ? kDefaultWait : 1, 0, kLongestWait);
  if (!seconds) return kUsage;
  if (std::optional<int> code = find_module(call, number, snapshot.module)) return code;
  const Module& module = snapshot.module;
  Attachment attachment(module, false);
  if (!attachment.ok()) return explain_attach(call, module, attachment.error());

  int semaphore_id = attachment.lock_id(module);
  Lock lock(semaphore_id, 1, *seconds);
  snapshot.locked = lock.holds();
  if (!lock.holds() && locking == Locking::needed) return explain_lock(call, module, lock, semaphore_id, *seconds);
  copy_segment(attachment, snapshot);
  return std::nullopt;
}

std::optional<int> inspect_module(const Invocation& call, uint32_t number, Report& report) {
  Snapshot snapshot;
  if (std::optional<int> code = take_snapshot(call, number, Locking::needed, snapshot)) return code;
  report = inspect(snapshot.memory(), snapshot.surroundings());
  return std::nullopt;
}

int explain_attach(const Invocation& call, const Module& module, int error) {
  return call.refused("module %u: its segment could not be attached: %s; run as a user who may use the store",
                      module.number, strerror(error));
}

} // namespace roq::tool::gvar
