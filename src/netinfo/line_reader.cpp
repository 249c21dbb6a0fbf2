#include "netinfo/line_reader.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace roq::netinfo {

LineReader::LineReader(const char* path) : table_(open(path, O_RDONLY | O_CLOEXEC)) {}

bool LineReader::fill() {
  ssize_t length = read(table_.get(), piece_, sizeof piece_);
  begin_ = 0;
  end_ = length > 0 ? static_cast<size_t>(length) : 0;
  return length > 0;
}

bool LineReader::next(char* line, size_t size) {
  size_t length = 0;
  bool complete = false;
  while (!complete && length < size - 1) {
    if (begin_ == end_ && !fill()) break;
    const char* from = piece_ + begin_;
    size_t count = std::min(end_ - begin_, size - 1 - length);
    if (const void* line_end = memchr(from, '\n', count)) {
      count = static_cast<size_t>(static_cast<const char*>(line_end) - from) + 1;
      complete = true;
    }
    memcpy(line + length, from, count);
    length += count;
    begin_ += count;
  }
  line[length] = '\0';
  return length > 0;
}

int32_t LineReader::close() { return ::close(table_.release()); }

} // namespace roq::netinfo
