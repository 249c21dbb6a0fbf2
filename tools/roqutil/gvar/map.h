// Pictures of a pool: which of its bytes are free, a value, a node, or used by nothing that is listed.
#ifndef ROQ_TOOL_GVAR_MAP_H
#define ROQ_TOOL_GVAR_MAP_H

#include "colours.h"
#include "gvar/inspect.h"

namespace roq::tool::gvar {

inline constexpr uint32_t kMapWidth = 100; // characters in a line at most

// The picture for a terminal, without its legend's counts: one line per address, one character per so many bytes.
void append_map(Text& out, const Report& report, const Colours& colours);

// The picture as an SVG document; every block tells its address, size and variable.
void append_svg(Text& out, const Report& report, uint32_t module);

const char* name_of(Use use);

} // namespace roq::tool::gvar

#endif
