#include "process/tokenise.h"

#include "support/numbers.h"

namespace roq::process {
namespace {

// Backspace ends a token, too, and that is meant, but is not skipped in front of one: it can make empty tokens.
bool ends_token(char c) { return c == ' ' || (c >= '\b' && c <= '\r'); }

bool is_quote(char c) { return c == '\'' || c == '"'; }

// The place behind the quoted run that begins at `at`, null when the text ends inside it. A backslash protects the
// character behind it here, although it will be an ordinary character when the quotes are removed.
char* skip_quoted_run(char* at) {
  char quote = *at++;
  for (; *at != quote; ++at) {
    if (*at == '\\') ++at;
    if (*at == '\0') return nullptr;
  }
  return at + 1;
}

// A backslash belongs together with the character behind it, if there is one.
char* skip_character(char* at) {
  bool escapes = *at == '\\' && at[1] != '\0';
  return at + (escapes ? 2 : 1);
}

// The end of the token that begins at `at`, null when a quoted run in it is left open.
char* find_token_end(char* at) {
  while (at != nullptr && *at != '\0' && !ends_token(*at))
    at = is_quote(*at) ? skip_quoted_run(at) : skip_character(at);
  return at;
}

} // namespace

bool tokenise(char* line, TokenList& tokens) {
  for (char* at = line;;) {
    while (is_space(*at))
      ++at;
    if (*at == '\0') return true;
    char* end = find_token_end(at);
    if (end == nullptr || !tokens.append(at)) return false;
    if (*end == '\0') return true;
    *end = '\0';
    at = end + 1;
  }
}

} // namespace roq::process
