// What the end of a command line says about the background and about redirections.
#ifndef ROQ_PROCESS_REDIRECTION_H
#define ROQ_PROCESS_REDIRECTION_H

#include "process/token_list.h"
#include <roqutil/process.h>

namespace roq::process {

// Each takes what it recognises off the end of the list and notes it in the plan, whose texts then point to tokens. At
// most two redirections are taken from a line, one by each pass; the one nearer to the end wins.
void take_background_marker(TokenList& tokens, RedirectPlan& plan);
void first_redirection_pass(TokenList& tokens, RedirectPlan& plan);
void second_redirection_pass(TokenList& tokens, RedirectPlan& plan);

} // namespace roq::process

#endif
