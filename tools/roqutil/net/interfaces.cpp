#include "net/interfaces.h"

#include "complete.h"

namespace roq::tool::net {

std::optional<int> refuse_unknown(const Invocation& call, const char* interface) {
  if (if_nametoindex(interface) != 0) return std::nullopt;
  return call.no("'%s': there is no such interface; 'roqutil net stat' shows all", interface);
}

void add_interfaces(Candidates& candidates) {
  for_each_interface([&](const char* name) { candidates.add(name); });
}

} // namespace roq::tool::net
