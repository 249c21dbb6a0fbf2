// Splitting a command line into tokens.
#ifndef ROQ_PROCESS_TOKENISE_H
#define ROQ_PROCESS_TOKENISE_H

#include "process/token_list.h"

namespace roq::process {

// Appends the tokens of `line` to `tokens`. They are pointers into the line, whose separators become terminators;
// quotes and backslashes stay in them. False when a quoted run is left open or the list cannot grow.
[[nodiscard]] bool tokenise(char* line, TokenList& tokens);

} // namespace roq::process

#endif
