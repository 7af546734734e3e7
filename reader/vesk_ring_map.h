// What lies where in a ring: every byte of its capacity belongs to one stretch.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "reader/vesk_ring_walk.h"

namespace vesk {

// In the order of what a person wants to know of first, that last.
enum class ring_part : uint8_t {
  header,       // the global header
  free,         // never written: the file ends before it
  stale,        // written, but not live: given up, or not counted yet
  not_reached,  // live as the global header says, but behind a break of the chain
  null,         // null entries of the chain
  live,         // the other entries
  damage,       // where the chain breaks; the global header where what it claims is not true
};

struct ring_stretch {
  uint32_t begin;
  uint32_t end;  // just behind it
  ring_part part;
};

struct [[nodiscard]] ring_map {
  std::optional<ring_state> state;      // empty when the global header cannot be trusted
  std::vector<ring_stretch> stretches;  // from 0 to the capacity; one for each entry; or none
  std::optional<ring_damage> damage;
};

// Arguments as for begin_walk().
ring_map map_ring(ring_bytes image, uint32_t capacity);

struct [[nodiscard]] part_total {
  uint64_t bytes;
  uint32_t stretches;  // of live and null entries: how many there are
};

part_total total_of(const ring_map &map, ring_part part);

// The map in cells of so many bytes each, the last one perhaps of less. A cell that holds several
// parts is the last of them in the order above.
[[nodiscard]] std::vector<ring_part> cells_of(const ring_map &map, uint32_t bytes_per_cell);

}  // namespace vesk
