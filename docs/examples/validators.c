/* Judges a page of settings as a user typed them, and keeps what passed in one spelling. */
#include <roqutil.h>
#include <stdio.h>

struct Field {
  const char* name;
  uint32_t (*accepts)(const char*);
  const char* typed;
};

static const struct Field page[] = {
    {"host address", ROQ_UTIL_ValidateHostIpAddress, "192.168.1.1"},
    {"host address", ROQ_UTIL_ValidateHostIpAddress, "192.168.1.255"},
    {"mask", ROQ_UTIL_ValidateSubnetMask, "255.255.255.0"},
    {"mask", ROQ_UTIL_ValidateSubnetMask, "255.0.255.0"},
    {"time server", ROQ_UTIL_ValidateDnsOrHostAddress, "time.example.net"},
    {"date", ROQ_UTIL_ValidateDate, "2023-02-29"},
    {"time", ROQ_UTIL_ValidateTime, "9:05"},
    {"MAC address", ROQ_UTIL_ValidateMacAddress, "00:1A:2b:3C:4d:5E"},
    {"IPv6 prefix", ROQ_UTIL_ValidateGlobalIpv6Address, "fe80::1"},
};

/* An address that passed may have leading zeros, which other programs take for octal numbers. */
static void keep_address(const char* typed) {
  uint32_t octet[4];
  if (ROQ_UTIL_ValidateIpAddress(typed) == 1 && ROQ_UTIL_IpAddrSplit(typed, octet) == 1)
    printf("%s is kept as %u.%u.%u.%u\n", typed, octet[0], octet[1], octet[2], octet[3]);
}

int main(void) {
  for (size_t i = 0; i < sizeof page / sizeof *page; ++i)
    printf("%-13s %-18s %s\n", page[i].name, page[i].typed, page[i].accepts(page[i].typed) ? "accepted" : "refused");

  keep_address("010.001.002.003");

  const char *address = "192.168.1.10", *mask = "255.255.255.128";
  if (ROQ_UTIL_ValidateHostIpWithSubnetMask(address, mask) == 1)
    printf("%s/%u is a host of its subnet\n", address, ROQ_IpMaskToCidrLen(mask));

  uint16_t minutes;
  if (ROQ_UTIL_ValidateTime("23:30") == 1 && ROQ_UTIL_TimeToShort("23:30", &minutes) == 1)
    printf("the Wi-Fi goes off at minute %u of the day\n", minutes);

  printf("port 8080 is %s\n", ROQ_UTIL_ValidateRange("8080", 1, 65535) ? "accepted" : "refused");
  return 0;
}
