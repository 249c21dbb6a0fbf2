// Hand-made tables for the readers.
#ifndef ROQ_TESTS_UNIT_NETINFO_TABLE_H
#define ROQ_TESTS_UNIT_NETINFO_TABLE_H

#include "netinfo/line_reader.h"
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace roq::netinfo {

// A file in memory that holds the text, read from its beginning.
inline UniqueFd file_of(std::string_view text) {
  UniqueFd file(memfd_create("table", MFD_CLOEXEC));
  EXPECT_TRUE(file.is_open());
  EXPECT_EQ(write(file.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  EXPECT_EQ(lseek(file.get(), 0, SEEK_SET), 0);
  return file;
}

inline LineReader table_of(std::string_view text) { return LineReader(file_of(text)); }

} // namespace roq::netinfo

#endif
