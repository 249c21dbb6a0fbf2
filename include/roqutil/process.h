/*
 * Process control: command lines become programs, and programs are started, waited for, found and stopped; locks
 * between processes, log files, and tables of listening descriptors.
 *
 * Which function to take:
 *
 *   ROQ_UTIL_ExecCmdNoHang   a command without shell syntax, waited for; gives the exit code
 *   ROQ_UTIL_ForkProcess     the same with a choice of waiting and with the signal that killed the program
 *   ROQ_UTIL_ForkProcessEx   an argument vector instead of a command line
 *   ROQ_UTIL_ForkProcessFull an argument vector with redirections
 *   ROQ_UTIL_ExecCmd         a command for the shell (pipes, variables, several commands), waited for
 *   ROQ_UTIL_ExecCmd_ByTime  the same with a limit in seconds
 *
 * The first four start the program directly. Start what carries text from outside with them: there is no shell that
 * could read more into it.
 *
 * Nothing here keeps state between calls. The parser, the lookup, the locks and the tables may be used by several
 * threads at once; about the launcher see "Signals" below.
 */
#ifndef ROQUTIL_PROCESS_H
#define ROQUTIL_PROCESS_H

#include <roqutil/api.h>
#include <stdint.h>
#include <stdio.h>

ROQ_EXTERN_C_BEGIN

/* ---- Command lines -------------------------------------------------------------------------------------------------
 *
 * The parser knows a part of what a shell knows:
 *
 *   white space     separates arguments: blank, tab, line feed, vertical tab, form feed, carriage return. A backspace
 *                   ends an argument as well, but is not skipped in front of one: "a", blank, backspace, blank, "b"
 *                   has an empty argument in the middle.
 *   'text' "text"   a quoted run, part of an argument: white space does not separate inside it, and a run of one kind
 *                   may hold quotes of the other. The quotes are removed.
 *   \c              outside quotes: the character c, whatever it is. A backslash at the very end is dropped.
 *                   Inside quotes a backslash is an ordinary character that stays; but an argument with a
 *                   quoted run that holds a backslash and its own quote fails, "a\"b" for one.
 *   &               at the end of the line, as the last argument or the last character of it: start in the
 *                   background. A final "\&" counts, too.
 *   > >> 1> 2> ...  at the end of the line: redirections, at most two, see below.
 *
 * The first argument is the program. It keeps its quotes and backslashes; a leading "./" is cut off.
 *
 * Redirections are looked for at the end of the line, one after the other, two at most. What is no redirection ends
 * the search, so that redirections in the middle of a line stay arguments.
 *
 *   > file   >file   1>file   1> file     standard output, the file is emptied
 *   >> file  >>file  1>>file  1>> file    standard output, appended
 *   2>file   2> file   2>>file  2>> file  standard error
 *   2>&1   1>&2                           in front of the last redirection: the output goes where that one leads
 *
 * When both set the same output, the one nearer to the end wins. File names are taken as written, quotes and
 * backslashes included. Oddities, all meant:
 *
 *  - As the last thing of a line "2>&1", "1>&2", "1>&1" and "2>&2" are dropped without effect: "cmd > out 2>&1"
 *    redirects standard output only. Write "cmd 2>&1 > out" to send both to "out".
 *  - "2> file" with a blank works as the last redirection only. In front of another one it is taken for standard
 *    output: "cmd 2> err > out" loses "err", and "cmd 2> err 1>&2" sends standard output to "err". Write "2>err".
 *  - Text glued to the front of an operator is lost: "cmd a> out" redirects standard output and drops the "a".
 *  - An operator without a file name is dropped, but "1>>" and "2>>" as the last argument, or in front of the last
 *    redirection, name the file ">".
 */

