#include "process/exec_no_hang.h"

#include "process/launch.h"

namespace roq::process {

int32_t execute_no_hang(const char* command) {
  uint32_t exit_code = 0; // and so it stays when somebody else has reaped the child
  int32_t result = launch_command(command, -1, nullptr, &exit_code);
  return result > 0 ? static_cast<int32_t>(exit_code) : result;
}

} // namespace roq::process
