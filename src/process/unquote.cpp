#include "process/unquote.h"

namespace roq::process {

bool unquote(char* text) {
  char* out = text;
  for (const char* in = text; *in != '\0'; ++in) {
    if (*in == '\'' || *in == '"') {
      char quote = *in;
      while (*++in != quote) {
        if (*in == '\0') return false;
        *out++ = *in;
      }
      continue;
    }
    if (*in == '\\' && *++in == '\0') break;
    *out++ = *in;
  }
  *out = '\0';
  return true;
}

} // namespace roq::process
