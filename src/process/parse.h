// Command lines become argument vectors and redirection plans.
#ifndef ROQ_PROCESS_PARSE_H
#define ROQ_PROCESS_PARSE_H

#include "support/owners.h"
#include <roqutil/process.h>

namespace roq::process {

// As ROQ_UTIL_ParseArgs tells it; false on failure.
[[nodiscard]] bool parse_command(const char* command, char*** vector, int32_t* count, RedirectPlan* plan);

void free_arguments(char** vector);

using ArgumentVector = Unique<char*, free_arguments>;

} // namespace roq::process

#endif
