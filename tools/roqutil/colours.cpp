#include "colours.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace roq::tool {

bool colours_allowed(FILE* stream) {
  const char* refusal = getenv("NO_COLOR");
  if (refusal != nullptr && *refusal != '\0') return false;
  const char* terminal = getenv("TERM");
  if (terminal == nullptr || strcmp(terminal, "dumb") == 0) return false;
  return isatty(fileno(stream)) == 1;
}

const char* Colours::begin(Colour colour) const {
  if (!on_) return "";
  switch (colour) {
  case Colour::good:
    return "\033[32m";
  case Colour::bad:
    return "\033[31m";
  case Colour::doubtful:
    return "\033[33m";
  case Colour::prominent:
    return "\033[36m";
  case Colour::faint:
    return "\033[2m";
  }
  return "";
}

const char* Colours::end() const { return on_ ? "\033[0m" : ""; }

} // namespace roq::tool
