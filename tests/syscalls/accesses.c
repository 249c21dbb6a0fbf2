/* Accesses of an existing variable, each between two calls of getppid that mark it in a trace. */
#include <roqutil/gvar.h>
#include <stdlib.h>
#include <unistd.h>

#define EXPECT(condition)                                                                                              \
  do {                                                                                                                 \
    if (!(condition)) exit(1);                                                                                         \
  } while (0)

int main(void) {
  char buffer[64];
  void* copy;
  void* volatile first; /* volatile, so that it is really allocated */
  EXPECT(ROQ_UTIL_GVarInit(0, 4096, 52, NULL) == 0);
  EXPECT(ROQ_UTIL_GVarSetValue(1, "value", 5) == 0); /* the first access looks through the whole listing */
  first = malloc(64);                                /* and the first use of the heap asks for memory */
  free(first);

  getppid();
  EXPECT(ROQ_UTIL_GVarGetValueEx(1, buffer, sizeof buffer, NULL) == 0);
  getppid();
  EXPECT(ROQ_UTIL_GVarGetValueWithCopy(1, &copy, NULL) == 0);
  getppid();
  EXPECT(ROQ_UTIL_GVarGetValue(1, NULL) != NULL);
  getppid();
  EXPECT(ROQ_UTIL_GVarSetValue(1, "other", 5) == 0);
  getppid();
  EXPECT(ROQ_UTIL_GVarGetMemHandle(0) != NULL);
  getppid();
  free(copy);
  return 0;
}
