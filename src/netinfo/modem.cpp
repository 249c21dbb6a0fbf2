#include "netinfo/modem.h"

#include <cstring>

namespace roq::netinfo {

bool find_modem_node(LineReader& table, const char* keyword, char* node) {
  char line[kModemLineSize];
  while (table.next(line)) {
    if (strstr(line, keyword) == nullptr) continue;
    line[strcspn(line, "\n")] = '\0';
    const char* colon = strchr(line, ':');
    if (colon == nullptr) continue;
    strcpy(node, colon + 1);
    return true;
  }
  return false;
}

} // namespace roq::netinfo
