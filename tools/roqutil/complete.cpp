#include "complete.h"

#include <algorithm>
#include <cstring>

namespace roq::tool {
namespace {

std::string_view without_brackets(std::string_view word) {
  word.remove_prefix(std::min(word.find_first_not_of('['), word.size()));
  return first(word, word.find_first_of("]."));
}

// What belongs in the place of an argument: of "ID [VALUE]" 0 is "ID". The one with "..." stands for all that follow.
// Empty when there is no such argument.
std::string_view place_of(const char* arguments, size_t number) {
  for (std::string_view rest = arguments; !rest.empty(); --number) {
    std::string_view word = take_word(rest, ' ');
    if (number == 0 || word.find("...") != word.npos) return without_brackets(word);
  }
  return {};
}

void add_for_place(Candidates& candidates, const Program& program, std::string_view place) {
  for (const char* shells_own : {"FILE", "DIRECTORY", "COMMAND"})
    if (place == shells_own) candidates.leave_to_the_shell(place);
  for (const Place& known : program.places)
    if (place == known.word) known.add(candidates);
  bool is_to_be_typed = place == "--" || place.find('|') != place.npos;
  while (is_to_be_typed && !place.empty())
    candidates.add(take_word(place, '|'));
}

void add_options(Candidates& candidates, std::span<const Option> options) {
  Text name;
  for (const Option& option : options) {
    name.clear();
    name.format("--%s", option.name);
    candidates.add(name.view());
  }
  candidates.add("--help");
}

void complete_in_command(Candidates& candidates, const Program& program, const Command& command,
                         std::span<const char* const> words) {
  const char* last = words.back();
  std::span<const char* const> before = words.first(words.size() - 1);
  bool options_ended = false;
  size_t arguments = 0;
  for (size_t at = 0; at < before.size(); ++at) {
    Word word = options_ended ? Word{Word::Kind::argument} : classify(command, before[at]);
    bool is_argument = word.kind == Word::Kind::argument;
    if (is_argument) ++arguments;
    if (word.kind == Word::Kind::end_of_options || (is_argument && command.options_come_first)) options_ended = true;
    bool takes_next = word.kind == Word::Kind::option && word.option->value != nullptr && word.value == nullptr;
    if (takes_next && ++at == before.size()) return add_for_place(candidates, program, word.option->value);
  }
  std::string_view place = place_of(command.arguments, arguments);
  if (options_ended || (*last != '-' && !place.empty())) return add_for_place(candidates, program, place);
  Word word = classify(command, last);
  if (word.kind == Word::Kind::option && word.value != nullptr && word.option->value != nullptr)
    return add_for_place(candidates, program, word.option->value);
  add_options(candidates, command.options);
}

void complete_name(Candidates& candidates, std::span<const Command> commands) {
  for (const Command& command : commands)
    candidates.add(command.name);
  if (!candidates.typed().empty()) add_options(candidates, {});
}

// The last of several words behind the name of a command, if it is one.
void complete_behind(Candidates& candidates, const Program& program, std::span<const Command> commands,
                     std::span<const char* const> words) {
  for (const Command& command : commands)
    if (strcmp(command.name, words[0]) == 0) complete_in_command(candidates, program, command, words.subspan(1));
}

} // namespace

void Candidates::add(std::string_view word) {
  if (first(word, typed_.size()) != typed_) return;
  lines_.append(word);
  lines_.append('\n');
}

void Candidates::leave_to_the_shell(std::string_view word) {
  lines_.append(word);
  lines_.append('\n');
}

void complete(Candidates& candidates, const Program& program, std::span<const char* const> words) {
  if (words.size() == 1) {
    for (const Group* group : program.groups)
      candidates.add(group->name);
    return complete_name(candidates, program.commands);
  }
  for (const Group* group : program.groups) {
    if (strcmp(group->name, words[0]) != 0) continue;
    if (words.size() == 2) return complete_name(candidates, group->commands);
    return complete_behind(candidates, program, group->commands, words.subspan(1));
  }
  complete_behind(candidates, program, program.commands, words);
}

} // namespace roq::tool
