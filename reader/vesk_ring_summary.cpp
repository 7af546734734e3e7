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

uint32_t fill_percent(const ring_state &ring) {
  const uint64_t room = ring.max - VESK_GHEADER_SIZE;
  const uint64_t live = ring.wrapped() ? room - (ring.start - ring.end) : ring.end - ring.start;
  return static_cast<uint32_t>(live * 100 / room);
}

}  // namespace vesk
