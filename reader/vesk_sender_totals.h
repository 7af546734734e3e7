// What each sender put into log files.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "reader/vesk_ring_walk.h"

namespace vesk {

struct sender_totals {
  uint64_t entries = 0;
  uint64_t bytes = 0;         // that they take, headers and padding included
  uint64_t first = 0;         // the earliest and the latest time stamp, in microseconds;
  uint64_t last = 0;          // 0 without entries
  bool clock_jumped = false;  // back, between two entries of a ring
};

// How many entries an hour came between the first and the last; nothing where that time is not
// known or no time at all.
[[nodiscard]] std::optional<double> entries_per_hour(const sender_totals &totals);

class sender_count {
 public:
  // Entries are compared only with those of the same ring.
  void begin_ring() { last_stamps_.clear(); }
  void add(const ring_entry &entry);

  // The most bytes first.
  [[nodiscard]] std::vector<std::pair<uint16_t, sender_totals>> by_bytes() const;

  [[nodiscard]] sender_totals all() const;

 private:
  std::map<uint16_t, sender_totals> senders_;
  std::map<uint16_t, uint64_t> last_stamps_;  // of the senders in this ring
};

}  // namespace vesk
