// How fast a ring is written, and how long an entry lives in it. All from the entries' own time
// stamps; nothing is known where these do not say it.
#pragma once

#include <cstdint>
#include <optional>

#include "reader/vesk_ring_walk.h"

namespace vesk {

struct write_rate {
  uint64_t bytes;  // both more than 0
  uint64_t usecs;
};

struct [[nodiscard]] ring_turnover {
  std::optional<ring_state> state;  // empty when the global header cannot be trusted
  std::optional<uint64_t> oldest;   // time stamp of the oldest entry in ring order
  std::optional<uint64_t> span;     // from the oldest entry to the newest, in microseconds

  // The present rate: over the entries that reach into the newest quarter of the live entries'
  // bytes, or over those of the last 24 hours before the newest entry where these are more; at
  // least over the last two. The bytes are headers and data, without those of the first of these
  // entries: they were written before that time. Entries before a jump of the clock do not count.
  std::optional<write_rate> rate;

  // At that rate, in microseconds: how long it takes to write the whole room of the ring, which is
  // how long an entry lives; and the time when a ring that has not been full yet will be.
  std::optional<uint64_t> life;
  std::optional<uint64_t> full_at;

  std::optional<ring_damage> damage;
};

// Arguments as for begin_walk(). Behind a break of the chain lie newer entries, so that a broken
// chain shows its oldest entry only.
ring_turnover turnover_of(ring_bytes image, uint32_t capacity);

// Whether the ring has come to its capacity and gives up entries for new ones.
[[nodiscard]] bool has_been_full(const ring_state &ring);

// How long it takes to write so many bytes, in microseconds; nothing when the number is too large.
[[nodiscard]] std::optional<uint64_t> time_to_write(const write_rate &rate, uint32_t bytes);

}  // namespace vesk
