#include <roqutil.h>
#include <stdio.h>

int main(void) {
  uint32_t created;
  if (ROQ_UTIL_GVarInit(2, 0x10000, 52, &created) != 0) {
    fputs("module 2 cannot be had\n", stderr);
    return 1;
  }
  printf("module 2 %s\n", created ? "was created" : "was there");

  char name[16] = "nothing yet";
  uint32_t length;
  ROQ_UTIL_GVarGetValueEx(0x00020001, name, sizeof name - 1, &length);
  if (length > 0) name[length] = '\0';
  printf("variable 1 held: %s\n", name);

  return (int)ROQ_UTIL_GVarSetValue(0x00020001, "ppp0", 4);
}
