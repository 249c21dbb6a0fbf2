#include "process/parse.h"

#include "process/redirection.h"
#include "process/tokenise.h"
#include "process/unquote.h"
#include "support/numbers.h"
#include <cstring>

namespace roq::process {
namespace {

constexpr size_t kLongestCommand = 4096;

char* copy_without_leading_space(const char* command) {
  while (is_space(*command))
    ++command;
  return strdup(command);
}

// The program keeps its quotes and backslashes.
char* own_program(const char* token) { return strdup(strncmp(token, "./", 2) == 0 ? token + 2 : token); }

char* own_argument(char* token) { return unquote(token) ? strdup(token) : nullptr; }

void free_texts(TokenList& tokens, size_t count) {
  for (size_t i = 0; i < count; ++i)
    free(tokens[i]);
}

// Makes every token a text of its own.
bool own_tokens(TokenList& tokens) {
  for (size_t i = 0; i < tokens.size(); ++i) {
    char* own = i == 0 ? own_program(tokens[i]) : own_argument(tokens[i]);
    if (own == nullptr) {
      free_texts(tokens, i);
      return false;
    }
    tokens[i] = own;
  }
  return true;
}

// Makes the plan's files texts of their own.
bool own_files(RedirectPlan& plan) {
  MallocPtr<char> output(plan.pcStdoutFile != nullptr ? strdup(plan.pcStdoutFile) : nullptr);
  MallocPtr<char> error(plan.pcStderrFile != nullptr ? strdup(plan.pcStderrFile) : nullptr);
  if (!output && plan.pcStdoutFile != nullptr) return false;
  if (!error && plan.pcStderrFile != nullptr) return false;
  plan.pcStdoutFile = output.release();
  plan.pcStderrFile = error.release();
  return true;
}

bool own_texts(TokenList& tokens, RedirectPlan* plan) {
  if (!own_tokens(tokens)) return false;
  if (plan == nullptr || own_files(*plan)) return true;
  free_texts(tokens, tokens.size());
  return false;
}

} // namespace

bool parse_command(const char* command, char*** vector, int32_t* count, RedirectPlan* plan) {
  if (count != nullptr) *count = 0;
  if (plan != nullptr) *plan = RedirectPlan{};
  if (command == nullptr || vector == nullptr) return false;
  if (strnlen(command, kLongestCommand + 1) > kLongestCommand) return false;

  TokenList tokens;
  if (!tokens.is_allocated()) return false;
  MallocPtr<char> line(copy_without_leading_space(command));
  if (!line || !tokenise(line.get(), tokens)) return false;
  if (plan != nullptr) {
    take_background_marker(tokens, *plan);
    take_redirections(tokens, *plan);
  }
  if (!own_texts(tokens, plan)) {
    // They point into the line, and callers release them after a failure, too.
    if (plan != nullptr) plan->pcStdoutFile = plan->pcStderrFile = nullptr;
    return false;
  }
  if (count != nullptr) *count = static_cast<int32_t>(tokens.size());
  *vector = tokens.release();
  return true;
}

void free_arguments(char** vector) {
  for (char** text = vector; *text != nullptr; ++text)
    free_quietly(*text);
  free_quietly(vector);
}

} // namespace roq::process
