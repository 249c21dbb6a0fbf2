// How the ids of variables are typed.
#ifndef ROQ_TOOL_GVAR_ID_H
#define ROQ_TOOL_GVAR_ID_H

#include "cli.h"

namespace roq::tool::gvar {

// A variable's id: MODULE:NUMBER, or one number with the module in its high half.
std::optional<uint32_t> parse_id(const char* text);

} // namespace roq::tool::gvar

#endif
