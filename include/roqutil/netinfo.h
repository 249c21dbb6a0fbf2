/*
 * The running network state, the modem's device nodes, the QoS mark of a socket, kernel modules and firewall rules.
 *
 * Nothing is cached: every call opens and reads the kernel's table, asks the kernel, or runs the system's tool afresh.
 * No locks are taken, and every table and socket is closed on every path. All functions are reentrant but the four that
 * run a tool (ROQ_UTIL_InsertModule, ROQ_UTIL_RemoveModule, ROQ_UTIL_InsertModulesDir, ROQ_UTIL_RemoveIpTableRule):
 * while they wait for it, the SIGCHLD action of the whole process is the default, so that one thread at a time may call
 * them; see "Signals" in roqutil/process.h, and the hazard of unflushed streams there.
 *
 * RESULTS DIFFER from function to function, on purpose; callers depend on each. Most give 1 for success and 0 for
 * failure, but ROQ_UTIL_GetIpByName gives 0 for success, ROQ_UTIL_GetIfcStatInfo as good as always 0,
 * ROQ_UTIL_QosSetMark 0 or -1, and the search for a default route gives 1 also when there is none.
 *
 * Tables are read in lines of a fixed size, told with each function: a line buffer of N bytes takes N - 1 characters
 * at a time, line end included, and what is left of a longer line is read as a further line. Columns are what stands
 * between white space; a column longer than its buffer is cut to the buffer's size less 1. The column buffers are
 * emptied once per call, not per line: where a line has fewer columns than the table should have, the missing ones
 * keep what the line before had there.
 *
 * Outputs belong to the caller. Where nothing was found they are left untouched, except where the text says that the
 * first byte is cleared.
 */
#ifndef ROQUTIL_NETINFO_H
#define ROQUTIL_NETINFO_H

#include <netinet/in.h>
#include <roqutil/api.h>
#include <stdint.h>

ROQ_EXTERN_C_BEGIN

/* ---- Routes and interfaces -------------------------------------------------------------------------------------- */

/*
 * The interface of the IPv4 default route: of the lines of /proc/net/route behind the first, the first one whose
 * destination (column 2) and mask (column 8) both are "00000000". The table's order decides; metrics are not compared.
 *
 * pcName  receives the name (column 1), at most 31 characters and a terminator; 32 bytes are always enough, 16 for
 *         every name that Linux allows. Its first byte is cleared before the table is opened, and nothing behind the
 *         terminator is written.
 *
 * Returns 1 when the table could be read, also when it has no default route: pcName is then empty. 0 for a null
 * pointer, and when the table cannot be opened, after printing "Can't Open File:/proc/net/route" and a line end on
 * standard output.
 *
 * Lines of 1,024 bytes, 11 columns of 32 bytes.
 */
ROQ_API uint32_t ROQ_UTIL_GetDefaultRouteInterfaceName(char* pcName);

/*
 * The device of the IPv6 default route: of the lines of /proc/net/ipv6_route whose destination and source networks
 * (columns 1 and 3) are 32 zeros and whose prefix lengths (columns 2 and 4) are "00", the one with the lowest metric
 * (column 6, hexadecimal), of equal ones the first. A metric of ffffffff, which the kernel's own reject routes have,
 * is never chosen.
 *
 * pcName  receives the device (column 10)
 * ulSize  its size in bytes. ulSize - 1 bytes are written: the name, cut to fit and padded with zeros. 0 writes
 *         nothing.
 *
 * Returns 1 when the table could be opened, also when it has no default route: pcName is then untouched. 0 for a null
 * pointer, and when the table cannot be opened, after the debug line "Can't Open File:/proc/net/ipv6_route\n" on the
 * message bus (ROQ_DEBUG).
 *
 * HAZARD: the last byte of the buffer is never written. Zero the buffer before the call, or a name of ulSize - 1 or
 * more characters has no terminator.
 *
 * Example:
 *
 *   char device[17] = "";
 *   if (ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(device, sizeof device) == 1 && device[0] != '\0') puts(device);
 *
 * A metric with a character that is no hexadecimal digit counts up to there and prints "Invalid string" and a line
 * end on standard output. Lines of 1,024 bytes, 10 columns of 64 bytes.
 */
ROQ_API uint32_t ROQ_UTIL_GetIPv6DefaultRouteInterfaceName(char* pcName, uint32_t ulSize);

/*
 * The first link-local address (fe80::/10) of an interface in /proc/net/if_inet6, in its shortest form ("fe80::1").
 *
 * pcName     the interface, compared exactly
 * pcAddress  at least 46 bytes; the text and its terminator are written
 *
 * Returns 1 when there is one; 0 when there is none, the table cannot be opened, or a pointer is null. Prints nothing.
 *
 * Lines of 256 bytes. The address has a column buffer of 64 bytes; columns 2 to 6 share a second one, so that the
 * last column of a short line is taken for its device.
 */
ROQ_API uint32_t ROQ_UTIL_GetIpv6LinkAddress(const char* pcName, char* pcAddress);

