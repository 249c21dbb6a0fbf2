// The groups of commands, each in a file of its own.
#ifndef ROQ_TOOL_GROUPS_H
#define ROQ_TOOL_GROUPS_H

#include "cli.h"

namespace roq::tool {

extern const Group base64_group;
extern const Group check_group;
extern const Group firewall_group;
extern const Group dns_group;
extern const Group gvar_group;
extern const Group module_group;
extern const Group net_group;

} // namespace roq::tool

#endif
