/* Resolves host names through the gateway's relay, and asks a WAN connection's name server for SIP servers. */
#include <arpa/inet.h>
#include <roqutil.h>
#include <stdio.h>

static void print_addresses(const char* name, int32_t family) {
  _Alignas(void*) char buffer[512];
  struct hostent entry, *host = NULL;
  int32_t result = handy_gethostbyname2_r(name, family, &entry, buffer, sizeof buffer, &host, NULL);
  if (result != 0) {
    printf("%s: result %d\n", name, result);
    return;
  }
  printf("%s is %s", name, host->h_name);
  for (char** address = host->h_addr_list; *address != NULL; ++address) {
    char text[INET6_ADDRSTRLEN];
    printf(", %s", inet_ntop(family, *address, text, sizeof text));
  }
  putchar('\n');
}

int main(void) {
  print_addresses("camera.home", AF_INET);
  print_addresses("router.home", AF_INET6);
  print_addresses("www.home", AF_INET);
  print_addresses("192.168.1.1", AF_INET);
  print_addresses("nobody.home", AF_INET);

  const RoqSrvRecord* table = ROQ_UTIL_DnsSrvQuery("_sip._udp.voice.example", "ppp0");
  for (int i = 0; table != NULL && i < 8 && table[i].valid; ++i)
    printf("priority %u: %s, %s port %u\n", ntohs(table[i].priority), table[i].target, table[i].address,
           ntohs(table[i].port));
  return 0;
}
