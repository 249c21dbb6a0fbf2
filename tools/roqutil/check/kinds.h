// What `roqutil check` can judge: the library's verdict on a value, and the rule that refused it.
//
// The library only says yes or no. Which rule was broken is found out again here, in the order in which the library
// applies them; the verdict is always the library's.
#ifndef ROQ_TOOL_CHECK_KINDS_H
#define ROQ_TOOL_CHECK_KINDS_H

#include "buffers.h"
#include <cstdint>
#include <span>

namespace roq::tool::check {

// The words of one value, and the bounds that the command was given.
struct Value {
  std::span<const char* const> words;
  int32_t minimum = 0, maximum = 0; // of a range
  uint32_t longest = 0;             // of a text

  const char* text() const { return words[0]; }
};

struct Kind {
  size_t words; // that make one value
  bool (*accepts)(const Value& value);
  // The rule that refused the value; empty when none is known to have.
  Text (*broken_rule)(const Value& value);
};

extern const Kind ip, host, mcast, dns_or_host, shape, mask, host_with_mask, broadcast, same_subnet, mask_octet;
extern const Kind date, time_with_seconds, date_time, hour_and_minute;
extern const Kind number, three_number, range, length, boolean, port, vlan, vlan_other_than_0, priority;
extern const Kind mac, ipv6, host_ipv6, global_ipv6;

} // namespace roq::tool::check

#endif
