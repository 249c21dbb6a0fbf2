#include "netinfo/fields.h"

#include "support/numbers.h"
#include <algorithm>
#include <cstring>

namespace roq::netinfo {

void split_fields(const char* line, FieldBuffers buffers, size_t columns) {
  for (size_t column = 0; column < columns; ++column) {
    while (is_space(*line))
      ++line;
    if (*line == '\0') return;
    const char* begin = line;
    while (*line != '\0' && !is_space(*line))
      ++line;

    size_t length = std::min(static_cast<size_t>(line - begin), buffers.size - 1);
    char* buffer = buffers.first + std::min(column, buffers.count - 1) * buffers.size;
    memcpy(buffer, begin, length);
    buffer[length] = '\0';
  }
}

} // namespace roq::netinfo
