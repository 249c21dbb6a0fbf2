// roqutil check, cidr, minutes, split: the validators and what they convert.
#include "validate_commands.h"

#include "answer.h"
#include "bytes.h"
#include "check/kinds.h"
#include "check/rules.h"
#include "colours.h"
#include "groups.h"
#include "values.h"
#include <arpa/inet.h>
#include <cstring>
#include <roqutil/validate.h>

namespace roq::tool {
namespace {

using check::Kind;
using check::Value;

constexpr size_t kMostWords = 4;

// Prints one verdict after the other, and knows whether all were good.
class Verdicts {
public:
  Verdicts(const Invocation& call, const Kind& kind) : as_json_(call.json()), colours_(stdout), kind_(kind) {
    if (as_json_) json_.begin_array();
  }

  void judge(const Value& value) {
    if (kind_.accepts(value)) return add(joined(value.words), nullptr);
    Text rule = kind_.broken_rule(value);
    add(joined(value.words), rule.empty() ? "by a rule that this tool does not know" : rule.c_str());
  }

  // A null rule: accepted.
  void add(const Text& value, const char* rule) {
    all_accepted_ = all_accepted_ && rule == nullptr;
    if (!as_json_) return print(readable(value.c_str()), rule);
    json_.begin_object();
    json_.member("value", value.view());
    json_.member("accepted", rule == nullptr);
    json_.member("rule", rule);
    json_.end_object();
  }

  int finish() {
    if (as_json_) {
      json_.end_array();
      json_.print();
    }
    return all_accepted_ ? kSuccess : kNo;
  }

private:
  static Text joined(std::span<const char* const> words) {
    Text text;
    for (const char* word : words) {
      if (word != words[0]) text.append(' ');
      text.append(word);
    }
    return text;
  }

  void print(const Text& value, const char* rule) {
    if (rule == nullptr)
      printf("%s: %saccepted%s\n", value.c_str(), colours_.begin(Colour::good), colours_.end());
    else
      printf("%s: %srefused%s: %s\n", value.c_str(), colours_.begin(Colour::bad), colours_.end(), rule);
  }

