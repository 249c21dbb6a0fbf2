#include "support/ipv4_text.h"

#include "support/numbers.h"
#include <arpa/inet.h>

namespace roq {

bool parse_lenient_ipv4(const char* text, in_addr& address) {
  uint32_t leading = 0;
  // The last field has all the bits that the fields in front of it have left.
  for (unsigned bits_left = 32;; ++text) {
    uint32_t field;
    if (!parse_c_number(text, field)) return false;
    if (*text == '.') {
      if (field > 255 || bits_left == 8) return false;
      bits_left -= 8;
      leading |= field << bits_left;
    } else {
      const bool ends = *text == '\0' || is_space(*text);
      if (!ends || (bits_left < 32 && field >> bits_left != 0)) return false;
      address.s_addr = htonl(leading | field);
      return true;
    }
  }
}

in_addr_t lenient_ipv4_or_none(const char* text) {
  in_addr address;
  return parse_lenient_ipv4(text, address) ? address.s_addr : INADDR_NONE;
}

} // namespace roq
