// How ids and values of variables are typed and shown.
#ifndef ROQ_TOOL_GVAR_VALUES_H
#define ROQ_TOOL_GVAR_VALUES_H

#include "cli.h"

namespace roq::tool::gvar {

// A variable's id: MODULE:NUMBER, or one number with the module in its high half.
std::optional<uint32_t> parse_id(const char* text);

// Pairs of hex digits; nothing when the text is anything else.
std::optional<Text> parse_hex(const char* text);

// Bytes for the eye: what is no printable character appears as \n, \t or \x00, and a backslash as \\. Cut behind
// `limit` characters, with "..." in place of the rest.
void append_readable(Text& out, std::string_view bytes, size_t limit = static_cast<size_t>(-1));

} // namespace roq::tool::gvar

#endif
