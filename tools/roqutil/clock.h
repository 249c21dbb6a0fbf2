// Time that passes.
#ifndef ROQ_TOOL_CLOCK_H
#define ROQ_TOOL_CLOCK_H

#include <cstdint>

namespace roq::tool {

inline constexpr int64_t kNanosecondsPerSecond = 1000000000;

// Of a clock that only goes forward.
int64_t nanoseconds_now();
inline double seconds_since(int64_t start) { return static_cast<double>(nanoseconds_now() - start) / 1e9; }

// Waits; a signal may end it early.
void pause_for(uint32_t milliseconds);

} // namespace roq::tool

#endif
