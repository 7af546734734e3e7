// While this lives, the process runs on one processor. Sender and receiver take one each: whether
// they share one would otherwise be a matter of luck, and show.
#pragma once

#include <sched.h>

namespace vesk::bench {

class pinned {
 public:
  // In vain where there is no such processor.
  explicit pinned(int processor) {
    sched_getaffinity(0, sizeof before_, &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(processor), &one);
    sched_setaffinity(0, sizeof one, &one);
  }
  ~pinned() { sched_setaffinity(0, sizeof before_, &before_); }
  pinned(const pinned &) = delete;
  pinned &operator=(const pinned &) = delete;

 private:
  cpu_set_t before_{};
};

inline constexpr int senders_processor = 0;
inline constexpr int servers_processor = 1;

}  // namespace vesk::bench
