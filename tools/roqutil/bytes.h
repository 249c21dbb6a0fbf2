// Bytes as they are typed and shown: UTF-8, hex digits, and a form for the eye.
#ifndef ROQ_TOOL_BYTES_H
#define ROQ_TOOL_BYTES_H

#include "buffers.h"
#include <optional>

namespace roq::tool {

// Length of the well-formed UTF-8 sequence at the front of the bytes, of which there is one at least; 0 when it is
// none.
size_t utf8_length(std::string_view bytes);
bool is_utf8(std::string_view bytes);

std::optional<unsigned> hex_digit(char c);
void append_hex(Text& out, std::string_view bytes);
// Pairs of hex digits; nothing when the text is anything else.
std::optional<Text> parse_hex(const char* text);

// What stands for a backslash or a white-space character between quotes: \\ \n \r \t; null for any other character.
const char* short_escape(char c);

// Bytes for the eye: what is no printable character appears as \n, \t or \x00, and a backslash as \\. Cut behind
// `limit` characters, with "..." in place of the rest.
void append_readable(Text& out, std::string_view bytes, size_t limit = static_cast<size_t>(-1));
Text readable(std::string_view bytes);

// Likewise, but a backslash stays one: for whole sentences, in which somebody's bytes are quoted.
Text on_one_line(std::string_view sentence);

} // namespace roq::tool

#endif
