// Asks a validator about a text where it hurts: at both ends of accessible memory, looking at what it leaves behind.
#ifndef ROQ_TESTS_UNIT_VALIDATE_JUDGE_H
#define ROQ_TESTS_UNIT_VALIDATE_JUDGE_H

#include "support/guarded_text.h"
#include <cerrno>
#include <cstdint>
#include <gtest/gtest.h>
#include <span>
#include <string>

namespace roq::test {

using Predicate = uint32_t (*)(const char*);

struct TextCase {
  const char* text;
  uint32_t expected;
  const char* why;
};

// The verdict on the text, which has to be the same wherever the text lies, and to leave the text and errno alone.
template <typename Judge> uint32_t judge_in_place(Judge verdict_on, const std::string& text) {
  static GuardedRoom room(1 << 18);
  std::string bytes = text + '\0';
  uint32_t verdicts[2];
  for (int side = 0; side < 2; ++side) {
    char* place = side == 0 ? room.hold_at_start(bytes) : room.hold_at_end(bytes);
    errno = 4711;
    verdicts[side] = verdict_on(place);
    EXPECT_EQ(errno, 4711) << "errno was changed by \"" << text << '"';
    EXPECT_EQ(std::string(place, bytes.size()), bytes) << "the text was changed";
  }
  EXPECT_EQ(verdicts[0], verdicts[1]) << "the verdict depends on the place of \"" << text << '"';
  return verdicts[0];
}

inline void expect_verdicts(Predicate predicate, std::span<const TextCase> cases) {
  for (const TextCase& each : cases) {
    EXPECT_EQ(judge_in_place(predicate, each.text), each.expected) << '"' << each.text << "\": " << each.why;
  }
}

} // namespace roq::test

#endif
