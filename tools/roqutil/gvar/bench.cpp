// How long an access takes here, beside the system calls that it cannot do without.
#include "gvar/commands.h"

#include "clock.h"
#include "gvar/guarded.h"
#include "gvar/module.h"
#include "json.h"
#include <csignal>
#include <cstring>
#include <roqutil/gvar.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

namespace roq::tool::gvar {
namespace {

constexpr uint32_t kMaximumBytes = 1024;
constexpr uint32_t kMaximumVariables = 200;
constexpr uint32_t kTurns = 10;

struct Plan {
  uint32_t module;
  uint32_t bytes;
  uint32_t variables;
  uint32_t rounds;
};

struct Timing {
  double access; // nanoseconds
  double floor;
};

void keep_quickest(double& best, double time) {
  if (best == 0 || time < best) best = time;
}

// Nanoseconds per call; `operation` gets the number of the round.
template <typename Operation> double time_of(uint32_t rounds, Operation operation) {
  int64_t start = nanoseconds_now();
  for (uint32_t round = 0; round < rounds; ++round)
    operation(round);
  return static_cast<double>(nanoseconds_now() - start) / rounds;
}

// What every access must ask the kernel for.
class Floor {
public:
  explicit Floor(const Module& module) : semaphore_id_(module.semaphore_id) {
    shm_info info{};
    int highest = shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&info));
    for (int index = 0; index <= highest; ++index) {
      shmid_ds segment{};
      if (shmctl(index, SHM_STAT, &segment) == module.segment_id) index_ = index;
    }
  }

  void access(int units, void* to, const void* from, size_t length) const {
    shmid_ds segment{};
    shmctl(index_, SHM_STAT, &segment);
    change(-units);
    memcpy(to, from, length);
    // So that the copy is made in every round.
    asm volatile("" : : "r"(to) : "memory");
    change(units);
  }

private:
  void change(int units) const {
    sembuf operation{};
    operation.sem_op = static_cast<short>(units);
    operation.sem_flg = SEM_UNDO;
    semop(semaphore_id_, &operation, 1);
  }

  int semaphore_id_;
  int index_ = 0;
};

uint32_t id_of(const Plan& plan, uint32_t round) { return plan.module << 16 | round % plan.variables; }

// The part that only needs the module to be there.
void measure(const Plan& plan, Timing& get, Timing& set) {
  char value[kMaximumBytes];
  char copy[kMaximumBytes];
  memset(value, 'v', sizeof value);
  memset(copy, 0, sizeof copy);
  Floor floor(look_up_module(plan.module));
  // The machine does other things, too: what counts is the quickest of several turns.
  for (uint32_t turn = 0; turn < kTurns; ++turn) {
    keep_quickest(get.access, time_of(plan.rounds, [&](uint32_t round) {
                    ROQ_UTIL_GVarGetValueEx(id_of(plan, round), copy, plan.bytes, nullptr);
                  }));
    keep_quickest(get.floor, time_of(plan.rounds, [&](uint32_t) { floor.access(1, copy, value, plan.bytes); }));
    keep_quickest(set.access, time_of(plan.rounds, [&](uint32_t round) {
                    ROQ_UTIL_GVarSetValue(id_of(plan, round), value, plan.bytes);
                  }));
    keep_quickest(set.floor, time_of(plan.rounds, [&](uint32_t) { floor.access(kAllUnits, copy, value, plan.bytes); }));
  }
}

void put_timing(Json& json, const char* name, const Timing& timing) {
  json.key(name);
  json.begin_object();
  json.key("nanoseconds");
  json.real(timing.access);
  json.key("floor_nanoseconds");
  json.real(timing.floor);
  json.key("ratio");
  json.real(timing.access / timing.floor);
  json.end_object();
}

void print_timings(const Plan& plan, const Timing& get, const Timing& set, bool as_json) {
  if (!as_json) {
    printf("%u variables of %u bytes, the quickest of %u turns of %u accesses\n", plan.variables, plan.bytes, kTurns,
           plan.rounds);
    printf("get %8.0f ns; the system calls and the copy alone %8.0f ns: %.2f times\n", get.access, get.floor,
           get.access / get.floor);
    printf("set %8.0f ns; the system calls and the copy alone %8.0f ns: %.2f times\n", set.access, set.floor,
           set.access / set.floor);
    return;
  }
  print_object([&](Json& json) {
    json.member("variables", plan.variables);
    json.member("bytes", plan.bytes);
    json.member("rounds", plan.rounds);
    put_timing(json, "get", get);
    put_timing(json, "set", set);
  });
}

int run_in_scratch_module(const Invocation& call, const Plan& plan) {
  if (ROQ_UTIL_GVarInit(plan.module, kLargestSegment, kFixedHeader, nullptr) != 0)
    return call.refused("module %u: it could not be created; 'roqutil doctor gvar' shows the limits", plan.module);
  char value[kMaximumBytes];
  memset(value, 'v', sizeof value);
  for (uint32_t number = 0; number < plan.variables; ++number)
    if (ROQ_UTIL_GVarSetValue(id_of(plan, number), value, plan.bytes) != 0)
      return call.refused("module %u: it has no room for %u variables; use fewer", plan.module, plan.variables);
  Timing get{}, set{};
  measure(plan, get, set);
  print_timings(plan, get, set, call.json());
  return kSuccess;
}

void remove_scratch_module(const Module& before) {
  Module module = look_up_module(before.number);
  if (module.segment_id >= 0) shmctl(module.segment_id, IPC_RMID, nullptr);
  if (before.semaphore_id < 0 && module.semaphore_id >= 0) semctl(module.semaphore_id, 0, IPC_RMID);
}

} // namespace

int run_bench(const Invocation& call) {
  auto module = module_argument(call);
  auto bytes = module ? call.option_number("size", 64, 1, kMaximumBytes) : std::nullopt;
  auto variables = bytes ? call.option_number("variables", 100, 1, kMaximumVariables) : std::nullopt;
  auto rounds = variables ? call.option_number("rounds", 10000, 1) : std::nullopt;
  if (!rounds) return kUsage;
  Module before = look_up_module(*module);
  if (before.segment_id >= 0)
    return call.refused("module %u exists: the benchmark creates a module of its own and removes it; name one that "
                        "does not exist",
                        *module);
  Plan plan{*module, *bytes, *variables, *rounds};
  // An interrupt ends the child; what it has created is removed all the same.
  auto was_interrupted = signal(SIGINT, SIG_IGN);
  Ending ending = run_guarded(0, Output::of_the_tool, [&] {
    signal(SIGINT, SIG_DFL);
    return run_in_scratch_module(call, plan);
  });
  signal(SIGINT, was_interrupted);
  remove_scratch_module(before);
  fputs(ending.said.c_str(), stderr);
  if (ending.error != 0) return call.refused("no process could be started: %s; try again", strerror(ending.error));
  if (ending.signal != 0)
    return call.refused("nothing was measured: ended by a signal (%s); try again", strsignal(ending.signal));
  return ending.code;
}

} // namespace roq::tool::gvar
