// Running command lines with the system's shell.
#ifndef ROQ_PROCESS_SHELL_H
#define ROQ_PROCESS_SHELL_H

#include <cstdint>

namespace roq::process {

// Both return the shell's raw wait status or -1.
int32_t execute_in_shell(const char* command, bool print);
int32_t execute_in_shell_by_time(const char* command, int8_t seconds);

} // namespace roq::process

#endif
