// A module's segment and semaphore set as the kernel knows them, and its lock with a time limit.
#ifndef ROQ_TOOL_GVAR_MODULE_H
#define ROQ_TOOL_GVAR_MODULE_H

#include "cli.h"
#include "gvar/inspect.h"
#include <sys/types.h>

namespace roq::tool::gvar {

inline constexpr uint32_t kDefaultWait = 5; // seconds
inline constexpr uint32_t kLongestWait = 86400;

struct Module {
  uint32_t number;
  key_t key;
  int segment_id;    // -1: there is none
  uint32_t size;     // of the segment
  uint32_t attached; // how many processes have it attached
  int semaphore_id;  // -1: there is none
  int error;         // why nothing is known about the segment; 0 when all is
};

Module look_up_module(uint32_t number);

// Says on standard error what is dangerous about the module's ids, and what to do.
void warn_of_ids(const Module& module);

// Looks the module up and warns of it. Nothing when it is there, else the exit code: the reason was said.
std::optional<int> find_module(const Invocation& call, uint32_t number, Module& module);

// Attaches it at its fixed address, through the library. Nothing when it is attached, else the exit code likewise.
std::optional<int> attach_module(const Invocation& call, uint32_t number);

// The segment, attached wherever there is room for it until the end of the scope.
class Attachment {
public:
  Attachment(const Module& module, bool writable);
  ~Attachment();
  Attachment(const Attachment&) = delete;
  Attachment& operator=(const Attachment&) = delete;

  bool ok() const { return bytes_ != nullptr; }
  int error() const { return error_; }
  uint8_t* bytes() const { return bytes_; }
  // The semaphore set that accesses to this segment lock: 0 when locking is off. A header that names another set than
  // the module's is not believed.
  int lock_id(const Module& module) const;

private:
  uint8_t* bytes_ = nullptr;
  int error_ = 0;
};

// Units of a module's semaphore, held until the end of the scope or of the process.
class Lock {
public:
  enum class Outcome { held, off, timed_out, refused };

  // Waits for so many seconds at most; 0 does not wait.
  Lock(int semaphore_id, int units, uint32_t seconds);
  ~Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  Outcome outcome() const { return outcome_; }
  bool holds() const { return outcome_ == Outcome::held || outcome_ == Outcome::off; }
  int error() const { return error_; }

private:
  int semaphore_id_;
  int units_;
  Outcome outcome_;
  int error_ = 0;
};

struct SemaphoreState {
  int value;     // units that are free
  int last_user; // process that operated on it last
  int waiting;   // processes that wait for units
};

std::optional<SemaphoreState> state_of(int semaphore_id);

// The processes that are blocked in an operation on the set, as far as the kernel lets us see them.
Array<pid_t> processes_waiting_for(int semaphore_id);

// Says why the lock was not to be had and returns the exit code.
int explain_lock(const Invocation& call, const Module& module, const Lock& lock, int semaphore_id, uint32_t seconds);

// A copy of a module's segment, taken while no writer was at work, unless `locked` says otherwise.
struct Snapshot {
  Module module;
  Array<uint8_t> bytes;
  bool locked = false;
  Memory memory() const { return {bytes.data(), module.size, address_of_module(module.number)}; }
  Surroundings surroundings() const { return {module.number, module.semaphore_id}; }
};

// Takes the bytes of the module that the snapshot names.
void copy_segment(const Attachment& attachment, Snapshot& snapshot);

enum class Locking { needed, if_possible };

// Takes it. Nothing when it is there, else the exit code: the reason was said.
std::optional<int> take_snapshot(const Invocation& call, uint32_t module, Locking locking, Snapshot& snapshot);

// The same, already inspected, for those who need no bytes of it.
std::optional<int> inspect_module(const Invocation& call, uint32_t module, Report& report);

int explain_attach(const Invocation& call, const Module& module, int error);

} // namespace roq::tool::gvar

#endif
