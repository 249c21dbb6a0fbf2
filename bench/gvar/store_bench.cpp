// Reading and writing 64 bytes among 100 variables: the store against the system calls it cannot do without, and
// against other ways to share named values between processes. Run it inside the sandbox: it creates segments.
#include "gvar/peers.h"
#include <benchmark/benchmark.h>
#include <cstring>
#include <random>
#include <roqutil/gvar.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <vector>

#if BENCH_HAVE_LMDB
#include "gvar/peer_lmdb.h"
#endif
#if BENCH_HAVE_SQLITE
#include "gvar/peer_sqlite.h"
#endif
#if BENCH_HAVE_REDIS
#include "gvar/peer_redis.h"
#endif
#if BENCH_HAVE_DBUS
#include "gvar/peer_dbus.h"
#endif

namespace {

using bench::kValueSize;
using bench::kVariables;
using bench::require;

constexpr uint32_t kModule = 2;

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

class Roqutil {
public:
  Roqutil() {
    if (filled_) return;
    uint32_t created;
    require(ROQ_UTIL_GVarInit(kModule, 0x10000, 52, &created) == 0, "ROQ_UTIL_GVarInit");
    char value[kValueSize] = {};
    for (uint32_t number = 0; number < kVariables; ++number)
      set(number, value);
    filled_ = true;
  }
  void get(uint32_t number, char* out) { ROQ_UTIL_GVarGetValueEx(variable(number), out, kValueSize, nullptr); }
  void set(uint32_t number, const char* value) {
    require(ROQ_UTIL_GVarSetValue(variable(number), value, kValueSize) == 0, "ROQ_UTIL_GVarSetValue");
  }

private:
  static inline bool filled_ = false;
};

template <typename Store> void get(benchmark::State& state) {
  Store store;
  char out[kValueSize];
  visit_variables(state, [&](uint32_t number) {
    store.get(number, out);
    benchmark::DoNotOptimize(out);
  });
}

template <typename Store> void set(benchmark::State& state) {
  Store store;
  char value[kValueSize] = {};
  visit_variables(state, [&](uint32_t number) {
    benchmark::DoNotOptimize(value);
    store.set(number, value);
  });
}

BENCHMARK_TEMPLATE(get, RawStore)->Arg(0)->Arg(1024)->ArgName("foreign");
BENCHMARK_TEMPLATE(get, Roqutil)->Arg(0)->Arg(1024)->ArgName("foreign");
BENCHMARK_TEMPLATE(set, RawStore)->Arg(0)->Arg(1024)->ArgName("foreign");
BENCHMARK_TEMPLATE(set, Roqutil)->Arg(0)->Arg(1024)->ArgName("foreign");

#define COMPARE_WITH(peer)                                                                                             \
  BENCHMARK_TEMPLATE(get, bench::peer)->Arg(0)->ArgName("foreign")->UseRealTime();                                     \
  BENCHMARK_TEMPLATE(set, bench::peer)->Arg(0)->ArgName("foreign")->UseRealTime()

#if BENCH_HAVE_LMDB
COMPARE_WITH(Lmdb);
#endif
#if BENCH_HAVE_SQLITE
COMPARE_WITH(Sqlite);
#endif
#if BENCH_HAVE_REDIS
COMPARE_WITH(Redis);
#endif
#if BENCH_HAVE_DBUS
COMPARE_WITH(Dbus);
#endif

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  ROQ_UTIL_GVarDelModule(kModule, 1024);
  return 0;
}
