#include "cli.h"

#include "bytes.h"
#include "help.h"
#include <cstring>

namespace roq::tool {
namespace {

constexpr char kSwitchGiven[] = "";

void print_message(const char* prefix, const char* form, va_list values) __attribute__((format(printf, 2, 0)));

void print_message(const char* prefix, const char* form, va_list values) {
  // What was printed before belongs in front of the message when both go to one place.
  fflush(stdout);
  Text line;
  line.append(prefix);
  line.format_list(form, values);
  fprintf(stderr, "%s\n", on_one_line(line.view()).c_str());
}

bool asks_for_help(const char* typed) { return strcmp(typed, "--help") == 0 || strcmp(typed, "-h") == 0; }

template <typename T> const T* find_by_name(std::span<const T> table, const char* name) {
  for (const T& entry : table)
    if (strcmp(entry.name, name) == 0) return &entry;
  return nullptr;
}

const Group* find_group(const Program& program, const char* name) {
  for (const Group* group : program.groups)
    if (strcmp(group->name, name) == 0) return group;
  return nullptr;
}

void append_name(Text& names, const char* name) {
  if (!names.empty()) names.append(", ");
  names.append(name);
}

int run_command(const Program& program, const char* group, const Command& command, std::span<const char* const> typed) {
  Invocation call(program.name, group, command);
  if (std::optional<int> code = call.take(typed)) return *code;
  return command.run(call);
}

bool looks_like_an_option(const char* word) { return word[0] == '-' && word[1] != '\0'; }

// The answer to a first word, typed behind `path`, that is none of `names`. A null word: none was typed.
int wrong_word(const Program& program, const char* group, const char* word, const Text& names) {
  Text prefix, path;
  if (group != nullptr) prefix.format("%s: ", group);
  path.append(program.name);
  if (group != nullptr) path.format(" %s", group);
  if (word == nullptr)
    return fail(kUsage, "%sno command given: expected one of %s; see '%s --help'", prefix.c_str(), names.c_str(),
                path.c_str());
  if (looks_like_an_option(word))
    return fail(kUsage, "%sunknown option %s: expected --help or a command; see '%s --help'", prefix.c_str(), word,
                path.c_str());
  return fail(kUsage, "%sunknown command '%s': expected one of %s; see '%s --help'", prefix.c_str(), word,
              names.c_str(), path.c_str());
}

int run_in_group(const Program& program, const Group& group, std::span<const char* const> typed) {
  if (!typed.empty() && asks_for_help(typed[0])) {
    print_group_help(program.name, group);
    return kSuccess;
  }
  if (!typed.empty()) {
    if (const Command* command = find_by_name(group.commands, typed[0]))
      return run_command(program, group.name, *command, typed.subspan(1));
  }
  Text names;
  for (const Command& command : group.commands)
    append_name(names, command.name);
  return wrong_word(program, group.name, typed.empty() ? nullptr : typed[0], names);
}

int wrong_first_word(const Program& program, const char* word) {
  Text names;
  for (const Group* group : program.groups)
    append_name(names, group->name);
  for (const Command& command : program.commands)
    append_name(names, command.name);
  return wrong_word(program, nullptr, word, names);
}

// Whether the word stands for the option in its long form, and what value is glued to it.
bool is_long_form(const Option& option, const char* word, const char*& value) {
  size_t length = strlen(option.name);
  if (strncmp(word, "--", 2) != 0 || strncmp(word + 2, option.name, length) != 0) return false;
  const char* end = word + 2 + length;
  value = *end == '=' ? end + 1 : nullptr;
  return *end == '=' || *end == '\0';
}

bool is_short_form(const Option& option, const char* word) {
  return option.letter != '\0' && word[0] == '-' && word[1] == option.letter && word[2] == '\0';
}

} // namespace

Invocation::Invocation(const char* program, const char* group, const Command& command)
    : command_(command), program_(program) {
  if (group != nullptr) path_.format("%s ", group);
  path_.append(command.name);
  values_.resize(command.options.size(), nullptr);
}

Word classify(const Command& command, const char* typed) {
  if (strcmp(typed, "--") == 0) return {Word::Kind::end_of_options};
  if (asks_for_help(typed)) return {Word::Kind::help};
  for (const Option& option : command.options) {
    const char* value = nullptr;
    if (is_long_form(option, typed, value) || is_short_form(option, typed)) return {Word::Kind::option, &option, value};
  }
  // Words with one dash are arguments: negative numbers, and "-" for standard input.
  return {strncmp(typed, "--", 2) == 0 ? Word::Kind::unknown_option : Word::Kind::argument};
}

std::optional<int> Invocation::take(std::span<const char* const> typed) {
  bool options_ended = false;
  for (size_t at = 0; at < typed.size(); ++at) {
    Word word = options_ended ? Word{Word::Kind::argument} : classify(command_, typed[at]);
    switch (word.kind) {
    case Word::Kind::argument:
      arguments_.add(typed[at]);
      options_ended = options_ended || command_.options_come_first;
      break;
    case Word::Kind::end_of_options:
      options_ended = true;
      break;
    case Word::Kind::help:
      print_command_help(program_, path(), command_);
      return kSuccess;
    case Word::Kind::unknown_option:
      return wrong_option(typed[at]);
    case Word::Kind::option:
      if (std::optional<int> code = take_option(word, typed, at)) return code;
    }
  }
  for (const char* argument : arguments_)
    terminated_.add(argument);
  terminated_.add(nullptr);

  auto given = static_cast<int>(count());
  bool fits = given >= command_.minimum && (command_.maximum == kAnyNumber || given <= command_.maximum);
  if (!fits) return wrong_number_of_arguments();
  return std::nullopt;
}

std::optional<int> Invocation::take_option(const Word& word, std::span<const char* const> typed, size_t& at) {
  const Option& option = *word.option;
  const char* value = word.value;
  if (option.value == nullptr && value != nullptr)
    return wrong("option --%s takes no value: expected --%s", option.name, option.name);
  if (option.value != nullptr && value == nullptr) {
    if (at + 1 == typed.size()) return wrong("option --%s needs a value: expected %s", option.name, option.value);
    value = typed[++at];
  }
  values_[static_cast<size_t>(&option - command_.options.data())] = option.value == nullptr ? kSwitchGiven : value;
  return std::nullopt;
}

int Invocation::wrong_option(const char* typed) const {
  Text names;
  for (const Option& option : command_.options) {
    append_name(names, "--");
    names.append(option.name);
  }
  return wrong("unknown option %.*s: expected %s", static_cast<int>(strcspn(typed, "=")), typed,
               names.empty() ? "none" : names.c_str());
}

int Invocation::wrong_number_of_arguments() const {
  const char* expected = *command_.arguments == '\0' ? "none" : command_.arguments;
  if (static_cast<int>(count()) < command_.minimum) return wrong("an argument is missing: expected %s", expected);
  return wrong("argument '%s' is too many: expected %s", argument(static_cast<size_t>(command_.maximum)), expected);
}

size_t Invocation::index_of(std::string_view option) const {
  size_t index = 0;
  while (index < command_.options.size() && option != command_.options[index].name)
    ++index;
  return index;
}

const char* const* Invocation::find(const char* option) const {
  size_t index = index_of(option);
  return index < values_.size() && values_[index] != nullptr ? &values_[index] : nullptr;
}

const char* Invocation::value(const char* option, const char* otherwise) const {
  const char* const* found = find(option);
  return found == nullptr ? otherwise : *found;
}

std::optional<uint32_t> Invocation::number(const char* text, const char* what, uint32_t minimum,
                                           uint32_t maximum) const {
  std::optional<uint32_t> parsed = parse_number(text);
  if (parsed && *parsed >= minimum && *parsed <= maximum) return parsed;
  wrong("%s '%s': expected a number from %u to %u, decimal or 0x hexadecimal", what, text, minimum, maximum);
  return std::nullopt;
}

std::optional<uint32_t> Invocation::option_number(const char* option, uint32_t otherwise, uint32_t minimum,
                                                  uint32_t maximum) const {
  const char* text = value(option);
  if (text == nullptr) return otherwise;
  Text what;
  what.format("--%s", option);
  return number(text, what.c_str(), minimum, maximum);
}

std::optional<uint32_t> Invocation::option_time(const char* option, uint32_t otherwise, uint32_t minimum,
                                                uint32_t maximum) const {
  const char* text = value(option);
  if (text == nullptr) return otherwise;
  std::optional<uint32_t> parsed = parse_time(text);
  if (parsed && *parsed >= minimum && *parsed <= maximum) return parsed;
  wrong("--%s '%s': expected seconds from %g to %g, with three decimals at most", option, text, minimum / 1e3,
        maximum / 1e3);
  return std::nullopt;
}

int Invocation::say(ExitCode code, const char* form, va_list values) const {
  Text prefix;
  prefix.format("%s: %s: ", program_, path());
  if (code != kUsage) {
    print_message(prefix.c_str(), form, values);
    return code;
  }
  Text why;
  why.format_list(form, values);
  fail(code, "%s: %s; see '%s %s --help'", path(), why.c_str(), program_, path());
  return code;
}

int Invocation::wrong(const char* form, ...) const {
  va_list values;
  va_start(values, form);
  int code = say(kUsage, form, values);
  va_end(values);
  return code;
}

int Invocation::refused(const char* form, ...) const {
  va_list values;
  va_start(values, form);
  int code = say(kRefused, form, values);
  va_end(values);
  return code;
}

int Invocation::no(const char* form, ...) const {
  va_list values;
  va_start(values, form);
  int code = say(kNo, form, values);
  va_end(values);
  return code;
}

int fail(ExitCode code, const char* form, ...) {
  va_list values;
  va_start(values, form);
  print_message("roqutil: ", form, values);
  va_end(values);
  return code;
}

void warn(const char* form, ...) {
  va_list values;
  va_start(values, form);
  print_message("roqutil: warning: ", form, values);
  va_end(values);
}

std::optional<uint32_t> parse_number(const char* text) {
  if (text == nullptr) return std::nullopt;
  unsigned base = 10;
  if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text += 2;
  }
  if (*text == '\0') return std::nullopt;
  uint64_t value = 0;
  for (; *text != '\0'; ++text) {
    std::optional<unsigned> digit = hex_digit(*text);
    if (!digit || *digit >= base) return std::nullopt;
    value = value * base + *digit;
    if (value > UINT32_MAX) return std::nullopt;
  }
  return static_cast<uint32_t>(value);
}

