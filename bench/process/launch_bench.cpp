// Starting /bin/true and waiting for its end, from parents of several sizes: the launcher against the system calls it
// cannot do without, and against other ways to run a program.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <roqutil/process.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#if BENCH_HAVE_GLIB
#include <glib.h>
#endif

namespace {

char program[] = "/bin/true";
char* program_vector[] = {program, nullptr};

void require(bool holds, const char* what) {
  if (holds) return;
  perror(what);
  exit(1);
}

size_t resident_bytes() {
  size_t total, resident = 0;
  FILE* file = fopen("/proc/self/statm", "r");
  require(file != nullptr && fscanf(file, "%zu %zu", &total, &resident) == 2, "/proc/self/statm");
  fclose(file);
  return resident * 4096;
}

// Makes this process as large as asked for, with memory that it has written to, in small pages, so that a fork has
// their tables to copy. It is kept from one benchmark to the next and changed only when another size is asked for.
void weigh(int64_t mebibytes) {
  static void* ballast;
  static size_t size;
  static int64_t current;
  if (mebibytes == current) return;
  if (size != 0) munmap(ballast, size);
  current = mebibytes;
  size_t wanted = static_cast<size_t>(mebibytes) << 20, present = resident_bytes();
  size = wanted > present ? wanted - present : 0;
  if (size == 0) return;
  ballast = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  require(ballast != MAP_FAILED, "mmap");
  madvise(ballast, size, MADV_NOHUGEPAGE);
  for (size_t at = 0; at < size; at += 4096)
    static_cast<volatile char*>(ballast)[at] = 1;
}

bool ended_well(pid_t child) {
  int status;
  return waitpid(child, &status, 0) == child && status == 0;
}

// The floor: the launcher's system calls that make the difference, and no library.
struct ForkAndExec {
  static bool run() {
    pid_t child = fork();
    if (child == 0) {
      for (int fd = 3; fd < 50; ++fd)
        close(fd);
      execv(program, program_vector);
      _exit(1);
    }
    return ended_well(child);
  }
};

struct Launcher {
  static bool run() {
    uint32_t code = 1;
    return ROQ_UTIL_ForkProcessEx(program_vector, -1, nullptr, &code) > 0 && code == 0;
  }
};

struct LauncherWithCommand {
  static bool run() { return ROQ_UTIL_ExecCmdNoHang("/bin/true") == 0; }
};

struct LauncherWithShell {
  static bool run() { return ROQ_UTIL_ExecCmd("/bin/true", nullptr) == 0; }
};

struct Spawn {
  static bool run() {
    pid_t child;
    return posix_spawn(&child, program, nullptr, nullptr, program_vector, environ) == 0 && ended_well(child);
  }
};

struct System {
  static bool run() { return system("/bin/true") == 0; }
};

struct Popen {
  static bool run() {
    FILE* pipe = popen("/bin/true", "r");
    return pipe != nullptr && pclose(pipe) == 0;
  }
};

#if BENCH_HAVE_GLIB
struct Glib {
  static bool run() {
    int status = 1;
    return g_spawn_sync(nullptr, program_vector, nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, nullptr, nullptr, &status,
                        nullptr) != FALSE &&
           status == 0;
  }
};
#endif

template <typename Way> void launch(benchmark::State& state) {
  weigh(state.range(0));
  for (auto _ : state)
    require(Way::run(), "/bin/true");
}

// By the clock: most of the work is done by another process.
#define LAUNCH_BENCHMARK(Way) BENCHMARK(launch<Way>)->ArgName("MiB")->Arg(5)->Arg(100)->Arg(1000)->UseRealTime()

LAUNCH_BENCHMARK(Launcher);
LAUNCH_BENCHMARK(ForkAndExec);
LAUNCH_BENCHMARK(LauncherWithCommand);
LAUNCH_BENCHMARK(LauncherWithShell);
LAUNCH_BENCHMARK(Spawn);
LAUNCH_BENCHMARK(System);
LAUNCH_BENCHMARK(Popen);
#if BENCH_HAVE_GLIB
LAUNCH_BENCHMARK(Glib);
#endif

} // namespace

BENCHMARK_MAIN();