/* What the end of a command line asks for. */
typedef struct RedirectPlan {
  char* pcStdoutFile;    /* file for standard output, or null; heap text, released by the caller with free */
  char* pcStderrFile;    /* file for standard error, or null; heap text, released by the caller with free */
  int32_t bStdoutAppend; /* 1: append to pcStdoutFile, 0: empty it first */
  int32_t bStderrAppend; /* 1: append to pcStderrFile, 0: empty it first */
  int32_t bBackground;   /* 1: the line ended with "&" */
} RedirectPlan;

/*
 * Parses a command line of at most 4,096 characters.
 *
 * pppcArgv  the arguments, a null-terminated vector on the heap, released with ROQ_UTIL_FreeArgs; left alone on failure
 * piArgc    their number, 0 on failure; may be null
 * pstPlan   background and redirections; may be null: then "&" and redirections stay ordinary arguments. It need not
 *           be initialised. Its two texts are the caller's to free after success; after a failure they are null.
 *
 * Returns 0 on success, also for an empty line, whose vector holds the terminator only; 1 when pcCmd or pppcArgv is
 * null, the line is too long, a quoted run is left open, or memory is exhausted. Nothing stays allocated on failure.
 *
 * Example:
 *
 *   char** argv;
 *   RedirectPlan plan;
 *   if (ROQ_UTIL_ParseArgs("ping -c 3 'my host' 2>>/var/log/ping", &argv, NULL, &plan) == 0) {
 *     puts(argv[3]);             // argv: "ping" "-c" "3" "my host"
 *     puts(plan.pcStderrFile);   // "/var/log/ping", to be appended to
 *     ROQ_UTIL_FreeArgs(argv);
 *     free(plan.pcStdoutFile);
 *     free(plan.pcStderrFile);
 *   }
 */
ROQ_API uint32_t ROQ_UTIL_ParseArgs(const char* pcCmd, char*** pppcArgv, int32_t* piArgc, RedirectPlan* pstPlan);

/* Releases an argument vector and its texts. Null is ignored. */
ROQ_API void ROQ_UTIL_FreeArgs(char** ppcArgv);

/* ---- Starting programs ---------------------------------------------------------------------------------------------
 *
 * Time limits, in milliseconds:
 *
 *   negative  wait until the program ends
 *   0         do not wait: the program is detached, a grandchild of the caller that leads a session of its own, and is
 *             never waited for
 *   positive  wait until the program ends, too: the limit only sets how often the child is looked at, every
 *             min(limit, 40) milliseconds
 *
 * HAZARD: no limit ends a wait. A program that does not end holds its caller for ever; detach it, or use
 * ROQ_UTIL_ExecCmd_ByTime.
 *
 * What the program starts with: the caller's environment, working folder, signal mask, descriptors 0 to 2 except
 * where they are redirected, and whatever descriptors above 49 are not close-on-exec; 3 to 49 are closed. The
 * signals 1 to 31 of the target are set to their default actions; real-time signals, and SIGSTKFLT on machines that
 * have it, keep theirs when they are ignored. A program started with "&" has /dev/null as its standard input and
 * ignores SIGINT and SIGQUIT.
 *
 * Redirection files are opened for reading and writing by the caller's process, created with mode 0666 less its mask.
 * A file that cannot be opened is not reported: that output stays the caller's. When both outputs name the same file,
 * it is opened once.
 *
 * A program that was found but cannot be executed shows as exit code 255, a detached one not at all: the child then
 * ends with exit, which writes out what the caller had left in its stream buffers and runs its exit handlers. The child
 * between the caller and a detached program ends with exit, too. HAZARD: flush streams before such calls, or the text
 * appears twice.
 *
 * Signals: while the launcher waits, the SIGCHLD action of the whole process is the default; the caller's is put back
 * before it returns. Callers with several threads launch from one of them at a time, and do without a SIGCHLD
 * handler that they need meanwhile. An interrupting signal does not end a wait.
 *
 * Program names without a leading slash are searched in the folders of g_apcBinSearchPath, also names with a slash
 * in the middle. The first file that has the owner's execute bit wins. A name with a leading slash is started
 * without a test.
 */

