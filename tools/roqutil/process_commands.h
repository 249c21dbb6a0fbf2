// roqutil parse, exec, sh, which, pid, stop, lock: process control.
#ifndef ROQ_TOOL_PROCESS_COMMANDS_H
#define ROQ_TOOL_PROCESS_COMMANDS_H

#include "cli.h"

namespace roq::tool {

int run_parse(const Invocation& call);
int run_exec(const Invocation& call);
int run_sh(const Invocation& call);
int run_which(const Invocation& call);
int run_pid(const Invocation& call);
int run_stop(const Invocation& call);
int run_lock(const Invocation& call);

inline constexpr Option kParseOptions[] = {{"no-plan", nullptr, "leave '&' and redirections among the arguments"},
                                           kJsonOption};
inline constexpr Example kParseExamples[] = {
    {"roqutil parse \"ping -c 3 'my host' >>/var/log/ping 2>/dev/null &\"", "what the launcher would start"},
    {"roqutil parse 'cmd 2>&1 > out' --json", "the same for a program"}};
inline constexpr Command kParseCommand{
    .name = "parse",
    .arguments = "LINE",
    .minimum = 1,
    .maximum = 1,
    .summary = "take a command line apart as the launcher does",
    .details = "Prints the arguments with their numbers, and the files of a redirection behind > or >>. The exit code "
               "is 1 when the launcher cannot take the line.",
    .options = kParseOptions,
    .examples = kParseExamples,
    .run = run_parse};

inline constexpr Option kExecOptions[] = {
    {"detach", nullptr, "do not wait; the program leads a session of its own"},
    {"interval", "SECONDS", "time between two looks at the program, really 0.04 at most (default: wait for its end)"},
    kJsonOption};
inline constexpr Example kExecExamples[] = {
    {"roqutil exec 'ls -l /var > /var/list 2>/dev/null'", "with redirections, without a shell"},
    {"roqutil exec 'my-service >>/var/log/service 2>&1 &'", "in the background, away from the keyboard"},
    {"roqutil exec --detach 'my-service'", "in a session of its own"}};
inline constexpr Command kExecCommand{
    .name = "exec",
    .arguments = "LINE",
    .minimum = 1,
    .maximum = 1,
    .summary = "run a program without a shell",
    .details =
        "Programs without a leading slash are searched as 'roqutil which' does. How the program ended is told on "
        "standard error, and its exit code is passed on: 255 when it could not be executed, 128 and the number "
        "of the signal when one killed it. No limit ends the wait.",
    .options = kExecOptions,
    .examples = kExecExamples,
    .run = run_exec};

inline constexpr Option kShOptions[] = {
    {"limit", "SECONDS", "terminate the shell when it takes longer, 1 to 127 (default: wait for it)"}, kJsonOption};
inline constexpr Example kShExamples[] = {{"roqutil sh 'ps | grep -c wan'", "with all that a shell can do"},
                                          {"roqutil sh --limit 5 'sleep 100'", "not longer than some seconds"}};
inline constexpr Command kShCommand{
    .name = "sh",
    .arguments = "LINE",
    .minimum = 1,
    .maximum = 1,
    .summary = "run a command line in the shell",
    .details = "How the shell ended is told on standard error, and its exit code is passed on: 128 and the number of "
               "the signal when one killed it. Seconds of the limit are nominal and really longer.",
    .options = kShOptions,
    .examples = kShExamples,
    .run = run_sh};

inline constexpr Example kWhichExamples[] = {{"roqutil which iptables", "the program that a launch would start"}};
inline constexpr Command kWhichCommand{
    .name = "which",
    .arguments = "PROGRAM",
    .minimum = 1,
    .maximum = 1,
    .summary = "find a program on the launcher's search path",
    .details = "The folders are /var, /bin, /sbin and /usr/bin, in this order. A name with a leading slash is taken "
               "without a test. The exit code is 1 when there is no such program.",
    .options = kJsonOnly,
    .examples = kWhichExamples,
    .run = run_which};

inline constexpr Option kPidOptions[] = {{"all", nullptr, "print every process, not the first one only"}, kJsonOption};
inline constexpr Example kPidExamples[] = {{"roqutil pid dhcpd", "the first process with this in its command line"},
                                           {"roqutil pid dhcpd --all", "all of them"}};
inline constexpr Command kPidCommand{
    .name = "pid",
    .arguments = "NAME",
    .minimum = 1,
    .maximum = 1,
    .summary = "find processes by a piece of their command line",
    .details =
        "Blanks are taken out of NAME; the first 126 bytes of command lines are searched, with their words joined. "
        "This command itself does not count. The exit code is 1 when there is no such process.",
    .options = kPidOptions,
    .examples = kPidExamples,
    .run = run_pid};

inline constexpr Example kStopExamples[] = {{"roqutil stop dhcpd", "ask the supervisor to stop it"}};
inline constexpr Command kStopCommand{
    .name = "stop",
    .arguments = "NAME",
    .minimum = 1,
    .maximum = 1,
    .summary = "ask the platform's supervisor to stop a process",
    .details = "The request goes over the message bus; nobody answers. A name is cut at 11 characters.",
    .examples = kStopExamples,
    .run = run_stop};

inline constexpr Example kLockExamples[] = {
    {"roqutil lock /var/lock/wan -- iptables -t nat -F", "one at a time, whoever else takes the lock"},
    {"roqutil lock /var/lock/wan -- sh -c 'read x < /var/n; echo $((x + 1)) > /var/n'", "several steps"}};
inline constexpr Command kLockCommand{
    .name = "lock",
    .arguments = "FILE -- COMMAND [ARGUMENT...]",
    .minimum = 2,
    .maximum = kAnyNumber,
    .summary = "run a program while holding a lock file's lock",
    .details =
        "The file is created if need be. The program is searched as 'roqutil which' does, its exit code is passed "
        "on: 255 when it could not be executed, 128 and the number of the signal when one killed it.",
    .examples = kLockExamples,
    .options_come_first = true,
    .run = run_lock};

} // namespace roq::tool

#endif
