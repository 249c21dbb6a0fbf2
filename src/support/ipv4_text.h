// IPv4 addresses in the lenient form of the C library, read alike over every C library.
#ifndef ROQ_SUPPORT_IPV4_TEXT_H
#define ROQ_SUPPORT_IPV4_TEXT_H

#include <netinet/in.h>

namespace roq {

// What inet_aton makes of the text up to its first white space. Behind that, one C library reads on to no effect and
// another one refuses the text. False, with `address` left alone, when it is no address.
[[nodiscard]] bool parse_lenient_ipv4(const char* text, in_addr& address);

// The same in network byte order; INADDR_NONE when it is no address.
[[nodiscard]] in_addr_t lenient_ipv4_or_none(const char* text);

} // namespace roq

#endif
