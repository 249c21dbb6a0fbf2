#include "help.h"

#include <cstring>

namespace roq::tool {
namespace {

constexpr Option kHelpOption{"help", nullptr, "this text"};

// A two-column table; the left column is as wide as its widest entry.
class Columns {
public:
  void add(Text left, const char* right) {
    if (left.size() > width_) width_ = left.size();
    lines_.format("%s\t%s\n", left.c_str(), right);
  }

  void print(const char* title) const {
    if (lines_.empty()) return;
    printf("\n%s:\n", title);
    for (const char* at = lines_.c_str(); *at != '\0';) {
      const char* tab = strchr(at, '\t');
      const char* end = strchr(tab, '\n');
      printf("  %-*.*s  %.*s\n", static_cast<int>(width_), static_cast<int>(tab - at), at,
             static_cast<int>(end - tab - 1), tab + 1);
      at = end + 1;
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
  name.format("--%s", option.name);
  if (option.value != nullptr) name.format(" %s", option.value);
  return name;
}

// "summary" as a sentence, then what else there is to say.
void print_summary(const char* summary, const char* details) {
  char first = *summary >= 'a' && *summary <= 'z' ? static_cast<char>(*summary - 'a' + 'A') : *summary;
  printf("\n%c%s.\n", first, summary + 1);
  if (details != nullptr) printf("\n%s\n", details);
}

void print_commands(const char* title, std::span<const Command> commands) {
  Columns table;
  for (const Command& command : commands)
    table.add(words(command.name, command.arguments), command.summary);
  table.print(title);
}

void print_examples(std::span<const Example> examples) {
  Columns table;
  for (const Example& example : examples)
    table.add(words(example.line), example.meaning);
  table.print("Examples");
}

} // namespace

void print_program_help(const Program& program) {
  printf("usage: %s GROUP COMMAND [ARGUMENT]... [--OPTION]...\n", program.name);
  print_summary(program.summary, nullptr);
  Columns groups;
  for (const Group* group : program.groups)
    groups.add(words(group->name), group->summary);
  groups.print("Groups");
  print_commands("Commands", program.commands);
  print_examples(program.examples);
  printf("\nExit codes: 0 success, 1 the answer is no, 2 wrong usage, 3 the system refused.\n"
         "'%s GROUP --help' lists the commands of a group, '%s GROUP COMMAND --help' tells about one.\n",
         program.name, program.name);
}

void print_group_help(const char* program, const Group& group) {
  printf("usage: %s %s COMMAND [ARGUMENT]... [--OPTION]...\n", program, group.name);
  print_summary(group.summary, group.details);
  print_commands("Commands", group.commands);
  print_examples(group.examples);
  printf("\n'%s %s COMMAND --help' tells about one command.\n", program, group.name);
}

void print_command_help(const char* program, const char* path, const Command& command) {
  const char* blank = *command.arguments == '\0' ? "" : " ";
  printf("usage: %s %s%s%s [--OPTION]...\n", program, path, blank, command.arguments);
  print_summary(command.summary, command.details);
  Columns options;
  for (const Option& option : command.options)
    options.add(option_name(option), option.meaning);
  options.add(option_name(kHelpOption), kHelpOption.meaning);
  options.print("Options");
  print_examples(command.examples);
}

} // namespace roq::tool
