#include "gvar/segment.h"

#include "gvar/pool.h"
#include "gvar/variable.h"
#include "support/numbers.h"
#include "support/owners.h"
#include "support/relaxed.h"
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

namespace roq::gvar {
namespace {

constexpr uint32_t kFirstProjectId = 'g';
constexpr int kPermissions = 0666;
constexpr int kFreeSemaphore = 10;

// What semctl takes as its fourth argument; the C library leaves its declaration to the caller.
union SemaphoreArgument {
  int value;
  semid_ds* descriptor;
  unsigned short* values;
};

// Where this process last saw a module's segment. A place that went stale costs one system call and no more: it is
// asked again every time before it is believed.
struct LastSeen {
  Relaxed<key_t> key;
  Relaxed<int> index;
};

constinit LastSeen last_seen[kExistenceTestLimit];

// The segment that this process attached at a module's fixed address, plus one; 0 when it attached none. Asked only
// where the kernel's list of mappings cannot be read.
constinit Relaxed<int> attached_id_plus_one[kModuleLimit];

key_t key_of(uint32_t module) { return ftok("/var/", static_cast<int>(kFirstProjectId + module)); }

// The id of the segment at an index of the kernel's table, kNoSegment when it has another key.
int segment_at(int index, key_t key) {
  shmid_ds descriptor;
  descriptor.shm_perm.__key = IPC_PRIVATE; // what a slot that cannot be read leaves there
  int id = shmctl(index, SHM_STAT, &descriptor);
  return descriptor.shm_perm.__key == key ? id : kNoSegment;
}

int find_in_listing(uint32_t module) {
  key_t key = key_of(module);
  shm_info info;
  int highest = shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&info));
  for (int index = 0; index <= highest; ++index) {
    int id = segment_at(index, key);
    if (id == kNoSegment) continue;
    last_seen[module].key.store(key);
    last_seen[module].index.store(index);
    return id;
  }
  return kNoSegment;
}

struct ObtainedSegment {
  int id;
  bool created;
};

ObtainedSegment obtain_segment(key_t key, uint32_t size) {
  int id = shmget(key, size, IPC_CREAT | IPC_EXCL | kPermissions);
  if (id >= 0) return {id, true};
  return {shmget(key, size, kPermissions), false};
}

// What the kernel says of the mappings of this process: "ADDRESS-END RIGHTS OFFSET DEVICE INODE NAME". An attached
// segment has its id as inode number and a name that begins with "/SYSV".
bool is_segment_at(const char* line, const void* place, int id) {
  if (parse_unsigned(line, 16).value != reinterpret_cast<uintptr_t>(place)) return false;
  constexpr int inode_field = 4;
  for (int field = 0; field < inode_field; ++field) {
    line = strchr(line, ' ');
    if (line == nullptr) return false;
    ++line;
  }
  auto [inode, name] = parse_unsigned(line);
  name += strspn(name, " ");
  return inode == static_cast<uint32_t>(id) && strncmp(name, "/SYSV", 5) == 0;
}

// Whether this process has the segment attached at its module's address.
bool is_attached(uint32_t module, int id) {
  UniqueStream mappings(fopen("/proc/self/maps", "re"));
  if (!mappings) return attached_id_plus_one[module].load() == id + 1;
  char line[256];
  while (fgets(line, sizeof line, mappings.get()) != nullptr) {
    if (is_segment_at(line, segment_of(module), id)) return true;
  }
  return false;
}

bool attach(uint32_t module, int id) {
  void* place = segment_of(module);
  void* attached = shmat(id, place, 0);
  forget_found_variables();
  if (attached == place) {
    attached_id_plus_one[module].store(id + 1);
    return true;
  }
  // A taken address is no failure when it is this very segment that took it.
  bool refused = attached == reinterpret_cast<void*>(-1) && errno == EINVAL;
  return refused && is_attached(module, id);
}

void lay_out(SegmentHeader* segment, uint32_t size, uint32_t header_size) {
  *segment = SegmentHeader{};
  segment->magic = kMagic;
  segment->pool_length = size - header_size;
  segment->header_size = static_cast<uint16_t>(header_size);
  pool_set_up(&segment->pool, reinterpret_cast<char*>(segment) + header_size, static_cast<int32_t>(size - header_size));
}

// False when the header's semaphore and the module's semaphore set cannot be brought together.
bool switch_locking_on(SegmentHeader* segment, key_t key) {
  int id = semget(key, 1, IPC_CREAT | IPC_EXCL | kPermissions);
  if (id < 0 && errno == EEXIST) {
    id = semget(key, 0, IPC_CREAT | kPermissions);
    if (id < 0) return false;
  }
  // Any other failure leaves -1, which neither a semctl nor a comparison below accepts.
  if (segment->semaphore_id == 0) {
    if (semctl(id, 0, SETVAL, SemaphoreArgument{.value = kFreeSemaphore}) < 0) return false;
    segment->semaphore_id = id;
  }
  return segment->semaphore_id == 0 || segment->semaphore_id == id;
}

int change_semaphore(int semaphore_id, int change) {
  if (semaphore_id == 0) return 0;
  sembuf operation{.sem_num = 0, .sem_op = static_cast<short>(change), .sem_flg = SEM_UNDO};
  int result;
  do
    result = semop(semaphore_id, &operation, 1);
  while (result < 0 && errno == EINTR);
  return result;
}

} // namespace

int find_segment(uint32_t module) {
  if (module >= kExistenceTestLimit) return kNoSegment;
  key_t key = last_seen[module].key.load();
  if (key != 0) {
    int id = segment_at(last_seen[module].index.load(), key);
    if (id != kNoSegment) return id;
  }
  return find_in_listing(module);
}

uint32_t initialise_module(uint32_t module, uint32_t size, uint32_t header_size, bool use_lock, uint32_t* created) {
  bool size_is_allowed = size >= kMinimumSegmentSize && size <= kMaximumSegmentSize;
  bool header_fits = header_size >= sizeof(SegmentHeader) && header_size < size;
  if (module >= kModuleLimit || !size_is_allowed || !header_fits) return 1;

  key_t key = key_of(module);
  ObtainedSegment obtained = obtain_segment(key, size);
  if (obtained.id < 0 || !attach(module, obtained.id)) return 1;

  SegmentHeader* segment = segment_of(module);
  if (obtained.created) lay_out(segment, size, header_size);
  if (!use_lock) {
    segment->semaphore_id = 0; // for every process: the last initialiser decides
  } else if (!switch_locking_on(segment, key)) {
    if (obtained.id > 0) shmctl(obtained.id, IPC_RMID, nullptr);
    return 1;
  }
  if (created != nullptr) *created = obtained.created ? 1 : 0;
  return 0;
}

uint32_t attach_module(uint32_t module) {
  if (module >= kModuleLimit) return 1;
  int id = find_segment(module);
  return id != kNoSegment && attach(module, id) ? 0 : 1;
}

uint32_t delete_module(uint32_t module, uint32_t size) {
  int id = obtain_segment(key_of(module), size).id;
  if (id < 1) return 1;
  return static_cast<uint32_t>(shmctl(id, IPC_RMID, nullptr));
}

int lock(int semaphore_id, int units) { return change_semaphore(semaphore_id, -units); }

int unlock(int semaphore_id, int units) { return change_semaphore(semaphore_id, units); }

} // namespace roq::gvar
