// Operations on texts in place and into the caller's buffers.
#ifndef ROQ_STRUTIL_TEXT_H
#define ROQ_STRUTIL_TEXT_H

#include <cstddef>

namespace roq::strutil {

void trim(char* text);
// Empties a text whose only character that is no white space is its first.
void trim_or_empty(char* text);

void append(char* out, size_t size, const char* text);

// Copies the word behind the first `key`, at most `limit` characters, and a terminator.
bool copy_word_behind(const char* text, const char* key, char* out, size_t limit);

void quote_each_for_shell(const char* text, char* out);

} // namespace roq::strutil

#endif
