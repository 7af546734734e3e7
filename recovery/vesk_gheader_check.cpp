#include "recovery/vesk_gheader_check.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "format/vesk_checksum.h"

namespace vesk {

namespace {

finding check_trust(const vesk_gheader &header) {
  if (vesk_check_gheader(&header) == 0) return {};
  if (std::memcmp(header.magic, VESK_MAGIC, sizeof header.magic) != 0) return {problem::bad_magic};
  return {problem::bad_gheader_sum, offsetof(vesk_gheader, checksum)};
}

finding check_capacity(const vesk_gheader &header, uint32_t capacity) {
  if (header.max == capacity) return {};
  return {problem::wrong_capacity, offsetof(vesk_gheader, max)};
}

finding check_offsets(const vesk_gheader &header) {
  if (header.end > header.max) {
    return {problem::end_beyond_capacity, offsetof(vesk_gheader, end)};
  }
  if (header.start >= header.max - VESK_EHDR_SIZE) {
    return {problem::start_without_room, offsetof(vesk_gheader, start)};
  }
  return {};
}

finding check_size(const vesk_gheader &header, uint32_t capacity, uint32_t size) {
  if (header.start > header.end && size != capacity) {
    return {problem::wrapped_file_not_full, std::min(size, capacity)};
  }
  if (size < header.start) return {problem::file_ends_before_start, size};
  if (size < header.end) return {problem::file_ends_before_end, size};
  return {};
}

}  // namespace

finding check_file_size(uint32_t size) {
  return size < VESK_GHEADER_SIZE ? finding{problem::file_too_small, size} : finding{};
}

// The version comes first, so that a header of arbitrary bytes costs the file instead of a repair.
finding check_gheader(const vesk_gheader &header, uint32_t capacity, uint32_t size) {
  if (header.version != VESK_VERSION) {
    return {problem::unknown_version, offsetof(vesk_gheader, version)};
  }
  if (const finding found = check_trust(header)) return found;
  if (const finding found = check_capacity(header, capacity)) return found;
  if (const finding found = check_offsets(header)) return found;
  return check_size(header, capacity, size);
}

finding check_gheader_to_repair(const vesk_gheader &header, uint32_t capacity, uint32_t size) {
  if (const finding found = check_trust(header)) return found;
  if (const finding found = check_capacity(header, capacity)) return found;
  return check_size(header, capacity, size);
}

}  // namespace vesk
