#include "cli.h"

#include "help.h"
#include <cstring>
#include <unistd.h>

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
  line.append('\n');
  fputs(line.c_str(), stderr);
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
  if (typed.empty())
    return fail(kUsage, "%s: no command given: expected one of %s; see '%s %s --help'", group.name, names.c_str(),
                program.name, group.name);
  return fail(kUsage, "%s: unknown command '%s': expected one of %s; see '%s %s --help'", group.name, typed[0],
              names.c_str(), program.name, group.name);
}

int unknown_first_word(const Program& program, const char* word) {
  Text names;
  for (const Group* group : program.groups)
    append_name(names, group->name);
  for (const Command& command : program.commands)
    append_name(names, command.name);
  if (word == nullptr)
    return fail(kUsage, "no command given: expected one of %s; see '%s --help'", names.c_str(), program.name);
  return fail(kUsage, "unknown command '%s': expected one of %s; see '%s --help'", word, names.c_str(), program.name);
}

} // namespace

Invocation::Invocation(const char* program, const char* group, const Command& command)
    : command_(command), program_(program) {
  if (group != nullptr) path_.format("%s ", group);
  path_.append(command.name);
  values_.resize(command.options.size(), nullptr);
}

std::optional<int> Invocation::take(std::span<const char* const> typed) {
  bool options_ended = false;
  for (size_t at = 0; at < typed.size(); ++at) {
    const char* word = typed[at];
    if (options_ended || (strncmp(word, "--", 2) != 0 && strcmp(word, "-h") != 0)) {
      arguments_.add(word);
      options_ended = options_ended || command_.options_come_first;
    } else if (strcmp(word, "--") == 0) {
      options_ended = true;
    } else if (asks_for_help(word)) {
      print_command_help(program_, path(), command_);
      return kSuccess;
    } else if (std::optional<int> code = take_option(typed, at)) {
      return code;
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

std::optional<int> Invocation::take_option(std::span<const char* const> typed, size_t& at) {
  std::string_view name = typed[at] + 2;
  const char* value = nullptr;
  if (size_t equals = name.find('='); equals != name.npos) {
    value = name.data() + equals + 1;
    name.remove_suffix(name.size() - equals);
  }
  size_t index = index_of(name);
  auto length = static_cast<int>(name.size());
  if (index == command_.options.size()) {
    Text names;
    for (const Option& option : command_.options) {
      append_name(names, "--");
      names.append(option.name);
    }
    return wrong("unknown option --%.*s: expected %s", length, name.data(), names.empty() ? "none" : names.c_str());
  }
  const Option& option = command_.options[index];
  if (option.value == nullptr && value != nullptr)
    return wrong("option --%s takes no value: expected --%s", option.name, option.name);
  if (option.value != nullptr && value == nullptr) {
    if (at + 1 == typed.size()) return wrong("option --%s needs a value: expected %s", option.name, option.value);
    value = typed[++at];
  }
  values_[index] = option.value == nullptr ? kSwitchGiven : value;
  return std::nullopt;
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

std::optional<unsigned> hex_digit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return std::nullopt;
}

bool colours_allowed(FILE* stream) {
  const char* refusal = getenv("NO_COLOR");
  if (refusal != nullptr && *refusal != '\0') return false;
  const char* terminal = getenv("TERM");
  if (terminal == nullptr || strcmp(terminal, "dumb") == 0) return false;
  return isatty(fileno(stream)) == 1;
}

int run_program(const Program& program, std::span<const char* const> typed) {
  if (typed.empty()) return unknown_first_word(program, nullptr);
  if (asks_for_help(typed[0])) {
    print_program_help(program);
    return kSuccess;
  }
  if (const Group* group = find_group(program, typed[0])) return run_in_group(program, *group, typed.subspan(1));
  if (const Command* command = find_by_name(program.commands, typed[0]))
    return run_command(program, nullptr, *command, typed.subspan(1));
  return unknown_first_word(program, typed[0]);
}

} // namespace roq::tool
