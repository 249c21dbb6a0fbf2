/* Starts programs, learns how they ended, finds one and stops it; takes turns with others by a lock file. */
#define _POSIX_C_SOURCE 200809L
#include <roqutil.h>
#include <signal.h>
#include <stdio.h>
#include <time.h>

#define NOBODY UINT32_C(0xFFFFFFFF)

/* What lies in the stream's buffer would be written twice if the program cannot be executed, so it goes first. */
static void run(const char* line) {
  uint32_t killed_by = 0, code = 0;
  fflush(stdout);
  int32_t child = ROQ_UTIL_ForkProcess(line, -1, &killed_by, &code);
  if (child <= 0)
    printf("%s: could not be started\n", line);
  else if (killed_by != 0)
    printf("%s: killed by signal %u\n", line, killed_by);
  else
    printf("%s: exit code %u\n", line, code);
}

/* A program that was just started is not yet itself for a moment. */
static uint32_t wait_for(const char* command_line) {
  const struct timespec pause = {.tv_nsec = 10 * 1000 * 1000};
  uint32_t found = NOBODY;
  for (int tries = 0; tries < 500 && (found == NOBODY || found == 0); ++tries) {
    nanosleep(&pause, NULL);
    found = ROQ_UTIL_GetPid(command_line);
  }
  return found;
}

int main(void) {
  run("ls /var/lock /var/no-such-folder 2>&1 >/var/log/list");
  run("sh -c 'kill -9 $$'");
  run("no-such-program");
  run("/no/such/program");

  run("sleep 1000 &");
  uint32_t sleeper = wait_for("sleep 1000");
  /* Never without a look at the id: as a process id it may mean "all processes" or "my process group". */
  if (sleeper != NOBODY && sleeper != 0 && kill((pid_t)sleeper, SIGTERM) == 0) puts("stopped it");

  int32_t lock = ROQ_UTIL_LockFile("/var/lock/wan", NULL);
  ROQ_WriteFile("wan", "%s restarted, attempt %d\n", "ppp0", 3);
  ROQ_UTIL_UnlockFile(lock);
  run("cat /var/log/wan");
  return 0;
}
