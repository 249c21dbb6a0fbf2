// Running a program without a shell, for the families that administer the system with its own tools.
#ifndef ROQ_PROCESS_EXEC_NO_HANG_H
#define ROQ_PROCESS_EXEC_NO_HANG_H

#include <cstdint>

namespace roq::process {

// As ROQ_UTIL_ExecCmdNoHang tells it: the program's exit code, or 0 or less when it could not be run.
int32_t execute_no_hang(const char* command);

} // namespace roq::process

#endif
