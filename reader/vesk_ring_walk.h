// Walking the entries of a log file that lies in memory, in ring order, whatever its bytes are.
//
// Nothing in the bytes is trusted: every offset is checked against the image, and a walk moves
// forward only and wraps at most once, so that it ends after at most one entry for each 20 bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "store/vesk_format.h"

namespace vesk {

// A log file's bytes; entries point into them.
using ring_bytes = std::span<const uint8_t>;

// For a file that the catalogue does not know: its header's own word is taken for its capacity.
constexpr uint32_t unknown_capacity = 0;

struct ring_damage {
  uint32_t offset;  // where in the file the damage shows
  std::string reason;
};

// The ring's state as its global header gives it.
struct ring_state {
  uint32_t max;    // capacity
  uint32_t start;  // the oldest entry
  uint32_t end;    // just behind the newest entry

  bool wrapped() const { return start > end; }
};

struct ring_entry {
  uint32_t offset;  // of its header
  uint16_t uuid;
  uint16_t type;
  uint8_t flags;
  uint16_t prev_size;
  uint32_t secs;
  uint32_t usecs;
  ring_bytes data;  // as stored: up to three zero bytes of padding at its end belong to no one
};

enum class null_entries : uint8_t { skip, show };

struct ring_walk {
  ring_bytes image;
  null_entries nulls = null_entries::skip;
  std::optional<ring_state> state;    // empty when the global header cannot be trusted
  std::optional<ring_damage> damage;  // complete once the walk has ended
  uint32_t offset = 0;                // of the entry that comes next
  uint32_t stretch_end = 0;           // where the run of entries ends that holds `offset`
  bool ended = false;
};

// Checks the global header and stands before the oldest entry. `capacity` is what the catalogue
// says of the file, or unknown_capacity. The image must outlive the walk and its entries.
ring_walk begin_walk(ring_bytes image, uint32_t capacity, null_entries nulls = null_entries::skip);

// The next entry whose data are all there, or nothing when the walk has ended: at the ring's end,
// or at damage, which `damage` then names.
std::optional<ring_entry> next_entry(ring_walk &walk);

}  // namespace vesk
