// The entries of several log files in one order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "reader/vesk_ring_walk.h"

namespace vesk {

struct merged_entry {
  ring_entry entry;
  size_t source;  // which of the walks it is from
};

// Merges walks by time stamp. The order of each ring is kept: an entry whose stamp steps back comes
// right behind the one before it. At one time the walk that was given first goes first.
class ring_merge {
 public:
  explicit ring_merge(std::vector<ring_walk> walks);

  // The next entry of all, or nothing when every walk has ended.
  [[nodiscard]] std::optional<merged_entry> next();

  // The walks in the order in which they were given. Once all entries are taken, each has its
  // damage.
  [[nodiscard]] const std::vector<ring_walk> &walks() const { return walks_; }

 private:
  void advance(size_t source);

  std::vector<ring_walk> walks_;
  std::vector<std::optional<ring_entry>> heads_;  // the entry of each walk that comes next,
  std::vector<uint64_t> stamps_;                  // and its time stamp
};

}  // namespace vesk
