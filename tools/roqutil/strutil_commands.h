// roqutil trim, shell-quote, field: the string helpers.
#ifndef ROQ_TOOL_STRUTIL_COMMANDS_H
#define ROQ_TOOL_STRUTIL_COMMANDS_H

#include "cli.h"

namespace roq::tool {

int run_trim(const Invocation& call);
int run_shell_quote(const Invocation& call);
int run_field(const Invocation& call);

inline constexpr Option kTrimOptions[] = {{"exact", nullptr, "keep a text of one character, too (ROQ_UTIL_StrTrimExc)"},
                                          kJsonOption};
inline constexpr Example kTrimExamples[] = {{"roqutil trim '  ab  '", "ab"},
                                            {"roqutil trim --exact 'a '", "a; without --exact the text becomes empty"},
                                            {"roqutil trim - <file", "every line of a file"}};
inline constexpr Command kTrimCommand{.name = "trim",
                                      .arguments = "TEXT...",
                                      .minimum = 1,
                                      .maximum = kAnyNumber,
                                      .summary = "remove white space from both ends of texts",
                                      .details = "Prints a line per text. With '-' the texts are the lines of standard "
                                                 "input.",
                                      .options = kTrimOptions,
                                      .examples = kTrimExamples,
                                      .run = run_trim};

inline constexpr Example kShellQuoteExamples[] = {{"roqutil shell-quote 'a b'", "'a'' ''b'"},
                                                  {"roqutil shell-quote - <file", "every line of a file"}};
inline constexpr Command kShellQuoteCommand{.name = "shell-quote",
                                            .arguments = "TEXT...",
                                            .minimum = 1,
                                            .maximum = kAnyNumber,
                                            .summary = "quote every character of texts for a shell",
                                            .details = "Prints a line per text. With '-' the texts are the lines of "
                                                       "standard input.",
                                            .options = kJsonOnly,
                                            .examples = kShellQuoteExamples,
                                            .run = run_shell_quote};

inline constexpr Option kFieldOptions[] = {{"length", "NUMBER", "print at most so many characters (default 255)"},
                                           kJsonOption};
inline constexpr Example kFieldExamples[] = {{"roqutil field = 'name = eth0 up'", "eth0"},
                                             {"ip route | roqutil field dev", "the word behind dev on every line"}};
inline constexpr Command kFieldCommand{.name = "field",
                                       .arguments = "KEY [TEXT...]",
                                       .minimum = 1,
                                       .maximum = kAnyNumber,
                                       .summary = "print the word behind a key",
                                       .details = "Prints a line per text in which the key occurs. Without a text, or "
                                                  "with '-', the texts are the lines of standard input. The exit code "
                                                  "is 1 when the key occurs nowhere.",
                                       .options = kFieldOptions,
                                       .examples = kFieldExamples,
                                       .run = run_field};

} // namespace roq::tool

#endif
