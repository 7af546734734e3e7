#include "reader/vesk_ring_summary.h"

namespace vesk {

ring_summary summarize(ring_bytes image, uint32_t capacity) {
  ring_summary summary{};
  ring_walk walk = begin_walk(image, capacity);
  while (auto entry = next_entry(walk)) {
    if (!summary.oldest) summary.oldest = entry;
    summary.newest = entry;
    ++summary.entries;
  }
  summary.state = walk.state;
  summary.damage = walk.damage;
  return summary;
}

bool reached_end(const ring_walk &walk) {
  if (!walk.state) return false;
  // A break lies among the entries; what the header claims wrongly shows before or behind them.
  const bool broken = walk.damage && walk.damage->offset >= VESK_GHEADER_SIZE &&
                      walk.damage->offset < walk.state->max;
  return !broken;
}

uint32_t used_bytes(const ring_state &ring) {
  const uint32_t room = ring.max - VESK_GHEADER_SIZE;
  return ring.wrapped() ? room - (ring.start - ring.end) : ring.end - ring.start;
}

uint32_t fill_percent(const ring_state &ring) {
  const uint64_t room = ring.max - VESK_GHEADER_SIZE;
  return static_cast<uint32_t>(uint64_t{used_bytes(ring)} * 100 / room);
}

}  // namespace vesk
