#include "reader/vesk_sender_totals.h"

#include <algorithm>

#include "format/vesk_ring.h"

namespace vesk {

namespace {

void merge(sender_totals &totals, const sender_totals &other) {
  totals.first = totals.entries == 0 ? other.first : std::min(totals.first, other.first);
  totals.last = std::max(totals.last, other.last);
  totals.entries += other.entries;
  totals.bytes += other.bytes;
  totals.clock_jumped = totals.clock_jumped || other.clock_jumped;
}

}  // namespace

std::optional<double> entries_per_hour(const sender_totals &totals) {
  constexpr double usecs_per_hour = 3.6e9;
  if (totals.entries < 2 || totals.clock_jumped || totals.last <= totals.first) return {};
  const auto intervals = static_cast<double>(totals.entries - 1);
  return intervals * usecs_per_hour / static_cast<double>(totals.last - totals.first);
}

void sender_count::add(const ring_entry &entry) {
  const uint64_t stamp = stamp_of(entry);
  const uint32_t bytes = entry_span(static_cast<uint32_t>(entry.data.size()));
  const auto [last, is_first] = last_stamps_.try_emplace(entry.uuid, stamp);
  const bool jumped = stamp < last->second && last->second - stamp >= clock_jump_usecs;
  last->second = stamp;
  merge(senders_[entry.uuid], {1, bytes, stamp, stamp, jumped});
}

std::vector<std::pair<uint16_t, sender_totals>> sender_count::by_bytes() const {
  std::vector<std::pair<uint16_t, sender_totals>> sorted(senders_.begin(), senders_.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto &a, const auto &b) { return a.second.bytes > b.second.bytes; });
  return sorted;
}

sender_totals sender_count::all() const {
  sender_totals all;
  for (const auto &[uuid, totals] : senders_) merge(all, totals);
  return all;
}

}  // namespace vesk