/*
 * The IPv4 address of the other end of a point-to-point interface, as dotted-quad text. For an interface that has no
 * other end the kernel answers with the interface's own address.
 *
 * pcName     the interface; cut to 15 characters
 * pcAddress  at least 16 bytes; the text and its terminator are written
 *
 * Returns 1 when it was written; 0 when there is no such interface, it has no IPv4 address, no socket can be had, or a
 * pointer is null. Prints nothing.
 */
ROQ_API uint32_t ROQ_UTIL_GetIfDestAddr(const char* pcName, char* pcAddress);

/*
 * The IPv4 address of an interface, as a socket address with port 0.
 *
 * pcName      the interface; cut to 15 characters
 * pstAddress  zeroed, and filled when there is an address
 *
 * Returns 0 FOR SUCCESS and 1 for failure, unlike the functions around it: 1 when a pointer is null or no socket can be
 * had (the record is then untouched), and when there is no such interface or it has no IPv4 address (the record is then
 * all zeros). Prints nothing.
 */
ROQ_API uint32_t ROQ_UTIL_GetIpByName(const char* pcName, struct sockaddr_in* pstAddress);

/* Counters of an interface; each stops at 4,294,967,295. */
typedef struct RoqIfcStat {
  uint32_t rx_bytes, rx_packets, rx_errors, rx_drops; /* received */
  uint32_t tx_bytes, tx_packets, tx_errors, tx_drops; /* sent */
} RoqIfcStat;

/*
 * The traffic counters of an interface from /proc/net/dev, columns 2 to 5 and 10 to 13 of its line. Counters that a
 * short line does not have are 0.
 *
 * pcName   the interface; its line is the first one behind the two headers in which this text occurs anywhere
 * pstStat  untouched when there is no such line
 *
 * Returns 0, also when a pointer is null, the table cannot be opened, or no line matches; 0xFFFFFFFF only when the
 * table cannot be closed. To see whether the interface was found, fill the record with a pattern that counters cannot
 * have before the call. Prints nothing.
 *
 * HAZARD: the match is loose. "eth0" also takes the line of eth0.5 or of veth0 when that comes first, and "0" takes
 * nearly every line. A name with its colon ("eth0:") excludes eth0.5, not veth0; "" takes the first line.
 *
 * Lines of 512 bytes, 17 columns of 32 bytes. Where a digit follows the line's first ':' (old kernels print long
 * counters flush against it) a blank is put between, before the line is searched; a line of 511 characters loses its
 * last one.
 */
ROQ_API uint32_t ROQ_UTIL_GetIfcStatInfo(const char* pcName, RoqIfcStat* pstStat);

/* ---- Names, modem ports, socket mark ---------------------------------------------------------------------------- */

/*
 * The Linux name of an interface that the configuration knows by number:
 *
 *   1 to 4    eth0 to eth3            13          wl0
 *   21 to 26  eth0.0 to eth0.5        14 to 16    wl0.1 to wl0.3
 *   27 to 30  eth1.2 to eth1.5
 *
 * There is no number for eth1.0 and eth1.1.
 *
 * pcName  at least 8 bytes; its first byte is cleared, then the name and its terminator are written
 *
 * Returns 1, or 0 with an empty name for any other number. 0 for a null pointer. Prints nothing.
 */
ROQ_API uint32_t ROQ_UTIL_GetInterfaceNameById(uint32_t ulId, char* pcName);

/*
 * Asks the configuration manager over the message bus ("cms", message 0x60007) what type an interface has, and waits
 * for its answer for at most 10 seconds. The meaning of the values belongs to the configuration manager. Of a name of
 * 984 and more characters the first 983 are sent, with a payload length that tells the full one.
 *
 * Returns the type; 0 when the name is null or no answer came. Prints nothing.
 */
ROQ_API uint32_t ROQ_UTIL_GetIntfType(const char* pcName);

/*
 * A device node of the USB mobile-broadband stick, from the driver's table /proc/proc_user_umts: what follows the first
 * ':' of the first line that has one and contains the kind's keyword anywhere. Nothing is trimmed, so "modem: ttyUSB0"
 * gives " ttyUSB0".
 *
 * ulKind  1 "pcui", 2 "modem", 3 "voice"
 * pcNode  at least 63 bytes; the node and its terminator are written
 *
 * Returns 1 when a node was written, else 0. Prints, each followed by a line end, on standard output:
 * "\n fail, the para is invalid." for another kind or a null pointer, "\n open proc_user_umts fail" when the table
 * cannot be opened; nothing when there is no such line.
 *
 * Lines of 64 bytes.
 */
ROQ_API uint32_t ROQ_Get3GUsbStickNode(uint32_t ulKind, char* pcNode);

