#include "recovery/vesk_corruption_check.h"

#include <cerrno>
#include <cstddef>

#include "format/vesk_format.h"
#include "format/vesk_ring.h"
#include "recovery/vesk_damage.h"
#include "store/vesk_log.h"
#include "store/vesk_probe.h"

namespace {

using vesk::finding;
using vesk::probe;
using vesk::problem;

constexpr uint32_t last_sample = 101;  // one more than the texts say

finding sample_from_start(int32_t fd, uint32_t start, uint32_t end, uint32_t max) {
  uint32_t offset = start;
  vesk_ehdr last{};  // the last good header
  for (uint32_t count = 0;;) {
    const vesk::slot slot = vesk::probe_slot(fd, offset);
    switch (slot.found) {
      case probe::seek_failed:
        VESK_ERROR("ERROR: lseek failed to seek at start %d, errno = %d\n", offset, errno);
        return {problem::entry_unreadable, offset};
      case probe::short_read:
        VESK_ERROR("ERROR: ehdr read failed at start %d errno %d entry_count %d\n", offset, errno,
                   count);
        VESK_ERROR("ERROR: euuid %d etype %d esize %d %d \n", uint16_t{last.uuid},
                   uint16_t{last.type}, uint16_t{last.size}, last.flags);
        return {problem::entry_unreadable, offset};
      case probe::bad_checksum:
        VESK_ERROR("ERROR: Bad ehdr at offset at start %d entry count %d\n", offset, count);
        return {problem::bad_entry_sum, offset};
      case probe::good:
        break;
    }
    if (++count == last_sample) return {};
    offset = vesk::next_slot(offset, slot.hdr.size, max);
    if (offset == end) return {};
    last = slot.hdr;
  }
}

finding sample_first_slot(int32_t fd) {
  VESK_TRACE("TRACE:checking  entries from beginning %d\n", VESK_GHEADER_SIZE);
  switch (vesk::probe_slot(fd, VESK_GHEADER_SIZE).found) {
    case probe::seek_failed:
      VESK_ERROR("ERROR: lseek failed to seek at beginning %d, errno = %d\n", VESK_GHEADER_SIZE,
                 errno);
      return {problem::first_slot_unreadable, VESK_GHEADER_SIZE};
    case probe::short_read:
      VESK_ERROR("ERROR: ehdr read at beginning %d failed errno %d\n", VESK_GHEADER_SIZE, errno);
      return {problem::first_slot_unreadable, VESK_GHEADER_SIZE};
    case probe::bad_checksum:
      VESK_ERROR("ERROR: Bad ehdr at offset at beginning %d\n", VESK_GHEADER_SIZE);
      return {problem::bad_entry_sum, VESK_GHEADER_SIZE};
    case probe::good:
      break;
  }
  return {};
}

// Goes back from `end` to the first position whose bytes are a good header, whether or not that
// entry ends at `end`.
finding sample_end(int32_t fd, uint32_t end) {
  constexpr finding no_room{problem::end_without_room, offsetof(vesk_gheader, end)};
  const uint32_t first = end - VESK_EHDR_SIZE;  // an end below 20 becomes huge: the seek fails
  uint32_t curr = first;
  uint32_t stepped = 0;
  if (curr < VESK_GHEADER_SIZE) {
    VESK_ERROR("ERROR: curr is less than VESK_GHEADER_SIZE %d\n", curr);
    return no_room;
  }
  VESK_TRACE("TRACE:checking entry at end %d\n", end);
  for (;;) {
    const vesk::slot slot = vesk::probe_slot(fd, curr);
    switch (slot.found) {
      case probe::seek_failed:
        VESK_ERROR("ERROR: lseek failed to seek at end %d, errno = %d\n", curr, errno);
        return end < VESK_EHDR_SIZE ? no_room : finding{problem::entry_unreadable, curr};
      case probe::short_read:
        VESK_ERROR("ERROR: ehdr read failed at end %d errno %d read_bytes %d\n", curr, errno,
                   slot.got);
        return {problem::entry_unreadable, curr};
      case probe::good:
        return {};
      case probe::bad_checksum:
        break;
    }
    curr -= VESK_DAMAGE_STEP;
    stepped += VESK_DAMAGE_STEP;
    if (curr < VESK_GHEADER_SIZE || stepped > VESK_MAX_DAMAGE) {
      VESK_ERROR(
          "ERROR: curr %d is less than VESK_GHEADER_SIZE %d ORcorrupted size %d is bigger than max "
          "corruptedsize %d\n",
          curr, VESK_GHEADER_SIZE, stepped, VESK_MAX_DAMAGE);
      return {problem::no_last_entry, first, curr + VESK_DAMAGE_STEP};
    }
  }
}

}  // namespace

vesk::finding vesk::check_chain(int32_t fd, uint32_t start, uint32_t end, uint32_t max) {
  VESK_TRACE("TRACE:vesk_check_file_corrupted start %d end %d max %d \n", start, end, max);
  VESK_TRACE("TRACE:checking  100 entries from start %d\n", start);
  VESK_ERROR("ERROR: vesk_check_file_corrupted start %d end %d max %d \n", start, end, max);
  if (start == VESK_GHEADER_SIZE && end == VESK_GHEADER_SIZE) return {};
  if (start == end) return {problem::start_meets_end, offsetof(vesk_gheader, start)};
  if (const finding found = sample_from_start(fd, start, end, max)) return found;
  if (start != VESK_GHEADER_SIZE) {
    if (const finding found = sample_first_slot(fd)) return found;
  }
  return end == VESK_GHEADER_SIZE ? finding{} : sample_end(fd, end);
}

int32_t vesk_check_file_corrupted(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                                  uint32_t *reason) {
  const finding found = vesk::check_chain(fd, start, end, max);
  if (!found) return 0;
  *reason = vesk::reason_of(found.what);
  return -1;
}
