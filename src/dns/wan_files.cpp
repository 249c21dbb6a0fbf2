#include "dns/wan_files.h"

#include "dns/text_file.h"
#include "support/numbers.h"
#include "support/owners.h"
#include "support/text.h"
#include <climits>
#include <cstdio>
#include <cstring>
#include <roqutil/dns.h>

namespace roq::dns {
namespace {

using WanPath = char[PATH_MAX];

// False when the path is too long for any file.
[[nodiscard]] bool make_wan_path(WanPath& path, const char* interface, const char* file) {
  const int length = snprintf(path, sizeof path, "/var/wan/%s/%s", interface, file);
  return length > 0 && static_cast<size_t>(length) < sizeof path;
}

const char* first_word(char* line) {
  while (is_space(*line))
    ++line;
  cut_at_space(line);
  return line;
}

} // namespace

int32_t read_name_servers(const char* interface) {
  if (interface == nullptr) {
    copy_cut(g_primary, sizeof g_primary, "127.0.0.1");
    return 0;
  }
  WanPath path;
  if (!make_wan_path(path, interface, "dns")) return -1;
  UniqueStream file(fopen(path, "re"));
  if (!file) return -1;

  constexpr char keyword[] = "nameserver ";
  bool found = false;
  char line[256];
  // Every line counts, not only those of servers: a server that is not on the first line never becomes primary.
  for (bool first = true; fgets(line, sizeof line, file.get()) != nullptr && line[0] != '\0'; first = false) {
    const char* server = strstr(line, keyword);
    if (server == nullptr) continue;
    copy_cut(first ? g_primary : g_secondary, sizeof g_primary, server + strlen(keyword));
    found = true;
  }
  return found ? 0 : -1;
}

int32_t read_wan_address(const char* interface) {
  memset(g_wanipaddr, 0, sizeof g_wanipaddr);
  if (interface == nullptr) return 0;
  WanPath path;
  char line[512];
  if (!make_wan_path(path, interface, "ipaddr") || !read_first_line(path, line)) return -1;
  const char* address = first_word(line);
  if (*address == '\0') return -1;
  copy_cut(g_wanipaddr, sizeof g_wanipaddr, address);
  return 0;
}

} // namespace roq::dns
