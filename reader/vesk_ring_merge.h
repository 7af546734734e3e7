// The entries of several log files in one order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
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
  explicit ring_merge(std::vector<ring_walk> walks)
      : walks_(std::move(walks)), heads_(walks_.size()), stamps_(walks_.size()) {
    for (size_t source = 0; source < walks_.size(); ++source) advance(source);
  }

  // The next entry of all, or nothing when every walk has ended.
  [[nodiscard]] std::optional<merged_entry> next() {
    const auto first = std::min_element(stamps_.begin(), stamps_.end());
    if (first == stamps_.end() || *first == never) return {};
    const auto source = static_cast<size_t>(first - stamps_.begin());
    merged_entry merged{*heads_[source], source};
    advance(source);
    return merged;
  }

  // The walks in the order in which they were given. Once all entries are taken, each has its
  // damage.
  [[nodiscard]] const std::vector<ring_walk> &walks() const { return walks_; }

 private:
  static constexpr uint64_t never = UINT64_MAX;

  void advance(size_t source) {
    heads_[source] = next_entry(walks_[source]);
    stamps_[source] = heads_[source] ? stamp_of(*heads_[source]) : never;
  }

  std::vector<ring_walk> walks_;
  std::vector<std::optional<ring_entry>> heads_;  // the entry of each walk that comes next,
  std::vector<uint64_t> stamps_;                  // and its time stamp
};

}  // namespace vesk
