// Walking the entries of a log file that lies in memory, in ring order, whatever its bytes are.
//
// Nothing in the bytes is trusted: every offset is checked against the image, and a walk moves
// forward only and wraps at most once, so that it ends after at most one entry for each 20 bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "format/vesk_format.h"

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

  [[nodiscard]] bool wrapped() const { return start > end; }
};

struct [[nodiscard]] ring_entry {
  uint32_t offset;  // of its header
  uint16_t uuid;
  uint16_t type;
  uint8_t flags;
  uint16_t prev_size;
  uint32_t secs;
  uint32_t usecs;
  ring_bytes data;  // as stored: up to three zero bytes of padding at its end belong to no one

  // By how much its time stamp lies before that of the entry before it, null entries not counted;
  // 0 where it does not. Several senders stamp their records themselves, so that a small step says
  // nothing about the clock: see clock_jump_usecs.
  uint64_t set_back_usecs;
};

// The least step back that people are shown: less comes from records that passed each other.
constexpr uint64_t clock_jump_usecs = 1'000'000;

// The time stamp in microseconds since 1970. Where the sender's microseconds are no fraction of a
// second, they count for nothing.
[[nodiscard]] uint64_t stamp_of(const ring_entry &entry);

// The entry with this header, `offset` and data, as it is without an entry before it.
inline ring_entry entry_of(const vesk_ehdr &header, uint32_t offset, ring_bytes data) {
  return {
      .offset = offset,
      .uuid = header.uuid,
      .type = header.type,
      .flags = header.flags,
      .prev_size = header.prev_size,
      .secs = header.secs,
      .usecs = header.usecs,
      .data = data,
      .set_back_usecs = 0,
  };
}

// The entry at an offset where a walk over this image has found one. What the walk knew of the
// entry before it, set_back_usecs, is not known here.
ring_entry entry_at(ring_bytes image, uint32_t offset);

enum class null_entries : uint8_t { skip, show };

struct [[nodiscard]] ring_walk {
  ring_bytes image;
  null_entries nulls = null_entries::skip;
  std::optional<ring_state> state;    // empty when the global header cannot be trusted
  std::optional<ring_damage> damage;  // complete once the walk has ended
  uint32_t offset = 0;                // of the entry that comes next
  uint32_t stretch_end = 0;           // where the run of entries ends that holds `offset`
  uint64_t last_stamp = 0;            // of the newest entry that the walk has passed
  bool ended = true;                  // a walk that was not begun has nothing before it
};

// Checks the global header and stands before the oldest entry. `capacity` is what the catalogue
// says of the file, or unknown_capacity. The image must outlive the walk and its entries.
ring_walk begin_walk(ring_bytes image, uint32_t capacity, null_entries nulls = null_entries::skip);

// A walk over what was added behind `offset`, where an earlier walk over the ring came to its end;
// `last_stamp` is that walk's. The offset lies between the ring's start and its end.
ring_walk resume_walk(ring_bytes image, const ring_state &ring, uint32_t offset,
                      uint64_t last_stamp);

// The next entry whose data are all there, or nothing when the walk has ended: at the ring's end,
// or at damage, which `damage` then names.
[[nodiscard]] std::optional<ring_entry> next_entry(ring_walk &walk);

}  // namespace vesk
