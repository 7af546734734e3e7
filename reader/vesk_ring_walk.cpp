#include "reader/vesk_ring_walk.h"

#include <cstring>
#include <utility>

#include "format/vesk_checksum.h"
#include "format/vesk_ring.h"

namespace vesk {

namespace {

ring_damage damage_at(size_t offset, std::string reason) {
  return {static_cast<uint32_t>(offset), std::move(reason)};
}

// What makes the global header unfit to walk by, if anything.
std::optional<ring_damage> gheader_damage(ring_bytes image, vesk_gheader &ret_header) {
  if (image.empty()) return damage_at(0, "the file is empty");
  if (image.size() < sizeof ret_header) {
    return damage_at(image.size(), "the file ends inside its global header");
  }
  std::memcpy(&ret_header, image.data(), sizeof ret_header);
  const vesk_gheader &header = ret_header;
  if (std::memcmp(header.magic, "vesk", sizeof header.magic) != 0) {
    return damage_at(0, "not a log file: it does not begin with \"vesk\"");
  }
  if (header.version != VESK_VERSION) {
    return damage_at(offsetof(vesk_gheader, version),
                     "format version " + std::to_string(header.version) + " is not known");
  }
  if (!checksum_holds(header)) {
    return damage_at(offsetof(vesk_gheader, checksum),
                     "the checksum of the global header does not hold");
  }

  const uint64_t max = header.max, start = header.start, end = header.end;
  if (start < VESK_GHEADER_SIZE || start + VESK_EHDR_SIZE >= max) {
    return damage_at(offsetof(vesk_gheader, start), "start " + std::to_string(start) +
                                                        " is no place for an entry in a ring of " +
                                                        std::to_string(max) + " bytes");
  }
  if (end < VESK_GHEADER_SIZE || end > max) {
    return damage_at(
        offsetof(vesk_gheader, end),
        "end " + std::to_string(end) + " lies outside a ring of " + std::to_string(max) + " bytes");
  }
  // A small ring that gave up everything it held looks like this too, until its next record.
  if (start == end && start != VESK_GHEADER_SIZE) {
    return damage_at(
        offsetof(vesk_gheader, start),
        "start and end are both " + std::to_string(start) + ": no entry can be reached");
  }
  return {};
}

// What a header of good checksum claims although the file shows otherwise. The entries may be sound
// all the same, so it counts only where the chain shows no damage of its own.
std::optional<ring_damage> false_claim(const ring_walk &walk, uint32_t capacity) {
  const uint32_t max = walk.state->max;
  if (capacity != unknown_capacity && max != capacity) {
    return damage_at(offsetof(vesk_gheader, max), "capacity " + std::to_string(max) +
                                                      " is not the " + std::to_string(capacity) +
                                                      " of this file");
  }
  if (walk.image.size() > max) {
    return damage_at(max,
                     "the file goes on beyond its capacity of " + std::to_string(max) + " bytes");
  }
  return {};
}

void end_with(ring_walk &walk, std::string reason) {
  walk.damage = damage_at(walk.offset, std::move(reason));
  walk.ended = true;
}

// Reads the header at the walk's offset; false when there is none, which ends the walk.
bool read_header(ring_walk &walk, vesk_ehdr &header) {
  const size_t size = walk.image.size();
  if (walk.offset >= size) {
    end_with(walk, "no entry: the file ends at " + std::to_string(size));
    return false;
  }
  if (size - walk.offset < sizeof header) {
    end_with(walk, "the entry header is cut off: the file ends at " + std::to_string(size));
    return false;
  }
  std::memcpy(&header, walk.image.data() + walk.offset, sizeof header);
  if (!checksum_holds(header)) {
    end_with(walk, "the checksum of the entry header does not hold");
    return false;
  }
  return true;
}

// Moves on from an entry that ends at `next`, around the ring's end if it lies there.
void step_to(ring_walk &walk, uint64_t next) {
  const ring_state &ring = *walk.state;
  const bool before_wrap = walk.stretch_end != ring.end;
  if (next > walk.stretch_end) {
    end_with(walk, "the entry runs to " + std::to_string(next) + ", over the " +
                       (before_wrap ? "ring's capacity " : "ring's end ") +
                       std::to_string(walk.stretch_end));
  } else if (next < walk.stretch_end) {
    walk.offset = static_cast<uint32_t>(next);
  } else if (before_wrap && ring.end != VESK_GHEADER_SIZE) {
    walk.offset = VESK_GHEADER_SIZE;
    walk.stretch_end = ring.end;
  } else {
    walk.ended = true;
  }
}

// One entry of the chain, null entries included.
std::optional<ring_entry> step(ring_walk &walk) {
  vesk_ehdr header;
  if (walk.ended || !read_header(walk, header)) return {};

  const uint32_t offset = walk.offset;
  const uint64_t next = uint64_t{offset} + entry_span(header.size);
  if (next > walk.image.size()) {
    end_with(walk, "the entry runs to " + std::to_string(next) + ", but the file ends at " +
                       std::to_string(walk.image.size()));
    return {};
  }
  step_to(walk, next);
  return entry_of(header, offset, walk.image.subspan(offset + VESK_EHDR_SIZE, header.size));
}

void compare_with_last(ring_walk &walk, ring_entry &entry) {
  const uint64_t stamp = stamp_of(entry);
  if (stamp < walk.last_stamp) entry.set_back_usecs = walk.last_stamp - stamp;
  walk.last_stamp = stamp;
}

}  // namespace

uint64_t stamp_of(const ring_entry &entry) {
  constexpr uint32_t usecs_per_second = 1'000'000;
  return uint64_t{entry.secs} * usecs_per_second +
         (entry.usecs < usecs_per_second ? entry.usecs : 0);
}

ring_entry entry_at(ring_bytes image, uint32_t offset) {
  vesk_ehdr header;
  std::memcpy(&header, image.data() + offset, sizeof header);
  return entry_of(header, offset, image.subspan(offset + VESK_EHDR_SIZE, header.size));
}

ring_walk begin_walk(ring_bytes image, uint32_t capacity, null_entries nulls) {
  ring_walk walk;
  walk.image = image;
  walk.nulls = nulls;
  vesk_gheader header;
  walk.damage = gheader_damage(image, header);
  if (walk.damage) return walk;

  const ring_state ring{header.max, header.start, header.end};
  walk.state = ring;
  walk.offset = ring.start;
  walk.stretch_end = ring.wrapped() ? ring.max : ring.end;
  walk.ended = ring.start == ring.end;
  walk.damage = false_claim(walk, capacity);
  return walk;
}

ring_walk resume_walk(ring_bytes image, const ring_state &ring, uint32_t offset,
                      uint64_t last_stamp) {
  ring_walk walk;
  walk.image = image;
  walk.state = ring;
  walk.last_stamp = last_stamp;
  const bool before_wrap = ring.wrapped() && offset >= ring.start;
  walk.offset = before_wrap && offset == ring.max ? VESK_GHEADER_SIZE : offset;
  walk.stretch_end = before_wrap && offset < ring.max ? ring.max : ring.end;
  walk.ended = walk.offset == ring.end;
  return walk;
}

std::optional<ring_entry> next_entry(ring_walk &walk) {
  while (auto entry = step(walk)) {
    const bool null = entry->type == VESK_NULL_ENTRY_TYPE;
    if (!null) compare_with_last(walk, *entry);
    if (!null || walk.nulls == null_entries::show) return entry;
  }
  return {};
}

}  // namespace vesk
