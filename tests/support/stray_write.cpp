#include "tests/support/stray_write.h"

#include <algorithm>
#include <cstdio>

#include "tests/support/header_bytes.h"

namespace vesk::test {

namespace {

// A file's tail is too short for the header of the null entry that is to cover it: the size comes
// out below zero, and as a 16-bit number it is nearly 65,536.
constexpr char short_tail[] = "null entry over a tail shorter than a header";

// A size that is no multiple of four, in a header that holds all the same, has moved the ring off
// its alignment. A null entry that ends with the file is padded beyond it.
constexpr char tail_padding[] = "padding of a null entry over an unaligned tail";

// Damage too short for a null entry of its own: the entry behind it is covered too, as far as its
// header says that it reaches.
constexpr char swallowed[] = "null entry that swallows an entry reaching beyond the file";

// A file longer than its capacity may have a header that begins at the capacity or lies across it.
// The walk corrects its prev_size before it looks where the entry ends.
constexpr char overlong_file[] = "prev_size corrected at the end of an overlong file";

// The entry that an update replaces has room for the record, but the room is not in the file.
constexpr char overlong_entry[] = "update of an entry reaching beyond the file";

// The padded length of 65,533 bytes and more is 0 in 16 bits: such an update seems to fit anywhere.
constexpr char cut_length[] = "update whose padded length is cut to zero";

// A restarted daemon does not look whether the global header names the right capacity.
constexpr char larger_ring[] = "ring larger than the file's capacity";

constexpr const char *names[] = {short_tail,     tail_padding, swallowed,  overlong_file,
                                 overlong_entry, cut_length,   larger_ring};

bool all_zero(std::span<const uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0; });
}

// Whether the write is the header, the data or the padding of the null entry with `size` bytes of
// data at `offset`.
bool part_of_null_entry(const stray_write &w, uint32_t offset, uint16_t size) {
  const uint32_t data = offset + header_size;
  if (w.offset == offset) {
    return w.bytes.size() == header_size && get32(w.bytes, 0) == 0x01250000;
  }
  if (w.offset == data) return w.bytes.size() == size && all_zero(w.bytes);
  return w.offset == data + size && w.bytes.size() < 4 && all_zero(w.bytes);
}

bool covers_short_tail(const stray_write &w) {
  const uint32_t end = gheader_of(w.before).end;
  const uint32_t tail = w.capacity - end;
  return w.request != nullptr && tail < header_size &&
         part_of_null_entry(w, end, static_cast<uint16_t>(tail - header_size));
}

bool pads_tail(const stray_write &w) {
  return w.offset == w.capacity && w.bytes.size() < 4 && all_zero(w.bytes);
}

bool swallows_entry(const stray_write &w) {
  uint32_t gap = 0, offset = 0, span = 0;
  const int found =
      std::sscanf(w.last_line.c_str(), "ERROR: No space %u to add header %u Use this entry %u",
                  &gap, &offset, &span);
  return w.request != nullptr && found == 3 && offset + gap + span > w.capacity &&
         part_of_null_entry(w, offset, static_cast<uint16_t>(gap + span - header_size));
}

bool corrects_prev_size(const stray_write &w) {
  uint32_t offset = 0;
  const int found = std::sscanf(w.last_line.c_str(), "Updating eheader at %u", &offset);
  return w.request == nullptr && found == 1 && w.offset == offset &&
         w.bytes.size() == header_size && w.before.size() > w.capacity && sum_holds(&w.now[offset]);
}

// Where the entry lies that the update rewrites, if the write is its data or their padding; else
// the file's end. The entry's header is within the file.
uint32_t updated_entry(const stray_write &w) {
  const uint32_t nowhere = static_cast<uint32_t>(w.before.size());
  if (w.request == nullptr || w.request->update != 1) return nowhere;
  const bool padding = w.bytes.size() < 4 && all_zero(w.bytes);
  if (!padding && w.bytes.size() != w.request->len) return nowhere;
  const uint32_t entry = w.offset - header_size - (padding ? w.request->len : 0);
  if (entry > nowhere || nowhere - entry < header_size) return nowhere;
  return sum_holds(&w.before[entry]) && get16(w.before, entry) == w.request->uuid &&
                 get16(w.before, entry + 2) == w.request->type
             ? entry
             : nowhere;
}

bool updates_overlong_entry(const stray_write &w) {
  const uint32_t entry = updated_entry(w);
  return entry < w.before.size() && entry + header_size + get16(w.before, entry + 4) > w.capacity;
}

bool updates_by_cut_length(const stray_write &w) {
  return updated_entry(w) < w.before.size() && w.request->len > 65532;
}

}  // namespace

const char *excuse(const stray_write &write) {
  const gheader_fields ring = gheader_of(write.before);
  if (write.request != nullptr && ring.holds && ring.max > write.capacity) {
    if (write.offset + write.bytes.size() <= ring.max) return larger_ring;
    stray_write beyond_ring = write;
    beyond_ring.capacity = ring.max;
    return excuse(beyond_ring);
  }
  if (covers_short_tail(write)) return short_tail;
  if (swallows_entry(write)) return swallowed;
  if (pads_tail(write)) return tail_padding;
  if (corrects_prev_size(write)) return overlong_file;
  if (updates_by_cut_length(write)) return cut_length;
  if (updates_overlong_entry(write)) return overlong_entry;
  return nullptr;
}

std::span<const char *const> excuses() {
  return names;
}

}  // namespace vesk::test
