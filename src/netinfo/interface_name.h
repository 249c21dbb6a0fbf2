// The gateway's interface numbers.
#ifndef ROQ_NETINFO_INTERFACE_NAME_H
#define ROQ_NETINFO_INTERFACE_NAME_H

#include <cstdint>

namespace roq::netinfo {

// Writes the name of the interface with the number to `name`; false, with nothing written, when there is none.
bool name_interface(uint32_t number, char* name);

} // namespace roq::netinfo

#endif
