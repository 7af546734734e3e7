#include "reader/vesk_ring_map.h"

#include <algorithm>

#include "format/vesk_ring.h"
#include "reader/vesk_ring_summary.h"

namespace vesk {

namespace {

void add(ring_map &map, uint32_t begin, uint32_t end, ring_part part) {
  if (begin < end) map.stretches.push_back({begin, end, part});
}

// What is not live, on both sides of the place where the file ends.
void add_dead(ring_map &map, uint32_t begin, uint32_t end, size_t file_size) {
  const uint32_t written = static_cast<uint32_t>(std::clamp<size_t>(file_size, begin, end));
  add(map, begin, written, ring_part::stale);
  add(map, written, end, ring_part::free);
}

// The break at `offset`, and what the chain would have led to from there.
void add_break(ring_map &map, uint32_t offset) {
  const ring_state &ring = *map.state;
  const bool wrap_is_ahead = ring.wrapped() && offset >= ring.start;
  const uint32_t run_end = wrap_is_ahead ? ring.max : ring.end;
  const bool overran = !map.stretches.empty() && map.stretches.back().begin == offset;
  if (overran) {
    // The entry can be read, but its size cannot be right.
    map.stretches.back().end = run_end;
    map.stretches.back().part = ring_part::damage;
  } else {
    const uint32_t header_end = offset + std::min(VESK_EHDR_SIZE, run_end - offset);
    add(map, offset, header_end, ring_part::damage);
    add(map, header_end, run_end, ring_part::not_reached);
  }
  if (wrap_is_ahead) add(map, VESK_GHEADER_SIZE, ring.end, ring_part::not_reached);
}

void add_entries(ring_map &map, ring_walk &walk) {
  while (const auto entry = next_entry(walk)) {
    const uint32_t end = entry->offset + entry_span(static_cast<uint32_t>(entry->data.size()));
    const bool null = entry->type == VESK_NULL_ENTRY_TYPE;
    add(map, entry->offset, end, null ? ring_part::null : ring_part::live);
  }
  if (!reached_end(walk)) add_break(map, walk.damage->offset);
}

void add_what_is_not_live(ring_map &map, size_t file_size) {
  const ring_state &ring = *map.state;
  if (ring.wrapped()) {
    add_dead(map, ring.end, ring.start, file_size);
  } else {
    add_dead(map, VESK_GHEADER_SIZE, ring.start, file_size);
    add_dead(map, ring.end, ring.max, file_size);
  }
}

}  // namespace

ring_map map_ring(ring_bytes image, uint32_t capacity) {
  ring_map map;
  ring_walk walk = begin_walk(image, capacity, null_entries::show);
  map.state = walk.state;
  if (map.state) add_entries(map, walk);
  map.damage = walk.damage;
  if (!map.state) return map;

  const bool false_claim = map.damage && map.damage->offset < VESK_GHEADER_SIZE;
  add(map, 0, VESK_GHEADER_SIZE, false_claim ? ring_part::damage : ring_part::header);
  add_what_is_not_live(map, image.size());
  std::sort(map.stretches.begin(), map.stretches.end(),
            [](const auto &a, const auto &b) { return a.begin < b.begin; });
  return map;
}

part_total total_of(const ring_map &map, ring_part part) {
  part_total total{};
  for (const ring_stretch &stretch : map.stretches) {
    if (stretch.part != part) continue;
    total.bytes += stretch.end - stretch.begin;
    ++total.stretches;
  }
  return total;
}

std::vector<ring_part> cells_of(const ring_map &map, uint32_t bytes_per_cell) {
  std::vector<ring_part> cells;
  for (const ring_stretch &stretch : map.stretches) {
    const size_t first = stretch.begin / bytes_per_cell;
    const size_t last = (stretch.end - 1) / bytes_per_cell;
    cells.resize(last + 1, stretch.part);
    for (size_t i = first; i <= last; ++i) cells[i] = std::max(cells[i], stretch.part);
  }
  return cells;
}

}  // namespace vesk
