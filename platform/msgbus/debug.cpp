// The debug channel: the system's log and, when the environment asks for it, standard error.

#include "support/owners.h"
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <roqutil/msg.h>
#include <syslog.h>

namespace {

constexpr size_t kLongestLine = 1024;
constexpr const char* kSwitch = "ROQ_MSG_DEBUG";

bool standard_error_is_asked_for() {
  const char* value = getenv(kSwitch);
  return value != nullptr && strcmp(value, "1") == 0;
}

// Both places end the line themselves.
void end_without_line_end(char* text) {
  size_t length = strlen(text);
  if (length > 0 && text[length - 1] == '\n') text[length - 1] = '\0';
}

} // namespace

extern "C" void ROQ_DEBUG(const char* pcFormat, ...) {
  if (pcFormat == nullptr) return;
  roq::ErrnoKeeper keep;
  char text[kLongestLine];
  va_list arguments;
  va_start(arguments, pcFormat);
  int length = vsnprintf(text, sizeof text, pcFormat, arguments);
  va_end(arguments);
  if (length < 0) return;
  end_without_line_end(text);
  syslog(LOG_DEBUG, "%s", text);
  if (standard_error_is_asked_for()) fprintf(stderr, "%s\n", text);
}