/*
 * The folders in which programs are searched, in this order, ended by a null: "/var", "/bin", "/sbin", "/usr/bin". The
 * table has room for 15 entries and the final null; add or replace entries before threads are started, and keep the
 * null. The texts must stay in place.
 *
 * Example: one folder more. The entries behind it are null already.
 *
 *   g_apcBinSearchPath[4] = "/opt/bin";
 */
#define ROQ_BIN_SEARCH_PATH_ROOM 16 /* entries of g_apcBinSearchPath, the final null included */
ROQ_API extern const char* g_apcBinSearchPath[];

/*
 * Finds a program.
 *
 * pcFull  its path, cut to ulLen bytes with the terminator. When the program is not found, the last candidate. With
 *         ulLen 0 nothing is written, and only a name with a leading slash is found.
 *
 * Returns 0, or -1 when pcName is null or empty, pcFull is null, or no folder has such a program. A path that was cut
 * is tested, and given, as it was cut.
 */
ROQ_API int32_t ROQ_UTIL_GetExeFullPath(const char* pcName, char* pcFull, uint32_t ulLen);

/*
 * Waits for a child of the caller. iTimeLimit is as above, but 0 means to look once.
 *
 * pulSignal    the signal that killed the child, 0 when it ended by itself; may be null
 * pulExitCode  its exit code, 0 when a signal killed it; may be null
 *
 * Returns the process id of the child that ended, which is iPid unless that names a group of children as for waitpid;
 * iPid with both outputs left alone when the child still runs (limit 0) or was already waited for elsewhere; -1 on
 * any other failure of waitpid.
 */
ROQ_API int32_t ROQ_UTIL_WaitForPid(int32_t iPid, int32_t iTimeLimit, uint32_t* pulSignal, uint32_t* pulExitCode);

/*
 * Starts a program from an argument vector and waits as the time limit says.
 *
 * ppcArgv      the program and its arguments, null-terminated
 * pulSignal    as for ROQ_UTIL_WaitForPid; of a detached program's parent, which ends by itself with 0, or with
 *              255 when it could not start the program
 * pulExitCode  likewise
 * pstPlan      redirections; its bBackground matters with a time limit of 0 only, and says whether the detached
 *              program is shut off from the keyboard ("&" above); may be null
 *
 * Returns the id of the child that was waited for (for a detached program not its own, but its parent's), -1 when the
 * vector or its first element is null or the program is not found, a negative value when there is no child to be had:
 * then the redirection files stay open in the caller's process. Prints "sigaction error\r\n" and the reason on standard
 * error when the SIGCHLD action cannot be set, and goes on; else nothing. The path of the program is cut at 255
 * characters.
 */
ROQ_API int32_t ROQ_UTIL_ForkProcessFull(char** ppcArgv, int32_t iTimeLimit, uint32_t* pulSignal, uint32_t* pulExitCode,
                                         RedirectPlan* pstPlan);

/* ROQ_UTIL_ForkProcessFull without redirections. */
ROQ_API int32_t ROQ_UTIL_ForkProcessEx(char** ppcArgv, int32_t iTimeLimit, uint32_t* pulSignal, uint32_t* pulExitCode);

/*
 * Parses a command line with ROQ_UTIL_ParseArgs and starts it with ROQ_UTIL_ForkProcessFull; a line that ends with "&"
 * is detached whatever the time limit is. Returns as that one does, -1 also for a line that cannot be parsed or is
 * empty.
 *
 * Example:
 *
 *   uint32_t killed_by, code;
 *   if (ROQ_UTIL_ForkProcess("ping -c 1 192.168.1.2 >/var/ping 2>/dev/null", -1, &killed_by, &code) > 0 &&
 *       killed_by == 0 && code == 0)
 *     puts("it answers");
 */
ROQ_API int32_t ROQ_UTIL_ForkProcess(const char* pcCmd, int32_t iTimeLimit, uint32_t* pulSignal, uint32_t* pulExitCode);

