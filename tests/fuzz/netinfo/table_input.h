// What the fuzz targets of the table readers share: a table made of the fuzzer's bytes, and a second, naive reading of
// it to compare with.
#ifndef ROQ_TESTS_FUZZ_NETINFO_TABLE_INPUT_H
#define ROQ_TESTS_FUZZ_NETINFO_TABLE_INPUT_H

#include "netinfo/line_reader.h"
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace roq::fuzz {

// Aborts, which the fuzzer reports together with its input.
inline void require(bool holds) {
  if (!holds) abort();
}

// The fuzzer's bytes: a name up to the first line end, then the table.
struct NamedTable {
  std::string name;
  std::string_view table;
};

inline NamedTable split_name(const uint8_t* data, size_t size) {
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  size_t end = bytes.find('\n');
  if (end == std::string_view::npos) return {"eth0", bytes};
  // A name is a C text: it ends at its first zero.
  return {std::string(std::string(bytes.substr(0, end)).c_str()), bytes.substr(end + 1)};
}

inline netinfo::LineReader reader_of(std::string_view table) {
  static const int file = memfd_create("table", MFD_CLOEXEC);
  require(ftruncate(file, 0) == 0);
  require(pwrite(file, table.data(), table.size(), 0) == static_cast<ssize_t>(table.size()));
  require(lseek(file, 0, SEEK_SET) == 0);
  return netinfo::LineReader(UniqueFd(dup(file)));
}

// The lines that a buffer of `size` bytes takes, as C texts, without the first `skipped`.
inline std::vector<std::string> lines_of(std::string_view table, size_t size, size_t skipped = 0) {
  std::vector<std::string> lines;
  while (!table.empty()) {
    size_t line_end = table.find('\n');
    size_t length = line_end == std::string_view::npos ? table.size() : line_end + 1;
    if (length > size - 1) length = size - 1;
    if (skipped > 0)
      --skipped;
    else
      lines.emplace_back(std::string(table.substr(0, length)).c_str());
    table.remove_prefix(length);
  }
  return lines;
}

// The words of a line, at most `count`.
inline std::vector<std::string_view> words_of(std::string_view line, size_t count) {
  constexpr std::string_view kSpace = " \t\n\v\f\r";
  std::vector<std::string_view> words;
  for (size_t begin = 0; words.size() < count;) {
    begin = line.find_first_not_of(kSpace, begin);
    if (begin == std::string_view::npos) break;
    size_t end = std::min(line.find_first_of(kSpace, begin), line.size());
    words.push_back(line.substr(begin, end - begin));
    begin = end;
  }
  return words;
}

// Columns that keep what a short line does not reach.
class NaiveFields {
public:
  NaiveFields(size_t count, size_t size) : texts_(count), size_(size) {}

  void split(const std::string& line) {
    std::vector<std::string_view> words = words_of(line, texts_.size());
    for (size_t column = 0; column < words.size(); ++column)
      texts_[column] = words[column].substr(0, size_ - 1);
  }

  const std::string& operator[](size_t column) const { return texts_[column]; }

private:
  std::vector<std::string> texts_;
  size_t size_;
};

} // namespace roq::fuzz

#endif
