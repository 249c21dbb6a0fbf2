// Reading and writing 64 bytes among 100 variables: the store against the system calls it cannot do without, and
// against other ways to share named values between processes. Run it inside the sandbox: it creates segments.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <roqutil/gvar.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <vector>

namespace {

constexpr uint32_t kModule = 2;
constexpr uint32_t kVariables = 100;
constexpr uint32_t kValueSize = 64;

void require(bool holds, const char* what) {
  if (holds) return;
  perror(what);
  exit(1);
}

uint32_t variable(uint32_t number) { return kModule << 16 | number; }

// The order in which the variables are visited, the same for everybody.
const std::vector<uint32_t>& visiting_order() {
  static const std::vector<uint32_t> order = [] {
    std::vector<uint32_t> made(4096);
    std::mt19937 random(1);
    for (uint32_t& number : made)
      number = static_cast<uint32_t>(random() % kVariables);
    return made;
  }();
  return order;
}

// Segments that belong to nobody in particular and make the kernel's table long.
class ForeignSegments {
public:
  explicit ForeignSegments(int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
      ids_.push_back(shmget(IPC_PRIVATE, 1, 0600 | IPC_CREAT));
      require(ids_.back() >= 0, "shmget");
    }
  }
  ~ForeignSegments() {
    for (int id : ids_)
      shmctl(id, IPC_RMID, nullptr);
  }
  ForeignSegments(const ForeignSegments&) = delete;
  ForeignSegments& operator=(const ForeignSegments&) = delete;

private:
  std::vector<int> ids_;
};

void fill_store() {
  uint32_t created;
  require(ROQ_UTIL_GVarInit(kModule, 0x10000, 52, &created) == 0, "ROQ_UTIL_GVarInit");
  char value[kValueSize] = {};
  for (uint32_t number = 0; number < kVariables; ++number)
    require(ROQ_UTIL_GVarSetValue(variable(number), value, sizeof value) == 0, "ROQ_UTIL_GVarSetValue");
}

template <typename Access> void visit_variables(benchmark::State& state, Access access) {
  ForeignSegments foreign(state.range(0));
  size_t turn = 0;
  for (auto _ : state) {
    access(visiting_order()[turn]);
    turn = (turn + 1) % visiting_order().size();
  }
}

// The floor: one existence test, one lock, one copy, one unlock, and no library.
class RawStore {
public:
  RawStore() {
    int id = shmget(IPC_PRIVATE, kVariables * kValueSize, 0600 | IPC_CREAT);
    values_ = static_cast<char*>(shmat(id, nullptr, 0));
    shmid_ds descriptor;
    shm_info info;
    int highest = shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&info));
    while (index_ < highest && shmctl(index_, SHM_STAT, &descriptor) != id)
      ++index_;
    shmctl(id, IPC_RMID, nullptr);
    semaphore_ = semget(IPC_PRIVATE, 1, 0600 | IPC_CREAT);
    change(10);
  }
  ~RawStore() {
    semctl(semaphore_, 0, IPC_RMID);
    shmdt(values_);
  }
  RawStore(const RawStore&) = delete;
  RawStore& operator=(const RawStore&) = delete;

  void get(uint32_t number, char* out) {
    Locked locked(*this, 1);
    memcpy(out, values_ + number * kValueSize, kValueSize);
  }
  void set(uint32_t number, const char* value) {
    Locked locked(*this, 10);
    memcpy(values_ + number * kValueSize, value, kValueSize);
  }

private:
  struct Locked {
    Locked(RawStore& store, int units) : store_(store), units_(units) {
      shmid_ds descriptor;
      benchmark::DoNotOptimize(shmctl(store_.index_, SHM_STAT, &descriptor));
      store_.change(-units_);
    }
    ~Locked() { store_.change(units_); }
    RawStore& store_;
    int units_;
  };

  void change(int units) {
    sembuf operation{0, static_cast<short>(units), SEM_UNDO};
    require(semop(semaphore_, &operation, 1) == 0, "semop");
  }

  char* values_;
  int index_ = 0;
  int semaphore_;
};

void floor_get(benchmark::State& state) {
  RawStore store;
  char out[kValueSize];
  visit_variables(state, [&](uint32_t number) {
    store.get(number, out);
    benchmark::DoNotOptimize(out);
  });
}

void floor_set(benchmark::State& state) {
  RawStore store;
  char value[kValueSize] = {};
  visit_variables(state, [&](uint32_t number) {
    benchmark::DoNotOptimize(value);
    store.set(number, value);
  });
}

void roqutil_get(benchmark::State& state) {
  char out[kValueSize];
  visit_variables(state, [&](uint32_t number) {
    ROQ_UTIL_GVarGetValueEx(variable(number), out, sizeof out, nullptr);
    benchmark::DoNotOptimize(out);
  });
}

void roqutil_set(benchmark::State& state) {
  char value[kValueSize] = {};
  visit_variables(state, [&](uint32_t number) {
    benchmark::DoNotOptimize(value);
    ROQ_UTIL_GVarSetValue(variable(number), value, sizeof value);
  });
}

BENCHMARK(floor_get)->Arg(0)->Arg(1024)->ArgName("foreign");
BENCHMARK(roqutil_get)->Arg(0)->Arg(1024)->ArgName("foreign");
BENCHMARK(floor_set)->Arg(0)->Arg(1024)->ArgName("foreign");
BENCHMARK(roqutil_set)->Arg(0)->Arg(1024)->ArgName("foreign");

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  fill_store();
  benchmark::RunSpecifiedBenchmarks();
  ROQ_UTIL_GVarDelModule(kModule, 1024);
  return 0;
}
