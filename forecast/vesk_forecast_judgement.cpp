#include "forecast/vesk_forecast_judgement.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <utility>

#include "forecast/vesk_forecast_image.h"
#include "format/vesk_catalogue.h"
#include "format/vesk_checksum.h"
#include "format/vesk_ring.h"

namespace vesk {

namespace {

// How many headers are looked at from the start on.
constexpr uint32_t samples_from_start = 101;

using objection = std::optional<judgement>;

judgement repair(size_t offset, std::string reason) {
  return {sentence::repair, static_cast<uint32_t>(offset), std::move(reason)};
}

judgement remove(size_t offset, std::string reason) {
  return {sentence::remove, static_cast<uint32_t>(offset), std::move(reason)};
}

std::string text(uint64_t number) {
  return std::to_string(number);
}

constexpr char bad_sum[] = "the checksum of the entry header does not hold";

std::string no_header_in(ring_bytes file) {
  return "no entry header: the file ends at " + text(file.size());
}

std::string of_wrong_size(ring_bytes file, uint32_t capacity) {
  return "the ring has wrapped, but the file has " + text(file.size()) + " bytes, not " +
         text(capacity);
}

// The version comes first: a header of arbitrary bytes costs the file.
objection against_identity(const vesk_gheader &header) {
  if (header.version != VESK_VERSION) {
    return remove(offsetof(vesk_gheader, version),
                  "format version " + text(header.version) + " is not known");
  }
  if (std::memcmp(header.magic, VESK_MAGIC, sizeof header.magic) != 0) {
    return repair(0, "it does not begin with \"vesk\"");
  }
  if (!checksum_holds(header)) {
    return repair(offsetof(vesk_gheader, checksum),
                  "the checksum of the global header does not hold");
  }
  return {};
}

objection against_offsets(const vesk_gheader &header, uint32_t capacity) {
  const uint32_t max = header.max, start = header.start, end = header.end;
  if (max != capacity) {
    return repair(offsetof(vesk_gheader, max),
                  "capacity " + text(max) + " is not the " + text(capacity) + " of this file");
  }
  if (end > max) {
    return repair(offsetof(vesk_gheader, end),
                  "end " + text(end) + " lies beyond the capacity of " + text(max));
  }
  if (start >= max - VESK_EHDR_SIZE) {
    return repair(
        offsetof(vesk_gheader, start),
        "start " + text(start) + " leaves no room for an entry up to the capacity of " + text(max));
  }
  return {};
}

objection against_size(const vesk_gheader &header, ring_bytes file) {
  const uint32_t max = header.max, start = header.start, end = header.end;
  if (start <= end && file.size() < end) {
    return remove(file.size(), "the file ends before its end " + text(end));
  }
  if (start > end && file.size() != max) {
    return remove(std::min<size_t>(file.size(), max), of_wrong_size(file, max));
  }
  return {};
}

objection against_entries_from_start(const vesk_gheader &header, ring_bytes file) {
  uint32_t offset = header.start;
  for (uint32_t seen = 0; seen < samples_from_start; ++seen) {
    const found_header found = header_at(file, offset);
    if (found.state == header_state::missing) return repair(offset, no_header_in(file));
    if (found.state == header_state::bad) return repair(offset, bad_sum);
    offset = next_slot(offset, found.header.size, header.max);
    if (offset == header.end) break;
  }
  return {};
}

objection against_first_slot(const vesk_gheader &header, ring_bytes file) {
  if (header.start == VESK_GHEADER_SIZE) return {};
  switch (header_at(file, VESK_GHEADER_SIZE).state) {
    case header_state::missing:
      return remove(VESK_GHEADER_SIZE, no_header_in(file));
    case header_state::bad:
      return repair(VESK_GHEADER_SIZE, bad_sum);
    case header_state::good:
      break;
  }
  return {};
}

// Goes back from the end to the first good header, whether or not its entry leads to the end.
objection against_last_entry(const vesk_gheader &header, ring_bytes file) {
  const uint32_t end = header.end;
  if (end == VESK_GHEADER_SIZE) return {};
  if (end < VESK_GHEADER_SIZE + VESK_EHDR_SIZE) {
    return repair(offsetof(vesk_gheader, end),
                  "end " + text(end) + " leaves no room for an entry in front of it");
  }
  const uint32_t first = end - VESK_EHDR_SIZE;
  uint32_t offset = first;
  for (uint32_t stepped = 0; offset >= VESK_GHEADER_SIZE && stepped <= repairable_damage;
       stepped += VESK_DAMAGE_STEP, offset -= VESK_DAMAGE_STEP) {
    if (header_at(file, offset).state == header_state::good) return {};
  }
  return repair(
      first, "no entry header holds from here back to offset " + text(offset + VESK_DAMAGE_STEP));
}

objection against_entries(const vesk_gheader &header, ring_bytes file) {
  const uint32_t start = header.start;
  if (start == header.end) {
    if (start == VESK_GHEADER_SIZE) return {};
    return repair(offsetof(vesk_gheader, start),
                  "start and end are both " + text(start) + ": no entry can be reached");
  }
  if (auto found = against_entries_from_start(header, file)) return found;
  if (auto found = against_first_slot(header, file)) return found;
  return against_last_entry(header, file);
}

vesk_gheader gheader_in(ring_bytes file) {
  vesk_gheader header;
  std::memcpy(&header, file.data(), sizeof header);
  return header;
}

}  // namespace

judgement judge(uint32_t file_type, uint32_t capacity, ring_bytes file) {
  if (file.size() < VESK_GHEADER_SIZE) {
    return remove(file.size(), "the file ends inside its global header");
  }
  const vesk_gheader header = gheader_in(file);
  if (auto found = against_identity(header)) return *found;
  if (auto found = against_offsets(header, capacity)) return *found;
  if (auto found = against_size(header, file)) return *found;
  if (is_kernel_log(file_type)) return {};
  return against_entries(header, file).value_or(judgement{});
}

std::string refusal_to_repair(uint32_t capacity, ring_bytes file) {
  const vesk_gheader header = gheader_in(file);
  const uint32_t start = header.start, end = header.end;
  if (against_identity(header)) return "a global header that cannot be trusted is not rebuilt";
  if (header.max != capacity) return "a ring of another capacity is not rebuilt";
  if (start > end && file.size() != capacity) return of_wrong_size(file, capacity);
  if (file.size() < start) {
    return "the file ends at " + text(file.size()) + ", before its start " + text(start);
  }
  if (file.size() < end) {
    return "the file ends at " + text(file.size()) + ", before its end " + text(end);
  }
  return {};
}

}  // namespace vesk