std::optional<uint32_t> parse_time(const char* text) {
  constexpr size_t kMostDecimals = 3;
  constexpr char kDigits[] = "0123456789";
  size_t whole = strspn(text, kDigits);
  bool has_decimals = text[whole] == '.';
  const char* decimals = text + whole + (has_decimals ? 1 : 0);
  size_t count = strspn(decimals, kDigits);
  if (whole == 0 || decimals[count] != '\0' || count > kMostDecimals || (count > 0) != has_decimals)
    return std::nullopt;
  Text digits;
  digits.append({text, whole});
  digits.append(decimals);
  digits.append('0', kMostDecimals - count);
  return parse_number(digits.c_str());
}

int run_program(const Program& program, std::span<const char* const> typed) {
  if (typed.empty()) return wrong_first_word(program, nullptr);
  if (asks_for_help(typed[0])) {
    print_program_help(program);
    return kSuccess;
  }
  if (const Group* group = find_group(program, typed[0])) return run_in_group(program, *group, typed.subspan(1));
  // Under the name that most tools have for it, too.
  const char* name = strcmp(typed[0], "--version") == 0 ? "version" : typed[0];
  if (const Command* command = find_by_name(program.commands, name))
    return run_command(program, nullptr, *command, typed.subspan(1));
  return wrong_first_word(program, typed[0]);
}

} // namespace roq::tool
