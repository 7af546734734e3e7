// The processor time of this process so far, user and system.
#pragma once

#include <ctime>

namespace vesk::bench {

inline long long cpu_nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

}  // namespace vesk::bench
