// One family's addresses of a name, as the library gives them.
#ifndef ROQ_TOOL_DNS_HOST_H
#define ROQ_TOOL_DNS_HOST_H

#include "json.h"
#include <cstdint>
#include <netdb.h>

namespace roq::tool {

struct Host {
  int32_t family;
  int32_t code; // of handy_gethostbyname2_r
  double milliseconds;
  hostent record;
  alignas(16) char buffer[1024];
};

void look_up(Host& host, const char* name, int32_t family, const char* source);

const char* family_name(int32_t family);
// Why it was not resolved.
const char* reason(const Host& host);

void print_host(const Host& host);
void add_host(Json& json, const Host& host);

} // namespace roq::tool

#endif
