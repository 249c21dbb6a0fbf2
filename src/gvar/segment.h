// The store's segments: their layout, how they are found and attached, and their lock.
#ifndef ROQ_GVAR_SEGMENT_H
#define ROQ_GVAR_SEGMENT_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <roqutil/gvar.h>

namespace roq::gvar {

// An address inside a segment. Segments lie below 4 GiB at the same place in every process.
enum class SegmentAddress : uint32_t { null = 0 };

inline SegmentAddress to_segment_address(const void* object) {
  return static_cast<SegmentAddress>(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(object)));
}

template <typename T> T* from_segment_address(SegmentAddress address) {
  return reinterpret_cast<T*>(static_cast<uintptr_t>(address));
}

struct SegmentHeader {
  uint32_t magic;
  uint32_t pool_length;
  int32_t semaphore_id; // 0: no locking
  uint32_t reserved;
  uint16_t header_size;
  uint16_t reserved2;
  SegmentAddress variables; // newest first
  RoqPoolHandle pool;
};

static_assert(sizeof(SegmentHeader) == 52);
static_assert(offsetof(SegmentHeader, magic) == 0);
static_assert(offsetof(SegmentHeader, pool_length) == 4);
static_assert(offsetof(SegmentHeader, semaphore_id) == 8);
static_assert(offsetof(SegmentHeader, reserved) == 12);
static_assert(offsetof(SegmentHeader, header_size) == 16);
static_assert(offsetof(SegmentHeader, variables) == 20);
static_assert(offsetof(SegmentHeader, pool) == 24);

struct VariableNode {
  uint32_t id;
  SegmentAddress value;
  uint32_t length;
  SegmentAddress next;
};

static_assert(sizeof(VariableNode) == 16);
static_assert(offsetof(VariableNode, id) == 0);
static_assert(offsetof(VariableNode, value) == 4);
static_assert(offsetof(VariableNode, length) == 8);
static_assert(offsetof(VariableNode, next) == 12);

inline constexpr uint32_t kMagic = 0x00042047;
inline constexpr uint32_t kModuleLimit = 7;         // modules that are created and attached
inline constexpr uint32_t kExistenceTestLimit = 17; // modules that the existence test looks for
inline constexpr uint32_t kMinimumSegmentSize = 1024;
inline constexpr uint32_t kMaximumSegmentSize = 0x80000;
inline constexpr uint32_t kFirstSegmentAddress = 0x2EF00000;
inline constexpr uint32_t kSegmentSpacing = 0x100000;
inline constexpr int kReaderUnits = 1;
inline constexpr int kWriterUnits = 10;

// Where the module's segment is attached in every process that has it.
inline SegmentHeader* segment_of(uint32_t module) {
  return from_segment_address<SegmentHeader>(
      static_cast<SegmentAddress>(kFirstSegmentAddress + module * kSegmentSpacing));
}

// What no system call returns.
inline constexpr int kNoSegment = INT_MIN;

// The id of the module's segment as its listing gives it, kNoSegment when there is none.
int find_segment(uint32_t module);
inline bool module_exists(uint32_t module) { return find_segment(module) != kNoSegment; }

uint32_t initialise_module(uint32_t module, uint32_t size, uint32_t header_size, bool use_lock, uint32_t* created);
uint32_t attach_module(uint32_t module);
uint32_t delete_module(uint32_t module, uint32_t size);

// Both return 0 on success and -1 on failure, and 0 at once for the id 0. The kernel gives units back when their
// holder dies.
int lock(int semaphore_id, int units);
int unlock(int semaphore_id, int units);

// Holds units of a module's semaphore. The id is read once, so that the set that was locked is unlocked, whatever
// becomes of the header meanwhile.
class ModuleLock {
public:
  ModuleLock(const SegmentHeader* segment, int units) : semaphore_id_(segment->semaphore_id), units_(units) {
    lock(semaphore_id_, units_);
  }
  ~ModuleLock() { unlock(semaphore_id_, units_); }
  ModuleLock(const ModuleLock&) = delete;
  ModuleLock& operator=(const ModuleLock&) = delete;

private:
  int semaphore_id_;
  int units_;
};

} // namespace roq::gvar

#endif
