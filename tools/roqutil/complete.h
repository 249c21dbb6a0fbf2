// What may be typed next, from the tables that the help is printed from.
#ifndef ROQ_TOOL_COMPLETE_H
#define ROQ_TOOL_COMPLETE_H

#include "cli.h"

namespace roq::tool {

// The words that may stand in the place of one that is being typed.
class Candidates {
public:
  explicit Candidates(std::string_view typed) : typed_(typed) {}

  // Passed over unless it begins with what was typed.
  void add(std::string_view word);
  // For what the shell knows better, a word in capitals stands for all: FILE, DIRECTORY or COMMAND.
  void leave_to_the_shell(std::string_view word);

  std::string_view typed() const { return typed_; }
  // One a line.
  const Text& lines() const { return lines_; }

private:
  std::string_view typed_;
  Text lines_;
};

// Adds the candidates for the last word, which is what `candidates` has as typed, behind the others.
void complete(Candidates& candidates, const Program& program, std::span<const char* const> words);

} // namespace roq::tool

#endif