/*
 * Sets the mark of a socket's packets, by which the gateway's QoS rules classify them.
 *
 * The socket option is fixed when the library is built (CMake option ROQ_QOS_MARK): "platform" is option 66 at level
 * SOL_SOCKET, the mark of the gateway's own kernel; "so_mark" is SO_MARK, the packet mark of a mainline kernel, which
 * needs the right to administer the network. Option 66 means something else to a mainline kernel, which refuses it.
 *
 * Returns 0; -1 when the kernel refuses, after printing "\r\nwarning:  QoS  setsockopt error: %s\r\n" with the text of
 * the error on standard error.
 */
ROQ_API int32_t ROQ_UTIL_QosSetMark(int32_t iSocket, uint32_t ulMark);

/* ---- Kernel modules ------------------------------------------------------------------------------------------------
 *
 * A module is the file <name>.ko in a directory that the caller names. The functions run "insmod" and "rmmod", found
 * in /var, /bin, /sbin or /usr/bin, without a shell, and wait until they end. What comes of them is not looked at: the
 * results say whether a command was issued, not whether it succeeded. Ask ROQ_UTIL_IsModuleInserted afterwards.
 *
 * HAZARD: the command text is split as a command line, so blanks, quotes and backslashes in a name or directory do not
 * stay what they are, and a directory that begins with '>', "1>" or "2>", or has a blank in front of one, becomes a
 * redirection. Commands are cut at 511 characters and run as cut.
 */

/*
 * Whether a module is loaded, by /proc/modules: 1 when in one of its lines a blank follows the first occurrence of the
 * name, else 0; 0 also for a null name.
 *
 * When the table cannot be opened, 0, after printing "Can't Open File:/proc/modules" and a line end on standard output.
 *
 * HAZARD: the match is loose. "usb" is also found at the end of "foo_usb", and so is any text in the later columns that
 * a blank follows. On the other hand only the first occurrence in a line counts: in the line of "usbcore_usb" it is not
 * followed by a blank, and "usb" is not found there. The kernel writes '_' in its names where a file has '-'.
 *
 * Lines of 512 bytes.
 */
ROQ_API uint32_t ROQ_UTIL_IsModuleInserted(const char* pcName);

/*
 * Runs "insmod <directory>/<name>.ko" unless ROQ_UTIL_IsModuleInserted finds the name. The module's name is the first
 * argument although the directory comes first in the command.
 *
 * Returns 1, or 0 when a pointer is null. Prints only what ROQ_UTIL_IsModuleInserted does; the command is then issued.
 */
ROQ_API uint32_t ROQ_UTIL_InsertModule(const char* pcName, const char* pcDirectory);

/*
 * Runs "rmmod <directory>/<name>.ko" if ROQ_UTIL_IsModuleInserted finds the name.
 *
 * Returns 1, or 0 when a pointer is null. Prints only what ROQ_UTIL_IsModuleInserted does; no command is then issued.
 */
ROQ_API uint32_t ROQ_UTIL_RemoveModule(const char* pcName, const char* pcDirectory);

/*
 * ROQ_UTIL_InsertModule for every entry of a directory whose name contains ".ko", cut in front of the first one: foo.ko
 * and foo.ko.old both load foo. In the order in which the directory lists them; dependencies are not looked at.
 *
 * Returns 1, whatever came of the commands; 0 when the directory is null or cannot be opened. Prints only what
 * ROQ_UTIL_IsModuleInserted does, once for each of these entries.
 */
ROQ_API uint32_t ROQ_UTIL_InsertModulesDir(const char* pcDirectory);

/* ---- Firewall --------------------------------------------------------------------------------------------------- */

/*
 * Deletes the first rule of a chain that names an interface for input or output. Call it again while it returns 1 to
 * delete all: each call makes a fresh listing, because the firewall renumbers the rules.
 *
 * It runs "iptables -t <table> -L <chain> -v --line-numbers > /var/iptable", reads that file (lines of 1,024 bytes, 11
 * columns of 32 bytes), and for the first line behind the two headers whose column 7 or 8 equals the interface it runs
 * "iptables -t <table> -D <chain> <column 1> 2>/dev/null". Both are found in /var, /bin, /sbin or /usr/bin, run without
 * a shell, and waited for. The listing stays behind. Commands are cut at 1,023 characters and run as cut.
 *
 * Returns 1 when a deletion was issued, whatever came of it; 0 when no rule matches, a pointer is null, /bin/iptables
 * does not exist, or the listing cannot be opened: then after printing "Can't Open File:/var/iptable" and a line end on
 * standard output.
 *
 * HAZARDS
 *  - A rule without a target has an empty column in the listing, so its interfaces stand one column further left: its
 *    output interface is found in column 7, its input interface not at all.
 *  - When iptables cannot be run although it exists, an older listing is read and acted upon. Callers that repeat the
 *    call until it returns 0 should stop when nothing changes.
 *  - The listing is shared by all processes and not locked: two callers at once may delete the wrong rules.
 *  - As with modules, the texts become parts of a command line. "" as the interface matches short lines.
 */
ROQ_API uint32_t ROQ_UTIL_RemoveIpTableRule(const char* pcInterface, const char* pcTable, const char* pcChain);

ROQ_EXTERN_C_END

#endif
