// Texts: bounded copies and comparisons.
#ifndef ROQ_SUPPORT_TEXT_H
#define ROQ_SUPPORT_TEXT_H

#include <cstddef>
#include <cstring>

namespace roq {

// Copies `text` into `out`, cut to `size` - 1 characters, and terminates it. Bytes behind the terminator are left as
// they are. `size` is at least 1.
inline void copy_cut(char* out, size_t size, const char* text) {
  size_t length = strnlen(text, size - 1);
  memcpy(out, text, length);
  out[length] = '\0';
}

// Appends `text` to the terminated text in `out`, cut where `size` is reached.
inline void append_cut(char* out, size_t size, const char* text) {
  size_t length = strlen(out);
  copy_cut(out + length, size - length, text);
}

// Whether the text has more than `limit` characters; what lies behind the first one too many is not read.
inline bool is_longer_than(const char* text, size_t limit) { return strnlen(text, limit + 1) > limit; }

} // namespace roq

#endif
