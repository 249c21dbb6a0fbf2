// Many processes read and write one module while others of them are killed.
//
//   soak [WORKERS [OPERATIONS [KILLS [SEED]]]]
//
// Every value carries a checksum, so that a torn one is seen. A worker that is killed while it holds the writer's lock
// may leave the pool inconsistent: that is no failure of the store, is reported apart, and the module is set up anew.
// Whether it held the lock is told by the units that the kernel gave back, with all the others stopped meanwhile.
#include "store_walker.h"
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <random>
#include <roqutil/gvar.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using soak::StoreWalker;
using soak::Variable;

constexpr uint32_t kModule = 4;
constexpr uint32_t kSegmentSize = 0x40000;
constexpr uint32_t kHeaderSize = 52;
constexpr uint32_t kVariables = 64;
constexpr uint32_t kLongestValue = 3000;
constexpr int kFreeUnits = 10;
constexpr int kPatienceSeconds = 60;

struct Options {
  unsigned workers = 8, operations = 200000, kills = 200, seed = 1;
};

struct Counts {
  std::atomic<uint32_t> operations, reads, missing, writes, refused, torn;
};

struct Shared {
  std::atomic<bool> stop;
  Counts counts;
};

Shared* shared;

uint32_t checksum(const unsigned char* bytes, size_t count) {
  uint32_t sum = 2166136261U;
  for (size_t i = 0; i < count; ++i)
    sum = (sum ^ bytes[i]) * 16777619U;
  return sum;
}

// A value: its checksum, its id, its length, random bytes.
constexpr uint32_t kValueHeader = 12;

uint32_t make_value(unsigned char* value, uint32_t id, std::mt19937& random) {
  uint32_t length = kValueHeader + static_cast<uint32_t>(random() % (kLongestValue - kValueHeader));
  for (uint32_t i = kValueHeader; i < length; ++i)
    value[i] = static_cast<unsigned char>(random());
  memcpy(value + 4, &id, 4);
  memcpy(value + 8, &length, 4);
  uint32_t sum = checksum(value + 4, length - 4);
  memcpy(value, &sum, 4);
  return length;
}

bool is_whole(const unsigned char* value, uint32_t id, uint32_t length) {
  if (length < kValueHeader || length > kLongestValue) return false;
  uint32_t header[3];
  memcpy(header, value, sizeof header);
  return header[1] == id && header[2] == length && header[0] == checksum(value + 4, length - 4);
}

// ---- the workers

void judge(const unsigned char* value, uint32_t id, uint32_t length) {
  ++shared->counts.reads;
  if (length == 0) {
    ++shared->counts.missing;
    return;
  }
  if (is_whole(value, id, length)) return;
  ++shared->counts.torn;
  fprintf(stderr, "soak: process %d read a torn value of variable 0x%x, %u bytes\n", getpid(), id, length);
}

void read_into_buffer(uint32_t id) {
  unsigned char buffer[kLongestValue];
  uint32_t copied = 0;
  ROQ_UTIL_GVarGetValueEx(id, buffer, sizeof buffer, &copied);
  judge(buffer, id, copied);
}

void read_copy(uint32_t id) {
  void* copy = nullptr;
  uint32_t length = 0;
  ROQ_UTIL_GVarGetValueWithCopy(id, &copy, &length);
  judge(static_cast<unsigned char*>(copy), id, length);
  free(copy);
}

void write_value(uint32_t id, std::mt19937& random) {
  unsigned char value[kLongestValue];
  uint32_t length = make_value(value, id, random);
  ++(ROQ_UTIL_GVarSetValue(id, value, length) == 0 ? shared->counts.writes : shared->counts.refused);
}

[[noreturn]] void work(unsigned seed, bool writes) {
  int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(null, STDOUT_FILENO); // for the lines of an exhausted pool
  if (ROQ_UTIL_GVarAttach(kModule) != 0) _exit(2);
  std::mt19937 random(seed);
  while (!shared->stop) {
    uint32_t id = kModule << 16 | static_cast<uint32_t>(random() % kVariables);
    auto choice = static_cast<unsigned>(random() % 10);
    if (writes && choice < 4)
      write_value(id, random);
    else if (choice < 7)
      read_into_buffer(id);
    else
      read_copy(id);
    ++shared->counts.operations;
  }
  _exit(0);
}

// ---- the one that starts and kills them

struct Deaths {
  unsigned readers_at_will = 0, outside = 0, with_reader_lock = 0, with_writer_lock = 0, inconsistent = 0;
  unsigned total() const { return readers_at_will + outside + with_reader_lock + with_writer_lock; }
};

