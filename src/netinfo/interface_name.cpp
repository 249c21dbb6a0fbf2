#include "netinfo/interface_name.h"

#include <cstring>

namespace roq::netinfo {
namespace {

struct NumberedNames {
  uint8_t first, last;
  uint8_t offset; // from the unit behind the prefix to the interface's number
  char prefix[6];
};

// The first range that holds a number decides, so 25 and 26 belong to eth0 and never name eth1.0 and eth1.1.
constexpr NumberedNames kNames[] = {
    {1, 4, 1, "eth"},
    {21, 26, 21, "eth0."},
    {25, 30, 25, "eth1."},
    {14, 16, 13, "wl0."},
};
constexpr uint32_t kWireless = 13;

} // namespace

bool name_interface(uint32_t number, char* name) {
  if (number == kWireless) {
    strcpy(name, "wl0");
    return true;
  }
  for (const NumberedNames& names : kNames) {
    if (number < names.first || number > names.last) continue;
    char* unit = stpcpy(name, names.prefix);
    unit[0] = static_cast<char>('0' + number - names.offset);
    unit[1] = '\0';
    return true;
  }
  return false;
}

} // namespace roq::netinfo
