// The answer of a command that has one.
#ifndef ROQ_TOOL_ANSWER_H
#define ROQ_TOOL_ANSWER_H

#include "cli.h"
#include "json.h"

namespace roq::tool {

// Prints it as a line, or with --json as an object, for which `add_members` writes what is in it.
template <typename AddMembers> int print_answer(const Invocation& call, const char* line, AddMembers add_members) {
  if (call.json())
    print_object(add_members);
  else
    puts(line);
  return kSuccess;
}

} // namespace roq::tool

#endif
