#include "process/redirection.h"

#include <cstring>

// In this file L is the last token of the list and P the one before it.

namespace roq::process {
namespace {

bool is_output(char c) { return c == '1' || c == '2'; }

// The two fields of a plan that belong to one output of the child.
struct Target {
  char*& file;
  int32_t& append;
};

Target target_of(RedirectPlan& plan, char output) {
  if (output == '2') return {plan.pcStderrFile, plan.bStderrAppend};
  return {plan.pcStdoutFile, plan.bStdoutAppend};
}

// The redirection nearest to the end of the line wins.
void redirect_if_free(RedirectPlan& plan, char output, char* file, int32_t append) {
  Target target = target_of(plan, output);
  if (target.file != nullptr) return;
  target.file = file;
  target.append = append;
}

// "2>&1" or the like.
bool is_duplication(const char* token) {
  return is_output(token[0]) && token[1] == '>' && token[2] == '&' && is_output(token[3]) && token[4] == '\0';
}

// ">" or ">>".
bool is_operator(const char* token) { return token[0] == '>' && token[token[1] == '>' ? 2 : 1] == '\0'; }

// L is a duplication of a descriptor: the output goes where the other one was already found to go, which is nowhere in
// the first pass.
bool take_duplication(TokenList& tokens, RedirectPlan& plan) {
  const char* last = tokens.last();
  if (!is_duplication(last)) return false;
  Target other = target_of(plan, last[3]);
  redirect_if_free(plan, last[0], other.file, other.append);
  tokens.drop_last(1);
  return true;
}

// L is the operator and the file in one: ">file", "1>file", "2>>file". A bare operator names no file and is dropped;
// "1>>" names the file ">", and that is meant.
bool take_file_with_operator(TokenList& tokens, RedirectPlan& plan) {
  char* last = tokens.last();
  bool has_descriptor = is_output(last[0]);
  char* file = last + has_descriptor;
  if (*file++ != '>') return false;
  bool append = file[0] == '>' && !(has_descriptor && file[1] == '\0');
  file += append;
  if (*file != '\0') redirect_if_free(plan, last[0], file, append);
  tokens.drop_last(1);
  return true;
}

// P ends with an operator, L is the file. `error_operator` is the text of P that truncates standard error's file;
// "2>>" appends to it; all else is standard output's, and text glued to the operator is lost with it.
void take_file_behind_operator(TokenList& tokens, RedirectPlan& plan, const char* error_operator) {
  const char* before = tokens.before_last();
  size_t length = strlen(before);
  if (length == 0 || before[length - 1] != '>') return;
  bool append = length >= 2 && before[length - 2] == '>';
  bool to_error = strcmp(before, append ? "2>>" : error_operator) == 0;
  redirect_if_free(plan, to_error ? '2' : '1', tokens.last(), append);
  tokens.drop_last(2);
}

void take_redirection(TokenList& tokens, RedirectPlan& plan, const char* error_operator) {
  if (tokens.size() < 2 || take_duplication(tokens, plan)) return;
  // Behind an operator that stands alone everything is a file, even another operator.
  if (!is_operator(tokens.before_last()) && take_file_with_operator(tokens, plan)) return;
  take_file_behind_operator(tokens, plan, error_operator);
}

} // namespace

void take_background_marker(TokenList& tokens, RedirectPlan& plan) {
  if (tokens.size() == 0) return;
  char* last = tokens.last();
  size_t length = strlen(last);
  if (length == 0 || last[length - 1] != '&') return;
  plan.bBackground = 1;
  if (length == 1)
    tokens.drop_last(1);
  else
    last[length - 1] = '\0';
}

void take_redirections(TokenList& tokens, RedirectPlan& plan) {
  take_redirection(tokens, plan, "2>");
  // Not "2>", and that is meant: with a file behind it, it counts as glued text here.
  take_redirection(tokens, plan, "2>>");
}

} // namespace roq::process
