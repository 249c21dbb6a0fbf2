// The blank-separated columns of a table's line.
#ifndef ROQ_NETINFO_FIELDS_H
#define ROQ_NETINFO_FIELDS_H

#include <cstddef>

namespace roq::netinfo {

struct FieldBuffers {
  char* first; // `count` buffers of `size` bytes, one behind the other
  size_t size, count;
};

// Copies the first `columns` fields of the line, each cut to fit its buffer. Columns beyond the last buffer share that
// one. Buffers that the line does not reach keep what they hold.
void split_fields(const char* line, FieldBuffers buffers, size_t columns);

// The fields of one table, empty at first. They live as long as the search: a short line is judged together with what
// earlier lines left behind.
template <size_t count, size_t size> class Fields {
public:
  void split(const char* line, size_t columns = count) { split_fields(line, {text_[0], size, count}, columns); }

  const char* operator[](size_t column) const { return text_[column]; }

private:
  char text_[count][size] = {};
};

} // namespace roq::netinfo

#endif
