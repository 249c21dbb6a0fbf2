#include "dns/text_file.h"

#include "support/numbers.h"
#include "support/owners.h"

namespace roq::dns {

bool read_first_line(const char* path, std::span<char> line) {
  UniqueStream file(fopen(path, "re"));
  if (!file) return false;
  if (fgets(line.data(), static_cast<int>(line.size()), file.get()) == nullptr) line[0] = '\0';
  return true;
}

void cut_at_space(char* text) {
  while (*text != '\0' && !is_space(*text))
    ++text;
  *text = '\0';
}

} // namespace roq::dns