class Soak {
public:
  explicit Soak(const Options& options) : options_(options), random_(options.seed) {}

  bool run() {
    if (ROQ_UTIL_GVarInit(kModule, kSegmentSize, kHeaderSize, nullptr) != 0) return fail("cannot make the module");
    segment_ = reinterpret_cast<unsigned char*>(ROQ_UTIL_GVarGetMemHandle(kModule)) - 24;
    memcpy(&semaphore_, segment_ + 8, 4);
    for (unsigned index = 0; index < options_.workers; ++index)
      workers_.push_back(start(index));
    bool held = supervise();
    shared->stop = true;
    held = collect() && held;
    return check_the_end() && held;
  }

  void report() const {
    const Counts& counts = shared->counts;
    printf("soak: %u workers, %u operations: %u reads (%u of nothing yet), %u writes, %u refused by a full pool\n",
           options_.workers, counts.operations.load(), counts.reads.load(), counts.missing.load(), counts.writes.load(),
           counts.refused.load());
    printf("soak: %u killed: %u readers amid the others; of stopped ones %u without the lock, %u with a reader's unit, "
           "%u with the writer's lock\n",
           deaths_.total(), deaths_.readers_at_will, deaths_.outside, deaths_.with_reader_lock,
           deaths_.with_writer_lock);
    printf("soak: %u of those with the writer's lock left the module inconsistent: set up anew, no failure\n",
           deaths_.inconsistent);
    printf("soak: %u torn values, semaphore at %d, %zu variables whole, %zu blocks left behind by the dead\n",
           counts.torn.load(), semaphore_value(), whole_, unlisted_);
  }

private:
  using clock = std::chrono::steady_clock;

  struct Worker {
    pid_t pid;
    bool writes;
  };

  static bool fail(const std::string& what) {
    fprintf(stderr, "soak: %s\n", what.c_str());
    return false;
  }

  int semaphore_value() const { return semctl(semaphore_, 0, GETVAL); }