/* ---- Running commands ----------------------------------------------------------------------------------------------
 *
 * The first two hand the command to "/bin/sh" "-c". They change no signal action, close no descriptor and do not notice
 * when the caller ignores SIGCHLD: then they return -1. A raw wait status is what waitpid gives; take it apart with
 * WIFEXITED, WEXITSTATUS and the others of <sys/wait.h>. A shell that cannot be started shows as exit code 127.
 */

/*
 * Runs a command in the shell and waits until it ends.
 *
 * pucPrint  anything but null: print "ROQ_UTIL_ExecCmd Command: " and the command, without a line end, on standard
 *           output
 *
 * Returns the raw wait status of the shell (0x300 for exit code 3); 0xFFFFFFFF for a null command, a failed fork or a
 * failed wait.
 */
ROQ_API uint32_t ROQ_UTIL_ExecCmd(const char* pcCmd, const void* pucPrint);

/*
 * Runs a command in the shell and waits until it ends or stops, for a time.
 *
 * ulSeconds  the limit; its low byte alone is looked at: 0 (so 256, too) means 20 seconds, 1 to 127 are seconds, and
 *            128 to 255 are negative and never expire. A second is 50,000 looks at the child 20 microseconds apart, so
 *            the real time is longer, by a few times on a slow or busy machine.
 *
 * Returns the raw wait status of the shell, -1 for a null command, a failed fork or a failed wait. When the limit is
 * over, terminates the shell with SIGTERM, prints "\r\nNotice Command: %s; Pid = %d\r\n" with the command and the
 * shell's process id on standard output, and returns -1.
 *
 * HAZARD: after the limit the shell is not waited for, so that it stays behind as a zombie until the caller waits for
 * it; and programs that the shell has started are not terminated with it.
 */
ROQ_API int32_t ROQ_UTIL_ExecCmd_ByTime(const char* pcCmd, uint32_t ulSeconds);

/*
 * Runs a command without a shell, with ROQ_UTIL_ForkProcess, and waits until it ends; with a trailing "&" it returns at
 * once.
 *
 * Returns the program's exit code: 255 when it could not be executed, 0 when a signal killed it, when it was detached
 * (255 when that failed for want of a process) or when somebody else waited for it; -1 when the line cannot be parsed,
 * is empty, or its program is not found, and a negative value when there is no child to be had.
 */
ROQ_API int32_t ROQ_UTIL_ExecCmdNoHang(const char* pcCmd);

/* ---- Finding and stopping processes ------------------------------------------------------------------------------*/

/*
 * Joins the words of a command line as the kernel gives it, in place: words end with a NUL each, the last one with two.
 * The NULs between them are taken out and nothing is put in their place. Returns 0 for null, else 1.
 */
ROQ_API uint32_t ROQ_UTIL_RmDelimitor(char* pcBuf);

/*
 * Finds the processes whose command lines contain a text.
 *
 * The first 126 bytes of "/proc/PID/cmdline" are looked at, up to the first line feed or empty argument in them, with
 * their words joined without separators: a text with a blank never matches across words. Processes without a command
 * line, such as the kernel's own, are passed over; the caller itself is not.
 *
 * Returns the process ids in the order of /proc, ended by a 0, on the heap; released with free. Null for a null name,
 * when /proc cannot be opened ("cms:Cannot open /proc" on standard output) and when memory is exhausted
 * ("cms: Out of memeory!" and a line end).
 *
 * HAZARD: when nothing matches, the list has one entry and no 0 behind it: 1 if the name is "init", else 0xFFFFFFFF.
 * Look at the first entry before any other.
 */
ROQ_API uint32_t* ROQ_UTIL_FindPidByName(const char* pcName);

/*
 * The first process that ROQ_UTIL_FindPidByName finds. Blanks are taken out of the name first, and it is cut at 239
 * characters. Returns its process id; 0xFFFFFFFF when there is none (1 for "init"); 0 for null and on failure.
 *
 * HAZARD: for kill, 0xFFFFFFFF is every process and 0 the caller's process group. Look at the result first.
 */
