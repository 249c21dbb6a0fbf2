// Log files that are written in one go.
#ifndef ROQ_PROCESS_LOG_FILE_H
#define ROQ_PROCESS_LOG_FILE_H

#include <cstdarg>
#include <cstdint>

namespace roq::process {

// Replaces "/var/log/name" by the formatted text. The result of closing it, 0 when it cannot be opened.
__attribute__((format(printf, 2, 0))) int32_t write_log_file(const char* name, const char* format, va_list values);

} // namespace roq::process

#endif
