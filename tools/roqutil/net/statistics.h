// roqutil net stat: the counters of interfaces, once or again and again.
#ifndef ROQ_TOOL_NET_STATISTICS_H
#define ROQ_TOOL_NET_STATISTICS_H

#include "cli.h"

namespace roq::tool::net {

int run_stat(const Invocation& call);

} // namespace roq::tool::net

#endif
