#include "process/redirection.h"

#include <cstring>

// In this file L is the last token of the list and P the one before it.

namespace roq::process {
namespace {

bool equal(const char* token, const char* text) { return strcmp(token, text) == 0; }

// The two fields of a plan that belong to one output of the child.
struct Target {
  char*& file;
  int32_t& append;
};

Target standard_output(RedirectPlan& plan) { return {plan.pcStdoutFile, plan.bStdoutAppend}; }
Target standard_error(RedirectPlan& plan) { return {plan.pcStderrFile, plan.bStderrAppend}; }

// The redirection nearest to the end of the line wins. In the first pass every target is still free.
void redirect_if_free(Target target, char* file, int32_t append) {
  if (target.file != nullptr) return;
  target.file = file;
  target.append = append;
}

// L is a duplication of a descriptor: nothing but dropped.
bool drop_duplication(TokenList& tokens) {
  const char* last = tokens.last();
  if (!equal(last, "2>&1") && !equal(last, "1>&2") && !equal(last, "1>&1") && !equal(last, "2>&2")) return false;
  tokens.drop_last(1);
  return true;
}

// L is a duplication of a descriptor: the output goes where the other one was already found to go.
bool take_duplication(TokenList& tokens, RedirectPlan& plan) {
  const char* last = tokens.last();
  if (equal(last, "2>&1")) redirect_if_free(standard_error(plan), plan.pcStdoutFile, plan.bStdoutAppend);
  if (equal(last, "1>&2")) redirect_if_free(standard_output(plan), plan.pcStderrFile, plan.bStderrAppend);
  return drop_duplication(tokens);
}

// P is ">" or ">>", L the file.
bool take_file_after_operator(TokenList& tokens, RedirectPlan& plan) {
  bool append = equal(tokens.before_last(), ">>");
  if (!append && !equal(tokens.before_last(), ">")) return false;
  redirect_if_free(standard_output(plan), tokens.last(), append);
  tokens.drop_last(2);
  return true;
}

// L is ">file" or ">>file". A bare operator names no file and is dropped.
bool take_file_with_operator(TokenList& tokens, RedirectPlan& plan) {
  char* last = tokens.last();
  if (last[0] != '>') return false;
  bool append = last[1] == '>';
  char* file = last + (append ? 2 : 1);
  if (*file != '\0') redirect_if_free(standard_output(plan), file, append);
  tokens.drop_last(1);
  return true;
}

// L is "1>file", "1>>file", "2>file" or "2>>file". "1>" names no file; "1>>" names the file ">", and that is meant.
bool take_file_with_descriptor(TokenList& tokens, RedirectPlan& plan) {
  char* last = tokens.last();
  if ((last[0] != '1' && last[0] != '2') || last[1] != '>') return false;
  bool append = last[2] == '>' && last[3] != '\0';
  char* file = last + (append ? 3 : 2);
  if (*file != '\0') redirect_if_free(last[0] == '1' ? standard_output(plan) : standard_error(plan), file, append);
  tokens.drop_last(1);
  return true;
}

// P ends with an operator, L is the file. `error_operator` is the text of P that truncates standard error's file;
// "2>>" appends to it; all else is standard output's, and text glued to the operator is lost with it.
void take_file_after_glued_operator(TokenList& tokens, RedirectPlan& plan, const char* error_operator) {
  const char* before = tokens.before_last();
  size_t length = strlen(before);
  if (length == 0 || before[length - 1] != '>') return;
  bool append = length >= 2 && before[length - 2] == '>';
  bool to_error = equal(before, append ? "2>>" : error_operator);
  redirect_if_free(to_error ? standard_error(plan) : standard_output(plan), tokens.last(), append);
  tokens.drop_last(2);
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

void first_redirection_pass(TokenList& tokens, RedirectPlan& plan) {
  if (tokens.size() < 2) return;
  if (drop_duplication(tokens)) return;
  if (take_file_after_operator(tokens, plan)) return;
  if (take_file_with_operator(tokens, plan)) return;
  if (take_file_with_descriptor(tokens, plan)) return;
  take_file_after_glued_operator(tokens, plan, "2>");
}

void second_redirection_pass(TokenList& tokens, RedirectPlan& plan) {
  if (tokens.size() < 2) return;
  if (take_duplication(tokens, plan)) return;
  if (take_file_after_operator(tokens, plan)) return;
  if (take_file_with_operator(tokens, plan)) return;
  if (take_file_with_descriptor(tokens, plan)) return;
  // Not "2>", and that is meant: with a file behind it, it counts as glued text here.
  take_file_after_glued_operator(tokens, plan, "2>>");
}

} // namespace roq::process
