#include "help.h"

#include <cstring>

namespace roq::tool {
namespace {

constexpr size_t kWidth = 100;

// Prints words, of which the first one goes to the column where the line is already, and the following lines begin at
// the same one.
void print_wrapped(std::string_view text, size_t column) {
  size_t at = column;
  while (!text.empty()) {
    std::string_view word = take_word(text, ' ');
    if (at > column && at + 1 + word.size() > kWidth) {
      printf("\n%*s", static_cast<int>(column), "");
      at = column;
    }
    if (at > column) at += static_cast<size_t>(printf(" "));
    at += static_cast<size_t>(printf("%.*s", static_cast<int>(word.size()), word.data()));
  }
  putchar('\n');
}

// A two-column table; the left column is as wide as its widest entry.
class Columns {
public:
  void add(const Text& left, const char* right) {
    if (left.size() > width_) width_ = left.size();
    lines_.format("%s\t%s\n", left.c_str(), right);
  }

  void print(const char* title) const {
    if (lines_.empty()) return;
    printf("\n%s:\n", title);
    for (std::string_view rest = lines_.view(); !rest.empty();) {
      std::string_view right = take_word(rest, '\n');
      std::string_view left = take_word(right, '\t');
      printf("  %-*.*s  ", static_cast<int>(width_), static_cast<int>(left.size()), left.data());
      print_wrapped(right, width_ + 4);
    }
  }

private:
  Text lines_;
  size_t width_ = 0;
};

Text words(const char* first, const char* second = "") {
  Text text;
  text.append(first);
  if (*second != '\0') text.format(" %s", second);
  return text;
}

Text option_name(const Option& option) {
  Text name;
  if (option.letter == '\0')
    name.append(' ', 4);
  else
    name.format("-%c, ", option.letter);
  name.format("--%s", option.name);
  if (option.value != nullptr) name.format(" %s", option.value);
  return name;
}

// "summary" as a sentence, then what else there is to say.
void print_summary(const char* summary, const char* details) {
  char first = *summary >= 'a' && *summary <= 'z' ? static_cast<char>(*summary - 'a' + 'A') : *summary;
  printf("\n%c%s.\n", first, summary + 1);
  if (details == nullptr) return;
  putchar('\n');
  print_wrapped(details, 0);
}

void print_commands(const char* title, std::span<const Command> commands) {
  Columns table;
  for (const Command& command : commands)
    table.add(words(command.name, command.arguments), command.summary);
  table.print(title);
}

void print_options(std::span<const Option> options) {
  Columns table;
  for (const Option& option : options)
    table.add(option_name(option), option.meaning);
  table.add(option_name(kHelpOption), kHelpOption.meaning);
  table.print("Options");
}

// Under each other, since many of them are long.
void print_examples(std::span<const Example> examples) {
  if (!examples.empty()) puts("\nExamples:");
  for (const Example& example : examples)
    printf("  %s\n      %s\n", example.line, example.meaning);
}

} // namespace

void print_program_help(const Program& program) {
  printf("usage: %s GROUP COMMAND [ARGUMENT...] [OPTION...]\n", program.name);
  print_summary(program.summary, nullptr);
  Columns groups;
  for (const Group* group : program.groups)
    groups.add(words(group->name), group->summary);
  groups.print("Groups");
  print_commands("Commands", program.commands);
  print_options({});
  print_examples(program.examples);
  printf("\nExit codes: 0 success, 1 the answer is no, 2 wrong usage, 3 the system refused.\n"
         "'%s GROUP --help' lists a group's commands, '%s GROUP COMMAND --help' tells about one.\n",
         program.name, program.name);
}

void print_group_help(const char* program, const Group& group) {
  printf("usage: %s %s COMMAND [ARGUMENT...] [OPTION...]\n", program, group.name);
  print_summary(group.summary, group.details);
  print_commands("Commands", group.commands);
  print_options({});
  print_examples(group.examples);
  printf("\n'%s %s COMMAND --help' tells about one command.\n", program, group.name);
}

void print_command_help(const char* program, const char* path, const Command& command) {
  Text usage = words(path, command.options_come_first ? "[OPTION...]" : command.arguments);
  printf("usage: %s %s %s\n", program, usage.c_str(), command.options_come_first ? command.arguments : "[OPTION...]");
  print_summary(command.summary, command.details);
  print_options(command.options);
  print_examples(command.examples);
}

} // namespace roq::tool
