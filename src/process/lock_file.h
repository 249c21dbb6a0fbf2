// Exclusive advisory locks on files.
#ifndef ROQ_PROCESS_LOCK_FILE_H
#define ROQ_PROCESS_LOCK_FILE_H

#include <cstdint>
#include <cstdio>

namespace roq::process {

// Both as ROQ_UTIL_LockFile and ROQ_UTIL_UnlockFile tell it.
int32_t lock_file(const char* path, FILE** stream);
int32_t unlock_file(int32_t fd);

} // namespace roq::process

#endif
