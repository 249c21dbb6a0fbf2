#include "strutil/text.h"

#include "support/numbers.h"
#include "support/text.h"

namespace roq::strutil {
namespace {

size_t leading_space(const char* text) {
  size_t count = 0;
  while (is_space(text[count]))
    ++count;
  return count;
}

// Moves the characters from `first` up to `end` to the front and clears the rest of the text's `length` bytes.
void keep_only(char* text, size_t length, size_t first, size_t end) {
  size_t kept = end - first;
  memmove(text, text + first, kept);
  memset(text + kept, 0, length - kept);
}

} // namespace

void trim(char* text) {
  size_t length = strlen(text);
  size_t first = leading_space(text);
  size_t end = length;
  while (end > first && is_space(text[end - 1]))
    --end;
  keep_only(text, length, first, end);
}

void trim_or_empty(char* text) {
  size_t length = strlen(text);
  if (length == 0) return;
  size_t last = length - 1;
  while (last > 0 && is_space(text[last]))
    --last;
  // One character is left, or the scan came down to the first one, which it does not look at: both mean an empty
  // text, and only that one byte changes.
  bool reached_first = last == 0;
  if (reached_first)
    text[0] = '\0';
  else
    keep_only(text, length, leading_space(text), last + 1);
}

void append(char* out, size_t size, const char* text) {
  size_t length = strlen(out);
  if (length < size) copy_cut(out + length, size - length, text);
}

bool copy_word_behind(const char* text, const char* key, char* out, size_t limit) {
  const char* found = strstr(text, key);
  if (found == nullptr) return false;
  const char* word = found + strlen(key);
  word += leading_space(word);
  size_t length = 0;
  while (length < limit && word[length] != '\0' && !is_space(word[length]))
    ++length;
  memmove(out, word, length); // `out` may be `text`
  out[length] = '\0';
  return true;
}

void quote_each_for_shell(const char* text, char* out) {
  for (; *text != '\0'; ++text) {
    char quote = *text == '\'' ? '"' : '\'';
    *out++ = quote;
    *out++ = *text;
    *out++ = quote;
  }
  *out = '\0';
}

} // namespace roq::strutil
