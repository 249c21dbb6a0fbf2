/*
 * The first process of the target machine. It makes the machine what a gateway is, runs /suite there, tells whether
 * that passed, and turns the machine off. Nothing here is shared with other machines, so no namespaces are needed.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <net/if.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

static void end(const char* verdict) __attribute__((noreturn));

/* The first process may not end, the kernel would panic. The emulator ends when the machine is to start anew. */
static void end(const char* verdict) {
  printf("\nmachine: %s\n", verdict);
  fflush(stdout);
  sync();
  reboot(RB_AUTOBOOT);
  for (;;)
    pause();
}

static void must(int holds, const char* what) {
  if (holds) return;
  printf("machine: %s: %s\n", what, strerror(errno));
  end("failed");
}

static void mount_new(const char* type, const char* at, const char* options) {
  must(mkdir(at, 0755) == 0 || errno == EEXIST, at);
  must(mount(type, at, type, 0, options) == 0, at);
}

static void mount_all(void) {
  mount_new("proc", "/proc", "");
  mount_new("sysfs", "/sys", "");
  mount_new("devtmpfs", "/dev", "mode=755");
  mount_new("devpts", "/dev/pts", "mode=620,ptmxmode=666");
  mount_new("tmpfs", "/tmp", "mode=1777");
  mount_new("tmpfs", "/run", "mode=755");
  mount_new("tmpfs", "/var", "mode=755");
}

static void fill_var(void) {
  static const char* const folders[] = {"/var/run", "/var/log", "/var/lock", "/var/tmp", "/var/dns", "/var/wan"};
  for (size_t i = 0; i < sizeof folders / sizeof *folders; ++i) {
    must(mkdir(folders[i], 0755) == 0, folders[i]);
  }
  must(chmod("/var/tmp", 01777) == 0, "/var/tmp");
}

static void bring_loopback_up(void) {
  int any = socket(AF_INET, SOCK_DGRAM, 0);
  struct ifreq request = {.ifr_name = "lo"};
  request.ifr_flags = IFF_UP;
  must(any >= 0 && ioctl(any, SIOCSIFFLAGS, &request) == 0, "lo");
  close(any);
}

/* Segments and semaphore sets with the id 0 mean "none" to the store, so nobody may get one. */
static void use_up_id_zero(void) {
  int segment = shmget(IPC_PRIVATE, 1, 0600);
  int set = semget(IPC_PRIVATE, 1, 0600);
  must(segment >= 0 && shmctl(segment, IPC_RMID, NULL) == 0, "shared memory");
  must(set >= 0 && semctl(set, 0, IPC_RMID) == 0, "semaphores");
}

static void run_suite(void) {
  char* const words[] = {(char*)"sh", (char*)"/suite", NULL};
  int nothing = open("/dev/null", O_RDWR);
  dup2(nothing, STDIN_FILENO);
  close(nothing);
  setsid();
  setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
  setenv("HOME", "/", 1);
  setenv("TMPDIR", "/var/tmp", 1);
  setenv("ROQ_SANDBOX", "1", 1);
  execv("/bin/sh", words);
  _exit(127);
}

int main(void) {
  struct utsname kernel;
  /* What the firmware and the kernel printed may have no line end. */
  printf("\n");
  mount_all();
  fill_var();
  must(sethostname("gateway", 7) == 0, "host name");
  bring_loopback_up();
  use_up_id_zero();
  must(uname(&kernel) == 0, "kernel");
  printf("machine: booted %s %s\n", kernel.machine, kernel.release);
  fflush(stdout);

  pid_t suite = fork(), ended;
  must(suite >= 0, "suite");
  if (suite == 0) run_suite();
  int status = -1;
  /* Orphans end here, too. */
  do
    ended = wait(&status);
  while (ended != suite && !(ended < 0 && errno == ECHILD));
  end(ended == suite && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? "passed" : "failed");
}
