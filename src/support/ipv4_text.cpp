#include "support/ipv4_text.h"

#include "support/owners.h"
#include <arpa/inet.h>
#include <cstring>

namespace roq {

bool parse_lenient_ipv4(const char* text, in_addr& address) {
  const size_t length = strcspn(text, " \t\n\v\f\r");
  if (text[length] == '\0') return inet_aton(text, &address) != 0;
  MallocPtr<char> word(strndup(text, length));
  return word && inet_aton(word.get(), &address) != 0;
}

in_addr_t lenient_ipv4_or_none(const char* text) {
  in_addr address;
  return parse_lenient_ipv4(text, address) ? address.s_addr : INADDR_NONE;
}

} // namespace roq
