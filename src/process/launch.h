// Starting programs without a shell.
#ifndef ROQ_PROCESS_LAUNCH_H
#define ROQ_PROCESS_LAUNCH_H

#include <roqutil/process.h>

namespace roq::process {

// As ROQ_UTIL_ForkProcessFull tells it.
int32_t launch(char** arguments, int32_t time_limit, uint32_t* signal, uint32_t* exit_code, const RedirectPlan* plan);

// As ROQ_UTIL_ForkProcess tells it.
int32_t launch_command(const char* command, int32_t time_limit, uint32_t* signal, uint32_t* exit_code);

} // namespace roq::process

#endif
