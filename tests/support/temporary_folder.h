// A folder that exists as long as its owner.
#ifndef ROQ_TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define ROQ_TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace roq::test::process {

class TemporaryFolder {
public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "roqutil-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) abort();
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string path() const { return path_; }
  std::string path(const std::string& name) const { return path_ / name; }

private:
  std::filesystem::path path_;
};

inline std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

inline void write_file(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

} // namespace roq::test::process

#endif
