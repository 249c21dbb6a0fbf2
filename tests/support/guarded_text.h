// Texts that begin or end where an inaccessible page ends or begins: one access beyond them ends the process.
#ifndef ROQ_TESTS_SUPPORT_GUARDED_TEXT_H
#define ROQ_TESTS_SUPPORT_GUARDED_TEXT_H

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace roq::test {

// Room between two inaccessible pages.
class GuardedRoom {
public:
  explicit GuardedRoom(size_t size) {
    page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    room_ = (size + page_ - 1) / page_ * page_;
    void* base = mmap(nullptr, page_ + room_ + page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) abort();
    first_ = static_cast<char*>(base) + page_;
    if (mprotect(first_, room_, PROT_READ | PROT_WRITE) != 0) abort();
  }
  ~GuardedRoom() { munmap(first_ - page_, page_ + room_ + page_); }
  GuardedRoom(const GuardedRoom&) = delete;
  GuardedRoom& operator=(const GuardedRoom&) = delete;

  size_t size() const { return room_; }
  char* at_start() { return first_; }
  char* at_end(size_t size) { return first_ + room_ - size; }

  // The bytes, without a terminator of their own.
  char* hold_at_start(std::string_view bytes) { return hold(at_start(), bytes); }
  char* hold_at_end(std::string_view bytes) { return hold(at_end(bytes.size()), bytes); }

private:
  static char* hold(char* place, std::string_view bytes) {
    if (!bytes.empty()) memcpy(place, bytes.data(), bytes.size());
    return place;
  }

  char* first_;
  size_t page_, room_;
};

} // namespace roq::test

#endif
