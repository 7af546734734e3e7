// What a log file holds, in a few figures.
#pragma once

#include <cstdint>
#include <optional>

#include "reader/vesk_ring_walk.h"

namespace vesk {

struct [[nodiscard]] ring_summary {
  std::optional<ring_state> state;   // empty when the global header cannot be trusted
  uint32_t entries;                  // that can be read, null entries not counted
  std::optional<ring_entry> oldest;  // the first and the last of them in ring order;
  std::optional<ring_entry> newest;  // their data lie in the image
  std::optional<ring_damage> damage;
};

// Walks the whole ring; arguments as for begin_walk().
ring_summary summarize(ring_bytes image, uint32_t capacity);

// Whether a walk that has ended came to the ring's end. Damage of the global header alone does not
// count.
[[nodiscard]] bool reached_end(const ring_walk &walk);

// How many bytes the live entries and the null entries among them take.
[[nodiscard]] uint32_t used_bytes(const ring_state &ring);

// How much of the ring's room they take, in percent, rounded down.
[[nodiscard]] uint32_t fill_percent(const ring_state &ring);

}  // namespace vesk
