#include "process/lookup.h"

#include "support/numbers.h"
#include "support/owners.h"
#include "support/text.h"
#include <fcntl.h>

namespace roq::process {
namespace {

constexpr size_t kPathRoom = 128 - sizeof "/proc"; // a path is relative to "/proc/"
constexpr size_t kCommandLineRoom = 128;
constexpr size_t kReadLimit = 126;
constexpr size_t kNameRoom = 240;
constexpr uint32_t kNobody = 0xFFFFFFFF;
constexpr uint32_t kInit = 1;

bool names_process(const char* entry) { return *entry >= '0' && *entry <= '9'; }

// As strtol with base 0.
uint32_t id_of(const char* entry) {
  bool is_hexadecimal = entry[0] == '0' && (entry[1] == 'x' || entry[1] == 'X');
  unsigned base = is_hexadecimal ? 16 : entry[0] == '0' ? 8 : 10;
  return static_cast<uint32_t>(parse_signed(entry, base).value);
}

UniqueFd open_command_line(int directory, const char* entry) {
  char path[kPathRoom];
  copy_cut(path, sizeof path, entry);
  append_cut(path, sizeof path, "/cmdline");
  return UniqueFd(openat(directory, path, O_RDONLY | O_CLOEXEC));
}

// Reads the beginning of a process's command line, up to its first line feed, and joins its words. False when there is
// nothing to read. The kernel gives in one read all that there is.
bool read_command_line(int directory, const char* entry, char (&text)[kCommandLineRoom]) {
  UniqueFd file = open_command_line(directory, entry);
  if (!file.is_open()) return false;
  ssize_t length = read(file.get(), text, kReadLimit);
  if (length <= 0) return false;
  auto* line_feed = static_cast<char*>(memchr(text, '\n', static_cast<size_t>(length)));
  char* end = line_feed != nullptr ? line_feed + 1 : text + length;
  end[0] = end[1] = '\0';
  join_words(text);
  return true;
}

// Process ids on the heap, with room kept for a terminator.
class IdList {
public:
  bool is_empty() const { return size_ == 0; }

  [[nodiscard]] bool append(uint32_t id) {
    auto* grown = static_cast<uint32_t*>(realloc(ids_.get(), (size_ + 2) * sizeof(uint32_t)));
    if (grown == nullptr) return false;
    (void)ids_.release(); // realloc has taken the old array over
    ids_.reset(grown);
    grown[size_++] = id;
    grown[size_] = 0;
    return true;
  }

  [[nodiscard]] uint32_t* release() { return ids_.release(); }

private:
  MallocPtr<uint32_t> ids_;
  size_t size_ = 0;
};

void report_exhausted_memory() { puts("cms: Out of memeory!"); }

// False when memory is exhausted.
bool collect(DIR* processes, const char* name, IdList& found) {
  char command_line[kCommandLineRoom];
  while (const dirent64* entry = readdir64(processes)) {
    if (!names_process(entry->d_name)) continue;
    if (!read_command_line(dirfd(processes), entry->d_name, command_line)) continue;
    if (strstr(command_line, name) != nullptr && !found.append(id_of(entry->d_name))) return false;
  }
  return true;
}

// One entry and no terminator, and that is meant.
uint32_t* list_of_nobody(const char* name) {
  auto* list = static_cast<uint32_t*>(malloc(sizeof(uint32_t)));
  if (list == nullptr)
    report_exhausted_memory();
  else
    *list = strcmp(name, "init") == 0 ? kInit : kNobody;
  return list;
}

void copy_without_blanks(char (&out)[kNameRoom], const char* name) {
  size_t length = 0;
  for (; *name != '\0' && length < kNameRoom - 1; ++name) {
    if (*name != ' ') out[length++] = *name;
  }
  out[length] = '\0';
}

} // namespace

void join_words(char* words) {
  char* out = words;
  for (const char* in = words; in[0] != '\0' || in[1] != '\0'; ++in) {
    if (*in != '\0') *out++ = *in;
  }
  *out = '\0';
}

uint32_t* find_processes(const char* name) {
  UniqueDir processes(opendir("/proc"));
  if (!processes) {
    printf("cms:Cannot open /proc");
    return nullptr;
  }
  IdList found;
  if (!collect(processes.get(), name, found)) {
    report_exhausted_memory();
    return nullptr;
  }
  return found.is_empty() ? list_of_nobody(name) : found.release();
}

uint32_t find_first_process(const char* name) {
  char without_blanks[kNameRoom];
  copy_without_blanks(without_blanks, name);
  MallocPtr<uint32_t> found(find_processes(without_blanks));
  return found ? *found.get() : 0;
}

} // namespace roq::process
