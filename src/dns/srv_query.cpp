#include "dns/srv.h"

#include "dns/wire.h"
#include <cstring>

namespace roq::dns {
namespace {

// Empty labels vanish, so that leading, trailing and doubled dots are dropped.
void write_labels(Writer& out, const char* name, const char* end) {
  while (name < end) {
    const auto* dot = static_cast<const char*>(memchr(name, '.', static_cast<size_t>(end - name)));
    const char* label_end = dot != nullptr ? dot : end;
    if (label_end > name) out.label(name, static_cast<size_t>(label_end - name));
    name = label_end + 1;
  }
}

} // namespace

size_t write_srv_query(std::span<uint8_t> packet) {
  Writer out(packet);
  begin_query(out, kSrvQueryId);
  const size_t length = strnlen(g_resolvename, sizeof g_resolvename);
  // Without a dot the whole name is one label, even when it is empty.
  if (memchr(g_resolvename, '.', length) == nullptr)
    out.label(g_resolvename, length);
  else
    write_labels(out, g_resolvename, g_resolvename + length);
  return end_query(out, kTypeSrv);
}

} // namespace roq::dns
