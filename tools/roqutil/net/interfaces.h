// The interfaces that the kernel knows.
#ifndef ROQ_TOOL_NET_INTERFACES_H
#define ROQ_TOOL_NET_INTERFACES_H

#include "cli.h"
#include <net/if.h>

namespace roq::tool::net {

// False, with errno, when they cannot be listed.
template <typename Use> bool for_each_interface(Use use) {
  struct if_nameindex* list = if_nameindex();
  if (list == nullptr) return false;
  for (const struct if_nameindex* entry = list; entry->if_name != nullptr; ++entry)
    use(entry->if_name);
  if_freenameindex(list);
  return true;
}

// Nothing when there is such an interface, else the exit code after a message.
std::optional<int> refuse_unknown(const Invocation& call, const char* interface);

void add_interfaces(Candidates& candidates);

} // namespace roq::tool::net

#endif
