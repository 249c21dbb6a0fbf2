// The frame of the tool: tables of commands, the arguments of one call, help, messages and exit codes.
//
// A group is one file with a constant table; see gvar.cpp for the pattern:
//
//   int run_get(const Invocation& call) { ... return kSuccess; }
//
//   constexpr Option kGetOptions[] = {{"hex", nullptr, "print the bytes as hex digits"}, kJsonOption};
//   constexpr Example kGetExamples[] = {{"roqutil gvar get 2:1", "the text of variable 1 of module 2"}};
//   constexpr Command kCommands[] = {
//       {.name = "get", .arguments = "ID", .minimum = 1, .maximum = 1, .summary = "print a variable",
//        .options = kGetOptions, .examples = kGetExamples, .run = run_get}};
//   const Group gvar_group{.name = "gvar", .summary = "...", .commands = kCommands, .examples = kGetExamples};
//
// and one line each in groups.h and main.cpp. Data goes to standard output, messages to standard error.
#ifndef ROQ_TOOL_CLI_H
#define ROQ_TOOL_CLI_H

#include "buffers.h"
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>

namespace roq::tool {

enum ExitCode : int {
  kSuccess = 0,
  kNo = 1,     // the question was answered, and the answer is no: not set, not valid, damaged
  kUsage = 2,  // the command line is wrong
  kRefused = 3 // the system or the library refused
};

struct Option {
  const char* name;  // without its dashes
  const char* value; // what its value is called in the help; null when it takes none
  const char* meaning;
  char letter = '\0'; // of its short form; only options without a value have one
};

struct Example {
  const char* line;
  const char* meaning;
};

inline constexpr Option kHelpOption{"help", nullptr, "this text", 'h'};
inline constexpr Option kJsonOption{"json", nullptr, "print JSON instead of text"};
inline constexpr Option kJsonOnly[] = {kJsonOption}; // for commands that take no other
inline constexpr int kAnyNumber = -1;

class Invocation;

struct Command {
  const char* name;
  // As the help shows them: "ID [VALUE]". The words in capitals say what belongs there, all over the tool in the same
  // words (see Place), words between bars are to be typed as they are.
  const char* arguments = "";
  int minimum = 0;               // number of arguments
  int maximum = 0;               // kAnyNumber: no limit
  const char* summary;           // one line, lower case, no full stop
  const char* details = nullptr; // further sentences of the help
  std::span<const Option> options = {};
  std::span<const Example> examples = {};
  // For commands whose arguments are a command line themselves: options end at the first argument.
  bool options_come_first = false;
  int (*run)(const Invocation& call);
};

struct Group {
  const char* name;
  const char* summary;
  const char* details = nullptr;
  std::span<const Command> commands;
  std::span<const Example> examples = {};
};

// What may be typed where the help shows a word in capitals.
class Candidates;
struct Place {
  const char* word;
  void (*add)(Candidates& candidates);
};

struct Program {
  const char* name;
  const char* summary;
  std::span<const Group* const> groups;
  std::span<const Command> commands;
  std::span<const Example> examples;
  std::span<const Place> places = {};
};

// What a word that was typed behind a command's name is to the command.
struct Word {
  enum class Kind : uint8_t { argument, option, unknown_option, end_of_options, help };
  Kind kind;
  const Option* option = nullptr;
  const char* value = nullptr; // that stands behind an equals sign
};
Word classify(const Command& command, const char* typed);

// One call of a command: what was typed behind its name.
class Invocation {
public:
  Invocation(const char* program, const char* group, const Command& command);

  size_t count() const { return arguments_.size(); }
  const char* argument(size_t index) const { return index < count() ? arguments_[index] : nullptr; }
  std::span<const char* const> arguments() const { return arguments_.view(); }

  // All arguments from `index` on, as a null-terminated vector.
  const char* const* vector_from(size_t index) const { return terminated_.data() + index; }

  bool has(const char* option) const { return find(option) != nullptr; }
  // The value of an option; `otherwise` when the option was not given.
  const char* value(const char* option, const char* otherwise = nullptr) const;
  bool json() const { return has("json"); }

  // A number given as an argument or option, whose name `what` is for the message. Nothing when it is none or out of
  // range: the message is printed then, and the command ends with kUsage.
  std::optional<uint32_t> number(const char* text, const char* what, uint32_t minimum = 0,
                                 uint32_t maximum = UINT32_MAX) const;
  std::optional<uint32_t> option_number(const char* option, uint32_t otherwise, uint32_t minimum = 0,
                                        uint32_t maximum = UINT32_MAX) const;
  // Likewise for a time, which is typed in seconds and given in milliseconds, as are the bounds.
  std::optional<uint32_t> option_time(const char* option, uint32_t otherwise, uint32_t minimum, uint32_t maximum) const;

  // Messages that begin with the name of the command. `form` says "why; what to do".
  int wrong(const char* form, ...) const __attribute__((format(printf, 2, 3)));   // kUsage
  int refused(const char* form, ...) const __attribute__((format(printf, 2, 3))); // kRefused
  int no(const char* form, ...) const __attribute__((format(printf, 2, 3)));      // kNo

  // "gvar get", for messages.
  const char* path() const { return path_.c_str(); }

  // Sorts what was typed into options and arguments. Nothing when the command may run, else the exit code: help was
  // printed, or a message.
  std::optional<int> take(std::span<const char* const> typed);

private:
  size_t index_of(std::string_view option) const;
  const char* const* find(const char* option) const;
  std::optional<int> take_option(const Word& word, std::span<const char* const> typed, size_t& at);
  int wrong_option(const char* typed) const;
  int wrong_number_of_arguments() const;
  int say(ExitCode code, const char* form, va_list values) const __attribute__((format(printf, 3, 0)));

  const Command& command_;
  const char* program_;
  Text path_;
  Array<const char*> arguments_;
  Array<const char*> terminated_;
  Array<const char*> values_; // one per option of the command: null when it was not given
};

// Prints "roqutil: <text>" and a line end on standard error and returns the code. The text is
// "what failed: why; what to do".
int fail(ExitCode code, const char* form, ...) __attribute__((format(printf, 2, 3)));
// The same without a code, for what does not end the command.
void warn(const char* form, ...) __attribute__((format(printf, 1, 2)));

// A decimal number, or a hexadecimal one behind 0x; nothing when the text is anything else or needs more than 32 bits.
std::optional<uint32_t> parse_number(const char* text);
// Seconds with up to three decimals, as milliseconds.
std::optional<uint32_t> parse_time(const char* text);

// Runs what was typed (without the program's name) and returns the exit code.
int run_program(const Program& program, std::span<const char* const> typed);

} // namespace roq::tool

#endif
