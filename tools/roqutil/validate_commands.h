// roqutil cidr, minutes, split: what the validators convert.
#ifndef ROQ_TOOL_VALIDATE_COMMANDS_H
#define ROQ_TOOL_VALIDATE_COMMANDS_H

#include "cli.h"

namespace roq::tool {

int run_cidr(const Invocation& call);
int run_minutes(const Invocation& call);
int run_split(const Invocation& call);

inline constexpr Example kCidrExamples[] = {
    {"roqutil cidr 255.255.255.0", "24"}, {"roqutil cidr 0xffff0000", "16; short and hexadecimal masks are read, too"}};
inline constexpr Command kCidrCommand{.name = "cidr",
                                      .arguments = "MASK",
                                      .minimum = 1,
                                      .maximum = 1,
                                      .summary = "count the leading one bits of a mask",
                                      .options = kJsonOnly,
                                      .examples = kCidrExamples,
                                      .run = run_cidr};

inline constexpr Example kMinutesExamples[] = {{"roqutil minutes 9:05", "545"},
                                               {"roqutil minutes 23:59 --json", "the same for a program"}};
inline constexpr Command kMinutesCommand{.name = "minutes",
                                         .arguments = "HH:MM",
                                         .minimum = 1,
                                         .maximum = 1,
                                         .summary = "convert a time to minutes of the day",
                                         .options = kJsonOnly,
                                         .examples = kMinutesExamples,
                                         .run = run_minutes};

inline constexpr Example kSplitExamples[] = {{"roqutil split 192.168.1.1", "192 168 1 1"},
                                             {"roqutil split 010.1.1.1", "10 1 1 1: leading zeros are decimal"}};
inline constexpr Command kSplitCommand{.name = "split",
                                       .arguments = "ADDRESS",
                                       .minimum = 1,
                                       .maximum = 1,
                                       .summary = "split a dotted quad into its numbers",
                                       .options = kJsonOnly,
                                       .examples = kSplitExamples,
                                       .run = run_split};

} // namespace roq::tool

#endif