ROQ_API uint32_t ROQ_UTIL_GetPid(const char* pcName);

/*
 * Asks the platform's supervisor over the message bus (roqutil/msg.h, type 0x2000d) to stop a process. The name is cut
 * to 11 characters. Does nothing for null; what becomes of the request is not told.
 */
ROQ_API void ROQ_UTIL_StopProcess(const char* pcName);

/* ---- Locks and log files -----------------------------------------------------------------------------------------*/

/*
 * Locks a file exclusively, creating it if need be, and waits for as long as another holder has it. The lock is
 * advisory and belongs to the opened file: a second lock of the same path waits also within one process.
 *
 * ppstStream  a stream for reading on the descriptor, null when none can be made although the file is locked; may be
 *             null. Closing the stream closes the descriptor and gives the lock back.
 *
 * Returns the descriptor, which is close-on-exec; -1 for a null path, and when the lock cannot be had, after printing
 * "ERROR:Fail to flock %s.\n" with the path on standard output.
 *
 * HAZARD: when the file cannot be opened, "ROQ_LockFile,Fail to open %s.\n" is printed with the path on standard output
 * and the calling process ends with _exit(1).
 */
ROQ_API int32_t ROQ_UTIL_LockFile(const char* pcPath, FILE** ppstStream);

/*
 * Gives the lock back and closes the descriptor. Returns the result of close; for a negative descriptor prints
 * "ROQ_UnlockFile %d fail.\n" with it on standard output and returns the length of that text.
 *
 * A stream of ROQ_UTIL_LockFile is not closed. Close either the stream or the descriptor, not both.
 */
ROQ_API int32_t ROQ_UTIL_UnlockFile(int32_t iFd);

/*
 * Replaces the file "/var/log/NAME" by formatted text. The path is cut at 127 characters.
 *
 * Returns the result of closing the file: 0, or -1 when what was still to be written then could not be; 0 also when the
 * file cannot be opened or an argument is null. Prints nothing.
 *
 * HAZARD: on a full device only a text that fits into the stream's buffer (4,096 bytes with glibc) shows as -1. Of a
 * longer one the beginning may be lost and the result be 0.
 *
 * Example:
 *
 *   ROQ_WriteFile("uptime", "%d seconds\n", 86400);
 */
ROQ_API int32_t ROQ_WriteFile(const char* pcName, const char* pcFormat, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

/* ---- Tables of listening descriptors -------------------------------------------------------------------------------
 *
 * A table is an array of the caller's, ulLen entries long. An entry of 0 is free, so that descriptor 0 cannot be held.
 * All return 1 for a null table and a length of 0.
 */

/* Makes every entry free. Returns 0. */
ROQ_API uint32_t ROQ_UTIL_MIC_ResetBackupAppFds(uint32_t* pulFds, uint32_t ulLen);

/* Puts a descriptor into the first free entry; the same one may be added twice. Returns 0; 1 for descriptor 0 and when
 * no entry is free. */
ROQ_API uint32_t ROQ_UTIL_MIC_AddBackupAppFds(uint32_t* pulFds, uint32_t ulLen, uint32_t ulFd);

/*
 * Accepts and closes the connections that are pending on the table's descriptors, without waiting for further ones.
 *
 * Descriptors of FD_SETSIZE (1,024) and more are passed over. Returns 0 when no connection is left on those that had
 * any, or when they cannot be looked at; 1 as soon as a connection cannot be accepted.
 *
 * HAZARD: with one closed descriptor in the table none can be looked at, and every connection stays. Take a descriptor
 * out of the table before it is closed.
 *
 * HAZARD: a descriptor that is listed twice is accepted from twice in a row, and the second time may find nothing: then
 * this waits on a blocking descriptor, and gives 1 on another.
 */
ROQ_API uint32_t ROQ_UTIL_MIC_CloseBackupAppFdsReadableConnection(uint32_t* pulFds, uint32_t ulLen);

ROQ_EXTERN_C_END

#endif