  // Every fourth one only reads, and may be killed at any time without harm to the pool.
  Worker start(unsigned index) {
    bool writes = index % 4 != 0;
    auto seed = static_cast<unsigned>(random_());
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) work(seed, writes);
    return {pid, writes};
  }

  // Kills at equal distances of work, until enough is done.
  bool supervise() {
    unsigned next_kill = 1;
    uint32_t last_seen = 0;
    auto last_progress = clock::now();
    while (shared->counts.operations < options_.operations || next_kill <= options_.kills) {
      uint32_t done = shared->counts.operations;
      if (done != last_seen)
        last_progress = clock::now();
      else if (clock::now() - last_progress > std::chrono::seconds(kPatienceSeconds))
        return fail("nothing goes on");
      last_seen = done;
      if (uint64_t{done} * (options_.kills + 1) >= uint64_t{options_.operations} * next_kill &&
          next_kill <= options_.kills) {
        ++next_kill;
        if (!kill_one()) return false;
      }
      if (!all_alive()) return false;
      usleep(static_cast<useconds_t>(random_() % 1000));
    }
    return true;
  }

  bool all_alive() {
    for (const Worker& worker : workers_) {
      int status;
      if (waitpid(worker.pid, &status, WNOHANG) > 0) return tell_of_death(worker.pid, status);
    }
    return true;
  }

  static bool tell_of_death(pid_t pid, int status) {
    return fail("process " + std::to_string(pid) + " ended by itself, wait status " + std::to_string(status));
  }

  bool kill_one() {
    auto index = static_cast<unsigned>(random_() % workers_.size());
    if (!workers_[index].writes) return kill_at_will(index);
    return kill_a_stopped_one(index);
  }

  bool reap(pid_t pid) {
    int status;
    waitpid(pid, &status, 0);
    return (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) || tell_of_death(pid, status);
  }

  bool kill_at_will(unsigned index) {
    ++deaths_.readers_at_will;
    kill(workers_[index].pid, SIGKILL);
    bool held = reap(workers_[index].pid);
    workers_[index] = start(index);
    return held;
  }

  bool kill_a_stopped_one(unsigned index) {
    for (const Worker& worker : workers_)
      kill(worker.pid, SIGSTOP);
    for (const Worker& worker : workers_) {
      int status;
      waitpid(worker.pid, &status, WUNTRACED);
      if (!WIFSTOPPED(status)) return tell_of_death(worker.pid, status);
    }
    int before = semaphore_value();
    kill(workers_[index].pid, SIGKILL);
    if (!reap(workers_[index].pid)) return false;
    int units_given_back = semaphore_value() - before;
    if (units_given_back == kFreeUnits && !is_consistent())
      set_up_anew(index);
    else
      workers_[index] = start(index);
    for (const Worker& worker : workers_)
      kill(worker.pid, SIGCONT);
    return account_for(units_given_back);
  }

  bool account_for(int units_given_back) {
    switch (units_given_back) {
    case 0:
      ++deaths_.outside;
      return true;
    case 1:
      ++deaths_.with_reader_lock;
      return true;
    case kFreeUnits:
      ++deaths_.with_writer_lock;
      return true;
    default:
      return fail("the kernel gave back " + std::to_string(units_given_back) + " units");
    }
  }

  bool is_consistent() const {
    StoreWalker walker(segment_, kSegmentSize);
    if (!walker.problem().empty()) return false;
    for (const Variable& variable : walker.variables())
      if (!is_whole(variable.value, variable.id, variable.length)) return false;
    return true;
  }

  // With new workers, too: none may go on with what it knows of the old list.
  void set_up_anew(unsigned dead) {
    ++deaths_.inconsistent;
    for (unsigned index = 0; index < workers_.size(); ++index) {
      if (index == dead) continue;
      kill(workers_[index].pid, SIGKILL);
      waitpid(workers_[index].pid, nullptr, 0);
    }
    memset(segment_ + 20, 0, 4);
    ROQ_UTIL_BgetInit(ROQ_UTIL_GVarGetMemHandle(kModule), segment_ + kHeaderSize, kSegmentSize - kHeaderSize);
    for (unsigned index = 0; index < workers_.size(); ++index)
      workers_[index] = start(index);
  }

  bool collect() {
    bool held = true;
    auto end = clock::now() + std::chrono::seconds(kPatienceSeconds);
    for (const Worker& worker : workers_)
      kill(worker.pid, SIGCONT);
    for (const Worker& worker : workers_) {
      int status = 0;
      pid_t reaped;
      while ((reaped = waitpid(worker.pid, &status, WNOHANG)) == 0 && clock::now() < end)
        usleep(1000);
      if (reaped == 0) {
        kill(worker.pid, SIGKILL);
        waitpid(worker.pid, &status, 0);
        held = fail("process " + std::to_string(worker.pid) + " did not come to its end");
      } else if (reaped > 0 && status != 0) {
        held = tell_of_death(worker.pid, status);
      }
    }
    return held;
  }

  bool check_the_end() {
    if (semaphore_value() != kFreeUnits) return fail("units are missing from the semaphore");
    StoreWalker walker(segment_, kSegmentSize);
    std::string problem = walker.problem();
    if (!problem.empty()) return fail("the store is inconsistent: " + problem);
    for (const Variable& variable : walker.variables()) {
      if (!is_whole(variable.value, variable.id, variable.length)) return fail("a torn value lies in the store");
      ++whole_;
    }
    unlisted_ = walker.unlisted_blocks();
    if (unlisted_ > 2 * deaths_.with_writer_lock) return fail("blocks are lost that no dead process can have left");
    return shared->counts.torn == 0 && shared->counts.operations >= options_.operations &&
           deaths_.total() == options_.kills;
  }

  Options options_;
  std::mt19937 random_;
  unsigned char* segment_ = nullptr;
  int semaphore_ = 0;
  std::vector<Worker> workers_;
  Deaths deaths_;
  size_t whole_ = 0, unlisted_ = 0;
};

bool parse(int count, char** arguments, Options& options) {
  unsigned* values[] = {&options.workers, &options.operations, &options.kills, &options.seed};
  if (count > 5) return false;
  for (int i = 1; i < count; ++i) {
    char* end;
    *values[i - 1] = static_cast<unsigned>(strtoul(arguments[i], &end, 10));
    if (*end != '\0' || end == arguments[i]) return false;
  }
  return options.workers > 0;
}

} // namespace

int main(int count, char** arguments) {
  Options options;
  if (!parse(count, arguments, options)) {
    fprintf(stderr, "usage: soak [WORKERS [OPERATIONS [KILLS [SEED]]]]\n");
    return 2;
  }
  if (getenv("ROQ_SANDBOX") == nullptr) {
    fprintf(stderr, "soak: run it inside the sandbox: it uses module %u of the machine\n", kModule);
    return 2;
  }
  shared =
      static_cast<Shared*>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  Soak trial(options);
  bool held = trial.run();
  trial.report();
  printf("soak: %s\n", held ? "held" : "FAILED");
  ROQ_UTIL_GVarDelModule(kModule, kSegmentSize);
  return held ? 0 : 1;
}
