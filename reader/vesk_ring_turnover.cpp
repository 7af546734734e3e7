#include "reader/vesk_ring_turnover.h"

#include "format/vesk_ring.h"
#include "reader/vesk_ring_summary.h"

namespace vesk {

namespace {

constexpr uint64_t usecs_per_day = 86'400'000'000;

uint64_t bytes_of(const ring_entry &entry) {
  return entry_span(static_cast<uint32_t>(entry.data.size()));
}

bool follows_jump(const ring_entry &entry) {
  return entry.set_back_usecs >= clock_jump_usecs;
}

// The whole ring, as the first walk sees it.
struct whole_ring {
  uint32_t entries = 0;
  uint64_t bytes = 0;
  uint64_t newest = 0;  // time stamp
  bool clock_jumped = false;
};

whole_ring walk_all(ring_walk &walk, ring_turnover &turnover) {
  whole_ring ring;
  while (const auto entry = next_entry(walk)) {
    if (ring.entries == 0) turnover.oldest = stamp_of(*entry);
    ++ring.entries;
    ring.bytes += bytes_of(*entry);
    ring.newest = stamp_of(*entry);
    ring.clock_jumped = ring.clock_jumped || follows_jump(*entry);
  }
  return ring;
}

std::optional<uint64_t> span_of(const whole_ring &ring, const ring_turnover &turnover) {
  if (ring.entries < 2 || ring.clock_jumped) return {};
  const uint64_t oldest = *turnover.oldest;
  return ring.newest > oldest ? std::optional(ring.newest - oldest) : std::nullopt;
}

// The entries over which the present rate is taken.
struct recent_part {
  bool begun = false;
  uint64_t first = 0;  // time stamp
  uint64_t bytes = 0;  // behind its first entry
};

std::optional<write_rate> present_rate(ring_walk walk, const whole_ring &ring) {
  const uint64_t older_bytes = ring.bytes - ring.bytes / 4;
  recent_part part;
  uint32_t number = 0;
  uint64_t passed = 0;
  while (const auto entry = next_entry(walk)) {
    const uint64_t stamp = stamp_of(*entry);
    passed += bytes_of(*entry);
    ++number;
    const bool recent =
        passed > older_bytes || stamp + usecs_per_day >= ring.newest || number + 1 >= ring.entries;
    if (part.begun && !follows_jump(*entry)) {
      part.bytes += bytes_of(*entry);
    } else if (recent) {
      part = {true, stamp, 0};
    } else {
      part = {};
    }
  }
  if (part.bytes == 0 || ring.newest <= part.first) return {};
  return write_rate{part.bytes, ring.newest - part.first};
}

void extrapolate(ring_turnover &turnover, uint64_t newest) {
  const ring_state &ring = *turnover.state;
  turnover.life = time_to_write(*turnover.rate, ring.max - VESK_GHEADER_SIZE);
  if (has_been_full(ring)) return;
  const auto wait = time_to_write(*turnover.rate, ring.max - ring.end);
  uint64_t full_at = 0;
  if (wait && !__builtin_add_overflow(newest, *wait, &full_at)) turnover.full_at = full_at;
}

}  // namespace

ring_turnover turnover_of(ring_bytes image, uint32_t capacity) {
  ring_turnover turnover;
  ring_walk walk = begin_walk(image, capacity);
  const ring_walk from_start = walk;
  const whole_ring ring = walk_all(walk, turnover);
  turnover.state = walk.state;
  turnover.damage = walk.damage;
  if (!reached_end(walk)) return turnover;
  turnover.span = span_of(ring, turnover);
  turnover.rate = present_rate(from_start, ring);
  if (turnover.rate) extrapolate(turnover, ring.newest);
  return turnover;
}

bool has_been_full(const ring_state &ring) {
  return ring.wrapped() || ring.start != VESK_GHEADER_SIZE;
}

std::optional<uint64_t> time_to_write(const write_rate &rate, uint32_t bytes) {
  // In two parts, so that only a result that is too large is one. The rest of the division is
  // less than the rate's bytes, which are no more than a ring holds.
  uint64_t whole = 0, time = 0;
  const uint64_t rest = rate.usecs % rate.bytes;
  if (__builtin_mul_overflow(rate.usecs / rate.bytes, uint64_t{bytes}, &whole)) return {};
  if (__builtin_add_overflow(whole, rest * bytes / rate.bytes, &time)) return {};
  return time;
}

}  // namespace vesk
