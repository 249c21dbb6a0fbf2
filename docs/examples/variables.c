/* Two processes share the state of a WAN connection: one keeps it, the other one reads it. */
#define _POSIX_C_SOURCE 200809L
#include <roqutil.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

enum { MODULE = 2, SEGMENT_SIZE = 0x10000, HEADER_SIZE = 52 };

/* Variables of module 2. All processes that use them take their numbers from one header. */
enum { WAN_INTERFACE = 0x00020001, WAN_ADDRESS = 0x00020002, WAN_MTU = 0x00020003, WAN_DOMAIN = 0x00020004 };

/* Texts are kept with their terminator: even an empty one has a length, so that setting it is no deletion. */
static void set_text(uint32_t id, const char* text) {
  if (ROQ_UTIL_GVarSetValue(id, text, (uint32_t)strlen(text) + 1) != 0)
    fprintf(stderr, "variable %08x cannot be set\n", id);
}

/* The terminator shows that the text is all there: a value that was cut has lost it. */
static const char* get_text(uint32_t id, char* text, uint32_t room) {
  uint32_t length;
  ROQ_UTIL_GVarGetValueEx(id, text, room, &length);
  if (length == 0) return "not set";
  return text[length - 1] == '\0' ? text : "too long";
}

/* What the WAN service does, a process of its own. */
static int keep_state(void) {
  if (ROQ_UTIL_GVarAttach(MODULE) != 0) return 1;
  uint32_t mtu = 1492;
  set_text(WAN_INTERFACE, "ppp0");
  set_text(WAN_ADDRESS, "203.0.113.2");
  ROQ_UTIL_GVarSetValue(WAN_MTU, &mtu, sizeof mtu);
  set_text(WAN_ADDRESS, ""); /* the connection went down; nothing is ever deleted */
  return 0;
}

int main(void) {
  uint32_t created;
  if (ROQ_UTIL_GVarInit(MODULE, SEGMENT_SIZE, HEADER_SIZE, &created) != 0) {
    fputs("module 2 cannot be had\n", stderr);
    return 1;
  }
  printf("module 2 %s\n", created ? "was created" : "was there");
  fflush(stdout);

  pid_t service = fork();
  if (service == 0) _exit(keep_state());
  waitpid(service, NULL, 0);

  char text[16];
  uint32_t mtu = 0, length;
  printf("interface: %s\n", get_text(WAN_INTERFACE, text, sizeof text));
  printf("address: \"%s\"\n", get_text(WAN_ADDRESS, text, sizeof text));
  printf("domain: %s\n", get_text(WAN_DOMAIN, text, sizeof text));
  ROQ_UTIL_GVarGetValueEx(WAN_MTU, &mtu, sizeof mtu, &length);
  printf("MTU: %u\n", length == sizeof mtu ? mtu : 0);

  void* copy = NULL;
  ROQ_UTIL_GVarGetValueWithCopy(WAN_INTERFACE, &copy, &length);
  printf("a copy of %u bytes: %s\n", length, copy == NULL ? "none" : (const char*)copy);
  free(copy);

  int32_t in_use, left, largest, allocations, releases;
  bstats(ROQ_UTIL_GVarGetMemHandle(MODULE), &in_use, &left, &largest, &allocations, &releases);
  printf("pool: %d bytes in use, %d free\n", in_use, left);
  return 0;
}
