/*
 * Gets a variable between two system calls that nobody else makes (writes to a descriptor that is not open), so that
 * a trace shows which ones the get itself makes.
 */
#include <roqutil/gvar.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#define MODULE 5u
#define NOBODYS_DESCRIPTOR 987

static void mark(const char* text) {
  if (write(NOBODYS_DESCRIPTOR, text, strlen(text)) >= 0) puts("the descriptor is open");
}

static int get(const char* name) {
  char value[16] = "";
  uint32_t copied = 0;
  mark(name);
  uint32_t result = ROQ_UTIL_GVarGetValueEx(MODULE << 16 | 1, value, sizeof value, &copied);
  mark("end");
  return result == 0 && copied == 5 && memcmp(value, "value", 5) == 0;
}

static int get_address(void) {
  uint32_t length = 0;
  mark("address");
  const void* value = ROQ_UTIL_GVarGetValue(MODULE << 16 | 1, &length);
  mark("end");
  return value != NULL && length == 5;
}

int main(void) {
  uint32_t created = 0;
  if (ROQ_UTIL_GVarInit(MODULE, 4096, 52, &created) != 0) return 1;
  if (ROQ_UTIL_GVarSetValue(MODULE << 16 | 1, "value", 5) != 0) return 2;
  int right = get("first") && get("second") && get_address();
  ROQ_UTIL_GVarDelModule(MODULE, 4096);
  return right ? 0 : 3;
}
