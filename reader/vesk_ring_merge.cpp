#include "reader/vesk_ring_merge.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vesk {

namespace {

constexpr uint64_t never = std::numeric_limits<uint64_t>::max();

}  // namespace

ring_merge::ring_merge(std::vector<ring_walk> walks)
    : walks_(std::move(walks)), heads_(walks_.size()), stamps_(walks_.size()) {
  for (size_t source = 0; source < walks_.size(); ++source) advance(source);
}

void ring_merge::advance(size_t source) {
  heads_[source] = next_entry(walks_[source]);
  stamps_[source] = heads_[source] ? stamp_of(*heads_[source]) : never;
}

std::optional<merged_entry> ring_merge::next() {
  const auto first = std::min_element(stamps_.begin(), stamps_.end());
  if (first == stamps_.end() || *first == never) return {};
  const auto source = static_cast<size_t>(first - stamps_.begin());
  merged_entry merged{*heads_[source], source};
  advance(source);
  return merged;
}

}  // namespace vesk
