#include "process/log_file.h"

#include "support/owners.h"
#include "support/text.h"

namespace roq::process {

static constexpr size_t kPathRoom = 128;

int32_t write_log_file(const char* name, const char* format, va_list values) {
  char path[kPathRoom] = "/var/log/";
  append_cut(path, sizeof path, name);
  UniqueStream file(fopen(path, "wbe"));
  if (!file) return 0;
  vfprintf(file.get(), format, values);
  return fclose(file.release());
}

} // namespace roq::process
