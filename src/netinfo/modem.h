// Device nodes of a mobile-broadband stick, in the table of the platform's driver.
#ifndef ROQ_NETINFO_MODEM_H
#define ROQ_NETINFO_MODEM_H

#include "netinfo/line_reader.h"

namespace roq::netinfo {

inline constexpr char kModemTable[] = "/proc/proc_user_umts";
inline constexpr size_t kModemLineSize = 64;

// Copies what follows the first ':' of the first line that has one and contains `keyword`; false without such a line.
bool find_modem_node(LineReader& table, const char* keyword, char* node);

} // namespace roq::netinfo

#endif
