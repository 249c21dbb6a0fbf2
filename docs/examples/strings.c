/* Takes a configuration line apart, builds a command from what a user typed, and passes bytes through a text file. */
#include <roqutil.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Room for every character quoted, which takes three. */
enum { LONGEST_NAME = 32, QUOTED_ROOM = 3 * LONGEST_NAME + 1 };

static void greet(const char* typed) {
  char quoted[QUOTED_ROOM], command[64 + QUOTED_ROOM] = "echo hello ";
  if (strlen(typed) > LONGEST_NAME) return;
  ROQ_UTIL_ConvertStrToShellStr(typed, quoted);
  ROQ_UTIL_StrCat(command, sizeof command, quoted);
  puts(command);
  fflush(stdout);
  ROQ_UTIL_ExecCmd(command, NULL);
}

int main(void) {
  char line[] = "\t interface = eth0  up \n";
  char name[8 + 1] = ""; /* one byte more than ROQ_UTIL_ParseStrInfo is told */
  printf("line: \"%s\"\n", ROQ_UTIL_StrTrimExc(line));
  if (ROQ_UTIL_ParseStrInfo(line, "interface =", name, 8) == 1) printf("interface: \"%s\"\n", name);

  char title[12] = "WAN: ";
  printf("title: \"%s\"\n", ROQ_UTIL_StrCat(title, sizeof title, "unplugged"));

  greet("John's; reboot");

  const unsigned char secret[] = {0x00, 0xFF, 0x10, 0x80};
  char* text = NULL;
  if (ROQ_UTIL_Base64Encode(secret, sizeof secret, &text) == 0) return 1;
  uint8_t* bytes = NULL;
  uint32_t length = ROQ_UTIL_Base64Decode(text, (uint32_t)strlen(text), &bytes);
  printf("%s holds %u bytes, %s\n", text, length,
         length == sizeof secret && memcmp(bytes, secret, length) == 0 ? "the same ones" : "others");
  free(bytes);
  free(text);
  return 0;
}
