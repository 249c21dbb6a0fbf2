#include "buffers.h"

#include "cli.h"
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace roq::tool {

void end_out_of_memory() { exit(fail(kRefused, "out of memory: the system gives no more; free some and try again")); }

void Text::clear() {
  bytes_.clear();
  bytes_.add('\0');
}

void Text::append(std::string_view more) {
  if (more.empty()) return;
  size_t old = size();
  // A part of this very text moves with it.
  auto distance = reinterpret_cast<uintptr_t>(more.data()) - reinterpret_cast<uintptr_t>(bytes_.data());
  bytes_.resize(old + more.size() + 1, '\0');
  memmove(bytes_.data() + old, distance < old ? bytes_.data() + distance : more.data(), more.size());
  bytes_.last() = '\0';
}

void Text::append(char c, size_t times) {
  for (size_t count = 0; count < times; ++count)
    append(c);
}

void Text::format(const char* form, ...) {
  va_list values;
  va_start(values, form);
  format_list(form, values);
  va_end(values);
}

void Text::format_list(const char* form, va_list values) {
  va_list again;
  va_copy(again, values);
  int length = vsnprintf(nullptr, 0, form, again);
  va_end(again);
  if (length < 0) return;
  size_t old = size();
  bytes_.resize(old + static_cast<size_t>(length) + 1, '\0');
  vsnprintf(bytes_.data() + old, static_cast<size_t>(length) + 1, form, values);
}

} // namespace roq::tool
