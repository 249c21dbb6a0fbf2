// What the variable store asks of the kernel: System V IPC, and the same free addresses in every process.
#include "doctor/checkup.h"

#include "gvar/module.h"
#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

namespace roq::tool::doctor {
namespace {

using namespace roq::tool::gvar;

struct Modules {
  Module modules[kModules];
  unsigned segments = 0; // that exist
  unsigned sets = 0;

  Modules() {
    for (uint32_t number = 0; number < kModules; ++number) {
      modules[number] = look_up_module(number);
      if (modules[number].segment_id >= 0) ++segments;
      if (modules[number].semaphore_id >= 0) ++sets;
    }
  }
};

// A limit of the kernel's, what is in use of it, and what the modules that do not exist yet would add.
void check_room(Checkup& checkup, const char* subject, uint64_t limit, uint64_t used, uint64_t needed,
                const char* advice) {
  Text found;
  found.format("%" PRIu64 " of %" PRIu64 " are in use, the store may need %" PRIu64 " more", used, limit, needed);
  checkup.expect(used <= limit && needed <= limit - used, subject, found.c_str(), advice);
}

void check_at_least(Checkup& checkup, const char* subject, uint64_t limit, uint64_t needed, const char* advice) {
  Text found;
  found.format("%" PRIu64 " at most, the store needs %" PRIu64, limit, needed);
  checkup.expect(limit >= needed, subject, found.c_str(), advice);
}

// The kernel's shm_info, whose fields have a name of their own in every C library.
struct SegmentUsage {
  int segments;
  unsigned long pages, resident, swapped, attempts, successes;
};

void check_shared_memory(Checkup& checkup, unsigned missing_segments) {
  shminfo limits{};
  SegmentUsage usage{};
  if (shmctl(0, IPC_INFO, reinterpret_cast<shmid_ds*>(&limits)) < 0 ||
      shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&usage)) < 0)
    return checkup.problem("shared memory", strerror(errno), "use a kernel with System V IPC");
  check_room(checkup, "segments", limits.shmmni, static_cast<uint64_t>(usage.segments), missing_segments,
             "raise kernel.shmmni, or remove segments that 'ipcs -m' shows");
  check_at_least(checkup, "bytes of a segment", limits.shmmax, kLargestSegment, "raise kernel.shmmax to 524288");
  uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  check_room(checkup, "pages of all segments", limits.shmall, usage.pages, missing_segments * kLargestSegment / page,
             "raise kernel.shmall, or remove segments that 'ipcs -m' shows");
}

union SemaphoreArgument {
  seminfo* info;
};

void check_semaphores(Checkup& checkup, unsigned missing_sets) {
  seminfo limits{}, usage{};
  if (semctl(0, 0, IPC_INFO, SemaphoreArgument{&limits}) < 0 || semctl(0, 0, SEM_INFO, SemaphoreArgument{&usage}) < 0)
    return checkup.problem("semaphores", strerror(errno), "use a kernel with System V IPC");
  // The kernel gives what is in use in fields of other meaning.
  auto sets = static_cast<uint64_t>(usage.semusz), semaphores = static_cast<uint64_t>(usage.semaem);
  check_room(checkup, "semaphore sets", static_cast<uint64_t>(limits.semmni), sets, missing_sets,
             "raise the fourth number of kernel.sem, or remove sets that 'ipcs -s' shows");
  check_room(checkup, "semaphores", static_cast<uint64_t>(limits.semmns), semaphores, missing_sets,
             "raise the second number of kernel.sem, or remove sets that 'ipcs -s' shows");
  check_at_least(checkup, "operations of a call", static_cast<uint64_t>(limits.semopm), 1,
                 "raise the third number of kernel.sem");
}

void check_folder_of_the_keys(Checkup& checkup) {
  bool exists = access("/var/", F_OK) == 0;
  checkup.expect(exists, "/var/", exists ? "it gives the keys of the modules" : strerror(errno), "make the folder");
}

// The rest of the line that tells which mapping lies at the address; empty when none does.
Text mapping_at(uintptr_t begin, uintptr_t end) {
  Text found;
  FILE* mappings = fopen("/proc/self/maps", "re");
  if (mappings == nullptr) return found;
  char line[512];
  while (found.empty() && fgets(line, sizeof line, mappings) != nullptr) {
    uint64_t first_byte = 0, behind = 0;
    if (sscanf(line, "%" SCNx64 "-%" SCNx64, &first_byte, &behind) != 2 || first_byte >= end || behind <= begin)
      continue;
    const char* name = strchr(line, '/');
    found.append(name == nullptr ? "memory without a name" : name);
  }
  fclose(mappings);
  return found;
}

// Whether the kernel would give the address to somebody who asks for it.
bool is_free(uint32_t address) {
  void* wanted = reinterpret_cast<void*>(static_cast<uintptr_t>(address));
  void* place = mmap(wanted, kLargestSegment, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (place != MAP_FAILED) munmap(place, kLargestSegment);
  return place == wanted;
}

void check_addresses(Checkup& checkup) {
  Text found;
  for (uint32_t module = 0; module < kModules && found.empty(); ++module) {
    uint32_t address = address_of_module(module);
    if (is_free(address)) continue;
    Text mapping = mapping_at(address, address + kLargestSegment);
    found.format("module %u belongs at 0x%08x, but there lies %s", module, address,
                 mapping.empty() ? "nothing that may be moved" : mapping.c_str());
  }
  bool are_free = found.empty();
  if (are_free)
    found.format("0x%08x to 0x%08x is free in this process", address_of_module(0),
                 address_of_module(kModules - 1) + kLargestSegment);
  checkup.expect(are_free, "addresses", found.c_str(), "keep that out of processes that use the store");
}

// Which modules exist, and whether this user may use them.
void check_modules(Checkup& checkup, const Modules& known) {
  Text existing;
  bool all_are_usable = true;
  for (const Module& module : known.modules) {
    if (module.key == -1 || (module.segment_id < 0 && module.error == ENOENT)) continue;
    Text subject;
    subject.format("module %u", module.number);
    const char *found = nullptr, *advice = "run as a user who may use the store";
    bool may_be_used = module.error == 0 && shmget(module.key, 0, 0666) >= 0;
    if (!may_be_used) {
      found = strerror(module.error != 0 ? module.error : errno);
    } else if (module.size < kSmallestSegment || module.size > kLargestSegment) {
      found = "a segment with its key has a size that the store never creates";
      advice = "find out whose it is with 'ipcs -m -p', and remove it";
    } else if (module.segment_id == 0 || module.semaphore_id == 0) {
      found = "its segment or semaphore set has the id 0, which means 'none' to the store";
      advice = "delete it, create and remove a segment and a set, and initialise it again";
    }
    existing.format("%s%u", existing.empty() ? "" : ", ", module.number);
    if (found == nullptr) continue;
    checkup.problem(subject.c_str(), found, advice);
    all_are_usable = false;
  }
  if (!all_are_usable) return;
  Text found;
  found.format("%s", existing.empty() ? "none exists yet" : existing.c_str());
  if (!existing.empty()) found.append(" exist and may be used");
  checkup.ok("modules", found.c_str());
}

} // namespace

void check_gvar(Checkup& checkup) {
  Modules known;
  check_shared_memory(checkup, kModules - known.segments);
  check_semaphores(checkup, kModules - known.sets);
  check_folder_of_the_keys(checkup);
  check_addresses(checkup);
  check_modules(checkup, known);
}

} // namespace roq::tool::doctor
