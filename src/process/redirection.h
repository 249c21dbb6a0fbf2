// What the end of a command line says about the background and about redirections.
#ifndef ROQ_PROCESS_REDIRECTION_H
#define ROQ_PROCESS_REDIRECTION_H

#include "process/token_list.h"
#include <roqutil/process.h>

namespace roq::process {

// Both take what they recognise off the end of the list and note it in the plan, whose texts then point to tokens. At
// most two redirections are taken from a line; the one nearer to the end wins.
void take_background_marker(TokenList& tokens, RedirectPlan& plan);
void take_redirections(TokenList& tokens, RedirectPlan& plan);

} // namespace roq::process

#endif
