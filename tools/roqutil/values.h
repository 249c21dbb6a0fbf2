// The values that a command works on: its arguments, and in place of "-" the lines of standard input.
#ifndef ROQ_TOOL_VALUES_H
#define ROQ_TOOL_VALUES_H

#include "cli.h"

namespace roq::tool {

class LineReader {
public:
  ~LineReader() { free(line_); }
  // The next line of standard input without its end; false at the end of the input.
  bool next();
  // The line holds no zero byte, so it can be a text.
  bool is_text() const;
  char* text() { return line_; }
  size_t size() const { return size_; }

private:
  char* line_ = nullptr;
  size_t room_ = 0;
  size_t size_ = 0;
};

// Bytes of files and of standard input ("-"). Null after a message when the file cannot be opened.
FILE* open_input(const Invocation& call, const char* name);
// The message for an input or output that failed.
int stream_failed(const Invocation& call, const char* name);

} // namespace roq::tool

#endif
