#include "gvar/id.h"

#include "gvar/layout.h"
#include <cstring>

namespace roq::tool::gvar {

std::optional<uint32_t> parse_id(const char* text) {
  const char* colon = strchr(text, ':');
  if (colon == nullptr) {
    std::optional<uint32_t> id = parse_number(text);
    return id && *id >> 16 < kModules ? id : std::nullopt;
  }
  Text module_text;
  module_text.append({text, static_cast<size_t>(colon - text)});
  std::optional<uint32_t> module = parse_number(module_text.c_str());
  std::optional<uint32_t> number = parse_number(colon + 1);
  if (!module || !number || *module >= kModules || *number > 0xFFFF) return std::nullopt;
  return *module << 16 | *number;
}

} // namespace roq::tool::gvar
