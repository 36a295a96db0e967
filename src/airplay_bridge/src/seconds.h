// Clocks read as seconds, the unit in which the service keeps its times.
#pragma once

#include <ctime>

namespace norvale {

// A clock that cannot be read.
inline constexpr double kNoTime = -1.0;

// Seconds of |clock|, or kNoTime when it cannot be read. Any thread.
inline double secondsOf(clockid_t clock) {
  timespec now{};
  if (clock_gettime(clock, &now) != 0) {
    return kNoTime;
  }
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

inline double monotonicSeconds() { return secondsOf(CLOCK_MONOTONIC); }

}  // namespace norvale
