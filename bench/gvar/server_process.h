#ifndef ROQ_BENCH_GVAR_SERVER_PROCESS_H
#define ROQ_BENCH_GVAR_SERVER_PROCESS_H

#include "gvar/peers.h"
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

// A server that runs beside the benchmark for as long as this lives; nothing of what it prints is shown.
class ServerProcess {
public:
  template <typename Run> explicit ServerProcess(Run run) : pid_(fork()) {
    require(pid_ >= 0, "fork");
    if (pid_ > 0) return;
    int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    run();
    _exit(127);
  }
  ~ServerProcess() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

private:
  pid_t pid_;
};

// Tries something that a server that is just starting refuses, for five seconds.
template <typename Attempt> void until_it_answers(Attempt attempt, const char* what) {
  for (int tries = 0; tries < 500; ++tries) {
    if (attempt()) return;
    usleep(10000);
  }
  require(false, what);
}

} // namespace bench

#endif
