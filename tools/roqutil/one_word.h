// Arguments that the library makes a command line of.
#ifndef ROQ_TOOL_ONE_WORD_H
#define ROQ_TOOL_ONE_WORD_H

#include "cli.h"
#include <cstring>

namespace roq::tool {

// Nothing when every argument stays one word on a command line, else the exit code after a message.
inline std::optional<int> refuse_other_words(const Invocation& call) {
  for (const char* argument : call.arguments())
    if (*argument == '\0' || strpbrk(argument, " \t\r\n\"'\\<>&") != nullptr)
      return call.wrong("'%s': expected a name without blanks and quotes", argument);
  return std::nullopt;
}

} // namespace roq::tool

#endif
