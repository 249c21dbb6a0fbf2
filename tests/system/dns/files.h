// Writing and reading small files of the sandbox.
#ifndef ROQ_TESTS_SYSTEM_DNS_FILES_H
#define ROQ_TESTS_SYSTEM_DNS_FILES_H

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

namespace roq::tests {

// Creates the folders on the way.
inline void write_file(const std::string& path, const std::string& content) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0755);
  }
  FILE* file = fopen(path.c_str(), "w");
  ASSERT_NE(file, nullptr) << path;
  fwrite(content.data(), 1, content.size(), file);
  fclose(file);
}

inline std::string read_file(const std::string& path) {
  FILE* file = fopen(path.c_str(), "r");
  if (file == nullptr) return "(no file)";
  std::string content;
  for (int byte = getc(file); byte != EOF; byte = getc(file))
    content += static_cast<char>(byte);
  fclose(file);
  return content;
}

} // namespace roq::tests

#endif
