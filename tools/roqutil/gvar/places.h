// What may be typed where the help says MODULE or ID.
#ifndef ROQ_TOOL_GVAR_PLACES_H
#define ROQ_TOOL_GVAR_PLACES_H

#include "complete.h"

namespace roq::tool::gvar {

void add_modules(Candidates& candidates);
// Of the modules that exist.
void add_variables(Candidates& candidates);

} // namespace roq::tool::gvar

#endif
