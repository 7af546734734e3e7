#include "recovery/vesk_gheader_check.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "format/vesk_checksum.h"

namespace vesk {

namespace {

finding check_identity(const vesk_gheader &header, uint32_t capacity) {
  if (vesk_check_gheader(&header) != 0) {
    const bool magic = std::memcmp(header.magic, VESK_MAGIC, sizeof header.magic) == 0;
    return magic ? finding{problem::bad_gheader_sum, offsetof(vesk_gheader, checksum)}
                 : finding{problem::bad_magic};
  }
  if (header.max != capacity) return {problem::wrong_capacity, offsetof(vesk_gheader, max)};
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

// The version comes first, so that a header of arbitrary bytes costs the file instead of a repair.
finding check_gheader(const vesk_gheader &header, uint32_t capacity, uint32_t size) {
  if (header.version != VESK_VERSION) {
    return {problem::unknown_version, offsetof(vesk_gheader, version)};
  }
  if (const finding found = check_identity(header, capacity)) return found;
  if (header.end > capacity) return {problem::end_beyond_capacity, offsetof(vesk_gheader, end)};
  if (header.start >= capacity - VESK_EHDR_SIZE) {
    return {problem::start_without_room, offsetof(vesk_gheader, start)};
  }
  return check_size(header, capacity, size);
}

finding check_gheader_to_repair(const vesk_gheader &header, uint32_t capacity, uint32_t size) {
  const finding found = check_identity(header, capacity);
  return found ? found : check_size(header, capacity, size);
}

}  // namespace vesk
