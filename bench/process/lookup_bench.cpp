// Finding a process by its command line among 200: the library against a bare walk of the same files and against
// another library. Run it inside the sandbox, where nobody else's processes are.
#include <benchmark/benchmark.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <roqutil/process.h>
#include <sys/prctl.h>
#include <unistd.h>

#if BENCH_HAVE_PROC2
#include <libproc2/pids.h>
#endif

namespace {

constexpr int kProcesses = 200;
constexpr char kName[] = "process-number-200";

// Sleeping programs that end with this one. Each has a name of its own.
void start_processes() {
  for (int number = 1; number <= kProcesses; ++number) {
    if (fork() != 0) continue;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    char name[64];
    snprintf(name, sizeof name, "process-number-%d", number);
    execl("/bin/sleep", name, "100000", nullptr);
    _exit(1);
  }
  while (ROQ_UTIL_GetPid(kName) == 0xFFFFFFFF)
    usleep(1000);
}

uint32_t find_by_roqutil() { return ROQ_UTIL_GetPid(kName); }

// The floor: every command line is read once and searched.
uint32_t find_by_bare_walk() {
  uint32_t found = 0;
  DIR* processes = opendir("/proc");
  while (const dirent* entry = readdir(processes)) {
    if (entry->d_name[0] < '0' || entry->d_name[0] > '9') continue;
    char path[300], text[127];
    snprintf(path, sizeof path, "/proc/%s/cmdline", entry->d_name);
    int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) continue;
    ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    if (length <= 0) continue;
    text[length] = '\0';
    if (found == 0 && strstr(text, kName) != nullptr) found = static_cast<uint32_t>(atoi(entry->d_name));
  }
  closedir(processes);
  return found;
}

#if BENCH_HAVE_PROC2
uint32_t find_by_libproc2() {
  uint32_t found = 0;
  pids_item items[] = {PIDS_ID_TGID, PIDS_CMDLINE};
  pids_info* info = nullptr;
  if (procps_pids_new(&info, items, 2) < 0) return 0;
  while (const pids_stack* stack = procps_pids_get(info, PIDS_FETCH_TASKS_ONLY)) {
    const char* command_line = stack->head[1].result.str;
    if (found == 0 && strstr(command_line, kName) != nullptr)
      found = static_cast<uint32_t>(stack->head[0].result.s_int);
  }
  procps_pids_unref(&info);
  return found;
}
#endif

template <uint32_t (*find)()> void find_process(benchmark::State& state) {
  uint32_t expected = ROQ_UTIL_GetPid(kName);
  for (auto _ : state) {
    if (find() != expected) state.SkipWithError("found another process");
  }
}

BENCHMARK(find_process<find_by_roqutil>);
BENCHMARK(find_process<find_by_bare_walk>);
#if BENCH_HAVE_PROC2
BENCHMARK(find_process<find_by_libproc2>);
#endif

} // namespace

int main(int argc, char** argv) {
  start_processes();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
