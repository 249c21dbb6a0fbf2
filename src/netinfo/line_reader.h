// The lines of a kernel table, read in small pieces, so that a search that ends early has not made the kernel format
// the rest.
#ifndef ROQ_NETINFO_LINE_READER_H
#define ROQ_NETINFO_LINE_READER_H

#include "support/owners.h"
#include <cstddef>
#include <cstdint>

namespace roq::netinfo {

inline constexpr size_t kPieceSize = 1024;

class LineReader {
public:
  explicit LineReader(const char* path);
  explicit LineReader(UniqueFd table) : table_(static_cast<UniqueFd&&>(table)) {}

  bool is_open() const { return table_.is_open(); }

  // Reads the next line, its line end included, and terminates it; false at the end of the table. What does not fit
  // is the next line.
  template <size_t size> bool next(char (&line)[size]) { return next(line, size); }
  bool next(char* line, size_t size);

  // As often as next(); what was read is thrown away.
  template <size_t size> void skip(char (&line)[size], unsigned count) {
    for (; count > 0; --count)
      next(line);
  }

  // 0, or -1 when the system reports a failure.
  int32_t close();

private:
  bool fill();

  UniqueFd table_;
  size_t begin_ = 0, end_ = 0;
  char piece_[kPieceSize];
};

} // namespace roq::netinfo

#endif
