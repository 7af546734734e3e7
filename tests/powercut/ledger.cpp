#include "tests/powercut/ledger.h"

#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "reader/vesk_ring_walk.h"
#include "reader/vesk_salvage.h"
#include "tests/support/header_bytes.h"

namespace vesk::test {

namespace {

// Of the header all but `checksum` and `prev_size`, and the data.
entry_id id_of_bytes(std::span<const uint8_t> header, std::span<const uint8_t> data) {
  constexpr uint64_t prime = 0x100000001B3;
  uint64_t id = 0xCBF29CE484222325;
  for (const uint32_t word : {get32(header, 0), uint32_t{get16(header, 4)}, uint32_t{header[8]},
                              get32(header, 12), get32(header, 16)}) {
    id = (id ^ word) * prime;
  }
  const std::string_view text(reinterpret_cast<const char *>(data.data()), data.size());
  return (id ^ std::hash<std::string_view>{}(text)) * prime;
}

// An entry that the reader has found in the image.
entry_place place_of(const image &file, uint32_t offset, size_t size) {
  const std::span bytes(file);
  const auto span = static_cast<uint32_t>(header_size + size);
  return {.id = id_of_bytes(bytes.subspan(offset, header_size),
                            bytes.subspan(offset + header_size, size)),
          .offset = offset,
          .span = span};
}

}  // namespace

entry_id id_of(const record_fields &fields) {
  image header(header_size);
  put16(header, 0, fields.uuid);
  put16(header, 2, fields.type);
  const auto size = static_cast<uint16_t>((fields.len + 3u) & ~3u);
  put16(header, 4, size);
  header[8] = fields.flags;
  put32(header, 12, fields.secs);
  put32(header, 16, fields.usecs);
  image data(fields.data.begin(), fields.data.end());
  data.resize(size);
  return id_of_bytes(header, data);
}

std::vector<entry_place> readable_entries(const maybe_image &file, uint32_t capacity) {
  std::vector<entry_place> entries;
  if (!file) return entries;
  ring_walk walk = begin_walk(*file, capacity);
  while (const auto entry = next_entry(walk)) {
    entries.push_back(place_of(*file, entry->offset, entry->data.size()));
  }
  return entries;
}

entry_ids ids_of(const std::vector<entry_place> &entries) {
  entry_ids ids;
  for (const entry_place &entry : entries) ids.insert(entry.id);
  return ids;
}

void add_salvaged(const maybe_image &file, uint32_t capacity, entry_ids &found) {
  if (!file) return;
  salvage search(*file, capacity);
  while (const auto what = search.next()) {
    const auto *entry = std::get_if<salvaged_entry>(&*what);
    if (entry == nullptr || !entry->whole()) continue;
    found.insert(place_of(*file, static_cast<uint32_t>(entry->offset), entry->size).id);
  }
}

entry_id id_at(const image &file, const entry_place &place) {
  if (place.offset + place.span > file.size()) return ~place.id;
  return place_of(file, place.offset, place.span - header_size).id;
}

bool header_holds_at(const image &file, uint32_t offset) {
  return offset + header_size <= file.size() && sum_holds(&file[offset]);
}

bool is_live(const image &file, uint32_t offset) {
  const gheader_fields ring = gheader_of(file);
  if (!ring.holds) return false;
  if (ring.start <= ring.end) return offset >= ring.start && offset < ring.end;
  return offset >= ring.start || offset < ring.end;
}

bool is_discarded(const entry_place &entry, const maybe_image &before, const maybe_image &after,
                  const std::vector<flash_write> &writes) {
  for (const flash_write &write : writes) {
    const auto end = static_cast<uint32_t>(write.offset + write.bytes.size());
    const bool over = write.offset >= first_slot && write.offset < entry.offset + entry.span &&
                      entry.offset < end;
    if (over) return true;
  }
  return before && after && is_live(*before, entry.offset) && !is_live(*after, entry.offset);
}

}  // namespace vesk::test
