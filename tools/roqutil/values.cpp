#include "values.h"

#include <cerrno>
#include <cstring>

namespace roq::tool {

bool LineReader::next() {
  ssize_t length = getline(&line_, &room_, stdin);
  if (length < 0) return false;
  size_ = static_cast<size_t>(length);
  if (size_ > 0 && line_[size_ - 1] == '\n') line_[--size_] = '\0';
  return true;
}

bool LineReader::is_text() const { return strlen(line_) == size_; }

FILE* open_input(const Invocation& call, const char* name) {
  if (strcmp(name, "-") == 0) return stdin;
  FILE* stream = fopen(name, "re");
  if (stream == nullptr) stream_failed(call, name);
  return stream;
}

int stream_failed(const Invocation& call, const char* name) {
  return call.refused("'%s': %s; name a file that can be read", name, strerror(errno));
}

} // namespace roq::tool
