// Files, folders, kernel tables and programs that the library takes for granted.
#include "doctor/checkup.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <roqutil/process.h>
#include <unistd.h>

namespace roq::tool::doctor {
namespace {

// What is expected of a path: the checks of access, F_OK to R_OK | W_OK | X_OK.
void check_path(Checkup& checkup, const char* path, int mode, const char* found, const char* advice) {
  bool holds = access(path, mode) == 0;
  checkup.expect(holds, path, holds ? found : strerror(errno), advice);
}

void check_folder(Checkup& checkup, const char* path, const char* advice) {
  check_path(checkup, path, W_OK | X_OK, "it can be written to", advice);
}

// A file that the library writes over, or makes.
void check_written_file(Checkup& checkup, const char* folder, const char* path) {
  bool exists = access(path, F_OK) == 0;
  bool holds = access(exists ? path : folder, exists ? W_OK : W_OK | X_OK) == 0;
  checkup.expect(holds, path,
                 !holds   ? strerror(errno)
                 : exists ? "it can be written over"
                          : "it can be made",
                 "run as a user who may write there, on a file system that is not read-only");
}

void check_table(Checkup& checkup, const char* path, const char* advice) {
  check_path(checkup, path, R_OK, "it can be read", advice);
}

// A program that is started by its name alone.
void check_program(Checkup& checkup, const char* name, const char* advice) {
  char path[PATH_MAX];
  bool is_found = ROQ_UTIL_GetExeFullPath(name, path, sizeof path) == 0;
  checkup.expect(is_found, name, is_found ? path : "no such program in /var, /bin, /sbin and /usr/bin", advice);
}

} // namespace

void check_process(Checkup& checkup) {
  check_path(checkup, "/bin/sh", X_OK, "it can be run", "install a shell there");
  check_path(checkup, "/dev/null", R_OK | W_OK, "it can be read and written", "make it: mknod -m 666 /dev/null c 1 3");
  check_table(checkup, "/proc/self/cmdline", "mount /proc");
  check_folder(checkup, "/var/log", "make the folder, for a user who may write there");
}

void check_wan_files(Checkup& checkup) {
  check_folder(checkup, "/var/wan", "make the folder, for a user who may write there");
  check_written_file(checkup, "/var", "/var/voice_dns");
}

void check_net(Checkup& checkup) {
  constexpr const char* kNoIpv6 = "use a kernel with IPv6, or do without IPv6 routes and addresses";
  check_table(checkup, "/proc/net/route", "mount /proc");
  check_table(checkup, "/proc/net/dev", "mount /proc");
  check_table(checkup, "/proc/net/ipv6_route", kNoIpv6);
  check_table(checkup, "/proc/net/if_inet6", kNoIpv6);
}

void check_module(Checkup& checkup) {
  check_table(checkup, "/proc/modules", "use a kernel with loadable modules, or do without them");
  check_program(checkup, "insmod", "install kmod or busybox");
  check_program(checkup, "rmmod", "install kmod or busybox");
}

void check_firewall(Checkup& checkup) {
  check_path(checkup, "/bin/iptables", F_OK, "it exists", "install iptables, and link it there if it lies elsewhere");
  check_program(checkup, "iptables", "install iptables, and link it into one of these folders");
  check_written_file(checkup, "/var", "/var/iptable");
}

} // namespace roq::tool::doctor
