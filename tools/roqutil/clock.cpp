#include "clock.h"

#include <time.h>

namespace roq::tool {

int64_t nanoseconds_now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return int64_t{time.tv_sec} * kNanosecondsPerSecond + time.tv_nsec;
}

void pause_for(uint32_t milliseconds) {
  timespec pause{};
  pause.tv_sec = static_cast<time_t>(milliseconds / 1000);
  pause.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000;
  nanosleep(&pause, nullptr);
}

} // namespace roq::tool
