// The help of the tool, in one style on every level.
#ifndef ROQ_TOOL_HELP_H
#define ROQ_TOOL_HELP_H

#include "cli.h"

namespace roq::tool {

void print_program_help(const Program& program);
void print_group_help(const char* program, const Group& group);
void print_command_help(const char* program, const char* path, const Command& command);

} // namespace roq::tool

#endif
