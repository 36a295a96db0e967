// The monotonic clock as the set sees it.
#pragma once

#include <cstdint>
#include <ctime>

namespace benchtv {

inline std::int64_t monotonicMicros() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000;
}

}  // namespace benchtv
