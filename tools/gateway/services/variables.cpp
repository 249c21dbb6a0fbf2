#include "variables.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <roqutil/gvar.h>

namespace gateway {

bool Value::is(const char* other) const { return strcmp(text, other) == 0; }

Value read_value(uint32_t id) {
  Value value;
  uint32_t copied = 0;
  ROQ_UTIL_GVarGetValueEx(id, value.text, sizeof value.text - 1, &copied);
  value.text[copied] = '\0';
  return value;
}

bool write_value(uint32_t id, const char* text) {
  return ROQ_UTIL_GVarSetValue(id, text, static_cast<uint32_t>(strlen(text))) == 0;
}

void count_one_more(uint32_t id) {
  char text[24];
  snprintf(text, sizeof text, "%ld", strtol(read_value(id).text, nullptr, 10) + 1);
  write_value(id, text);
}

bool attach_store(const char* program) {
  for (uint32_t module = kConfiguration; module <= kStatus; ++module) {
    if (ROQ_UTIL_GVarAttach(module) == 0) continue;
    fprintf(stderr, "%s: module %u cannot be attached: start cms first\n", program, module);
    return false;
  }
  return true;
}

} // namespace gateway
