// Waiting for a child.
#ifndef ROQ_PROCESS_WAIT_H
#define ROQ_PROCESS_WAIT_H

#include <cstdint>

namespace roq::process {

// As ROQ_UTIL_WaitForPid tells it.
int32_t wait_for_child(int32_t pid, int32_t time_limit, uint32_t* signal, uint32_t* exit_code);

} // namespace roq::process

#endif