  bool as_json_;
  Colours colours_;
  const Kind& kind_;
  Json json_;
  bool all_accepted_ = true;
};

// A line is one value; where a value has several words they stand between blanks.
void judge_line(Verdicts& verdicts, const Kind& kind, Value value, LineReader& line) {
  Text whole;
  whole.append({line.text(), line.size()});
  if (!line.is_text()) return verdicts.add(whole, "it holds a zero byte");
  const char* words[kMostWords] = {line.text()};
  if (kind.words > 1) {
    size_t count = 0;
    char* rest = nullptr;
    for (char* word = strtok_r(line.text(), " \t", &rest); word != nullptr; word = strtok_r(nullptr, " \t", &rest)) {
      if (count < kMostWords) words[count] = word;
      ++count;
    }
    if (count != kind.words)
      return verdicts.add(whole, check::say("it has %zu words, not %zu", count, kind.words).c_str());
  }
  value.words = {words, kind.words};
  verdicts.judge(value);
}

int judge_values(const Invocation& call, const Kind& kind, size_t from, Value value) {
  std::span<const char* const> words = call.arguments().subspan(from);
  bool from_input = words.size() == 1 && strcmp(words[0], "-") == 0;
  if (!from_input && words.size() % kind.words != 0)
    return call.wrong("%zu words are no whole number of values: expected %zu words for each", words.size(), kind.words);
  Verdicts verdicts(call, kind);
  if (from_input) {
    LineReader line;
    while (line.next())
      judge_line(verdicts, kind, value, line);
    if (ferror(stdin) != 0) return stream_failed(call, "-");
  } else {
    for (; !words.empty(); words = words.subspan(kind.words)) {
      value.words = words.first(kind.words);
      verdicts.judge(value);
    }
  }
  return verdicts.finish();
}

template <const Kind& kind> int run_check(const Invocation& call) { return judge_values(call, kind, 0, {}); }

int run_range(const Invocation& call) {
  Value value;
  int32_t* bounds[] = {&value.minimum, &value.maximum};
  for (size_t i = 0; i < 2; ++i) {
    auto bound = check::signed_number(call.argument(i));
    if (!bound) return call.wrong("bound '%s': expected a number from -2147483648 to 2147483647", call.argument(i));
    *bounds[i] = *bound;
  }
  return judge_values(call, check::range, 2, value);
}

int run_length(const Invocation& call) {
  auto longest = call.number(call.argument(0), "length");
  if (!longest) return kUsage;
  Value value;
  value.longest = *longest;
  return judge_values(call, check::length, 1, value);
}

constexpr Command check_command(const char* name, const char* arguments, int minimum, const char* summary,
                                std::span<const Example> examples, int (*run)(const Invocation&)) {
  return {.name = name,
          .arguments = arguments,
          .minimum = minimum,
          .maximum = kAnyNumber,
          .summary = summary,
          .options = kJsonOnly,
          .examples = examples,
          .run = run};
}

constexpr Example kIp[] = {{"roqutil check ip 192.168.1.1 001.2.3.4", "two addresses, both accepted"}};
constexpr Example kHost[] = {{"roqutil check host 127.0.0.1", "refused: loopback is no host"}};
constexpr Example kMcast[] = {{"roqutil check mcast 224.0.0.1", "accepted"}};
constexpr Example kDnsOrHost[] = {{"roqutil check dns-or-host myhost.local 10.0.0.1", "a name and an address"}};
constexpr Example kShape[] = {{"roqutil check shape 999.999.999.999", "accepted: values are not looked at"}};
constexpr Example kMask[] = {{"roqutil check mask 255.255.0.255", "refused: ones behind zeros"}};
constexpr Example kHostWithMask[] = {{"roqutil check host-with-mask 192.168.1.1 255.255.255.0", "accepted"}};
constexpr Example kBroadcast[] = {{"roqutil check broadcast 192.168.1.255 255.255.255.0", "accepted"}};
constexpr Example kSameSubnet[] = {{"roqutil check same-subnet 10.0.0.1 255.0.0.0 10.9.9.9 255.0.0.0", "accepted"}};
constexpr Example kMaskOctet[] = {{"roqutil check mask-octet 0 128 255", "255 is refused"}};
constexpr Example kDate[] = {{"roqutil check date 2024-02-29 2023-02-29", "the second one is refused"}};
constexpr Example kTime[] = {{"roqutil check time 9:05 23:59", "both accepted"}};
constexpr Example kDateTime[] = {{"roqutil check datetime 2023-06-01T12:30:00Z", "accepted"}};
constexpr Example kHms[] = {{"roqutil check hms 23:59:59 12:00:00.5", "both accepted"}};
constexpr Example kNumber[] = {{"roqutil check number 42 -5", "the second one is refused"},
                               {"seq 9 11 | roqutil check number -", "the lines of standard input"}};
constexpr Example kThreeNumber[] = {{"roqutil check three-number 7 007 1000", "the last one is refused"}};
constexpr Example kRange[] = {{"roqutil check range 1 10 5 11", "11 is refused"},
                              {"roqutil check range -5 5 0", "bounds may be negative, values not"}};
constexpr Example kLength[] = {{"roqutil check length 8 secret", "accepted"}};
constexpr Example kBool[] = {{"roqutil check bool 0 1 2", "2 is refused"}};
constexpr Example kPort[] = {{"roqutil check port 80 65536", "the second one is refused"}};
constexpr Example kVlan[] = {{"roqutil check vlan 0 4094 -1", "all accepted"}};
constexpr Example kVlanX[] = {{"roqutil check vlanx 0 4094 -1", "0 is refused"}};
constexpr Example kPriority[] = {{"roqutil check priority 7 8", "8 is refused"}};
constexpr Example kMac[] = {{"roqutil check mac 00:1A:2b:3C:4d:5E", "accepted"}};
constexpr Example kIpv6[] = {{"roqutil check ipv6 2001:db8::1 ::", "both accepted"}};
constexpr Example kHost6[] = {{"roqutil check host6 fe80::1 ff02::1", "multicast is refused"}};
constexpr Example kGlobal6[] = {{"roqutil check global6 2001:db8::1 fe80::1", "link-local is refused"}};

constexpr Command kCommands[] = {
    check_command("ip", "VALUE...", 1, "dotted quads of any class", kIp, run_check<check::ip>),
    check_command("host", "VALUE...", 1, "unicast host addresses", kHost, run_check<check::host>),
    check_command("mcast", "VALUE...", 1, "multicast groups", kMcast, run_check<check::mcast>),
    check_command("dns-or-host", "VALUE...", 1, "host names or host addresses", kDnsOrHost,
                  run_check<check::dns_or_host>),
    check_command("shape", "VALUE...", 1, "texts that are shaped like an address", kShape, run_check<check::shape>),
    check_command("mask", "VALUE...", 1, "subnet masks", kMask, run_check<check::mask>),
    check_command("host-with-mask", "ADDRESS MASK...", 1, "hosts within their subnet", kHostWithMask,
                  run_check<check::host_with_mask>),
    check_command("broadcast", "ADDRESS MASK...", 1, "addresses that are no host's under their mask", kBroadcast,
                  run_check<check::broadcast>),
    check_command("same-subnet", "ADDRESS MASK ADDRESS MASK...", 1, "pairs of addresses in one subnet", kSameSubnet,
                  run_check<check::same_subnet>),
    check_command("mask-octet", "VALUE...", 1, "octets at which the ones of a mask end", kMaskOctet,
                  run_check<check::mask_octet>),
    check_command("date", "VALUE...", 1, "dates, YYYY-MM-DD", kDate, run_check<check::date>),
    check_command("time", "VALUE...", 1, "times, H:MM or HH:MM", kTime, run_check<check::hour_and_minute>),
    check_command("datetime", "VALUE...", 1, "dates and times with a T between", kDateTime,
                  run_check<check::date_time>),
    check_command("hms", "VALUE...", 1, "times with seconds, HH:MM:SS", kHms, run_check<check::time_with_seconds>),
    check_command("number", "VALUE...", 1, "digits only", kNumber, run_check<check::number>),
    check_command("three-number", "VALUE...", 1, "one to three digits", kThreeNumber, run_check<check::three_number>),
    check_command("range", "MINIMUM MAXIMUM VALUE...", 3, "numbers within bounds", kRange, run_range),
    check_command("length", "MAXIMUM VALUE...", 2, "texts of one byte up to a maximum", kLength, run_length),
    check_command("bool", "VALUE...", 1, "0 or 1", kBool, run_check<check::boolean>),
    check_command("port", "VALUE...", 1, "ports, 1 to 65535", kPort, run_check<check::port>),
    check_command("vlan", "VALUE...", 1, "VLAN ids, 0 to 4094 or -1", kVlan, run_check<check::vlan>),
    check_command("vlanx", "VALUE...", 1, "VLAN ids, 1 to 4094 or -1", kVlanX, run_check<check::vlan_other_than_0>),
    check_command("priority", "VALUE...", 1, "priorities, 0 to 7 or -1", kPriority, run_check<check::priority>),
    check_command("mac", "VALUE...", 1, "MAC addresses", kMac, run_check<check::mac>),
    check_command("ipv6", "VALUE...", 1, "IPv6 addresses", kIpv6, run_check<check::ipv6>),
    check_command("host6", "VALUE...", 1, "IPv6 addresses of hosts", kHost6, run_check<check::host_ipv6>),
    check_command("global6", "VALUE...", 1, "IPv6 addresses beyond the link", kGlobal6, run_check<check::global_ipv6>),
};

constexpr Example kExamples[] = {{"roqutil check host 192.168.1.1 192.168.1.255", "the second one is refused"},
                                 {"roqutil check mac - --json <addresses", "one value a line, the verdicts as JSON"}};

} // namespace

int run_cidr(const Invocation& call) {
  const char* mask = call.argument(0);
  in_addr address;
  uint32_t bits = ROQ_IpMaskToCidrLen(mask);
  // 0 says both that there is no leading one and that the text is no mask.
  if (bits == 0 && inet_aton(mask, &address) == 0)
    return call.no("'%s': it is no mask; give one such as 255.255.255.0", mask);
  Text line;
  line.format("%u", bits);
  return print_answer(call, line.c_str(), [&](Json& json) {
    json.member("mask", mask);
    json.member("bits", bits);
  });
}

int run_minutes(const Invocation& call) {
  const char* time = call.argument(0);
  uint16_t minutes;
  if (ROQ_UTIL_TimeToShort(time, &minutes) != 1)
    return call.no("'%s': it is no time; give hours to 23 and minutes to 59, five characters at most", time);
  Text line;
  line.format("%u", unsigned{minutes});
  return print_answer(call, line.c_str(), [&](Json& json) {
    json.member("time", time);
    json.member("minutes", minutes);
  });
}

int run_split(const Invocation& call) {
  const char* address = call.argument(0);
  uint32_t octets[4];
  if (ROQ_UTIL_IpAddrSplit(address, octets) != 1)
    return call.no("'%s': it is no dotted quad; give four numbers of 0 to 255", address);
  Text line;
  line.format("%u %u %u %u", octets[0], octets[1], octets[2], octets[3]);
  return print_answer(call, line.c_str(), [&](Json& json) {
    json.member("address", address);
    json.key("octets");
    json.begin_array();
    for (uint32_t octet : octets)
      json.number(octet);
    json.end_array();
  });
}

constinit const Group check_group{
    .name = "check",
    .summary = "judge values as the gateway's configuration does",
    .details = "Prints one line per value: accepted, or refused and the rule that refused it. The exit code is 0 only "
               "when all were accepted. With '-' in place of the values they are the lines of standard input.",
    .commands = kCommands,
    .examples = kExamples};

} // namespace roq::tool
