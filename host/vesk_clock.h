// The clock that timers and rate limits go by: it never steps.
#pragma once

#include <cstdint>
#include <ctime>

namespace vesk {

[[nodiscard]] inline uint64_t monotonic_usecs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

}  // namespace vesk
