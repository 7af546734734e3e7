#include "recovery/vesk_corruption_check.h"

#include <cerrno>
#include <cstddef>

#include "format/vesk_format.h"
#include "format/vesk_ring.h"
#include "recovery/vesk_damage.h"
#include "recovery/vesk_problem.h"
#include "store/vesk_log.h"
#include "store/vesk_probe.h"

namespace {

using vesk::finding;
using vesk::probe;
using vesk::problem;

constexpr uint32_t last_sample = 101;  // one more than the texts say

int32_t corrupted(uint32_t why, const finding &found, uint32_t *reason) {
  *reason = why;
  vesk::notes.found = found;
  return -1;
}

int32_t sample_from_start(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                          uint32_t *reason) {
  uint32_t offset = start;
  vesk_ehdr last{};  // the last good header
  for (uint32_t count = 0;;) {
    const vesk::slot slot = vesk::probe_slot(fd, offset);
    switch (slot.found) {
      case probe::seek_failed:
        VESK_ERROR("ERROR: lseek failed to seek at start %d, errno = %d\n", offset, errno);
        return corrupted(VESK_CORRUPT_END, {problem::entry_unreadable, offset}, reason);
      case probe::short_read:
        VESK_ERROR("ERROR: ehdr read failed at start %d errno %d entry_count %d\n", offset, errno,
                   count);
        VESK_ERROR("ERROR: euuid %d etype %d esize %d %d \n", uint16_t{last.uuid},
                   uint16_t{last.type}, uint16_t{last.size}, last.flags);
        return corrupted(VESK_CORRUPT_END, {problem::entry_unreadable, offset}, reason);
      case probe::bad_checksum:
        VESK_ERROR("ERROR: Bad ehdr at offset at start %d entry count %d\n", offset, count);
        return corrupted(VESK_CORRUPT_CHAIN, {problem::bad_entry_sum, offset}, reason);
      case probe::good:
        break;
    }
    if (++count == last_sample) return 0;
    offset = vesk::next_slot(offset, slot.hdr.size, max);
    if (offset == end) return 0;
    last = slot.hdr;
  }
}

int32_t sample_first_slot(int32_t fd, uint32_t *reason) {
  constexpr finding unreadable{problem::first_slot_unreadable, VESK_GHEADER_SIZE};
  VESK_TRACE("TRACE:checking  entries from beginning %d\n", VESK_GHEADER_SIZE);
  switch (vesk::probe_slot(fd, VESK_GHEADER_SIZE).found) {
    case probe::seek_failed:
      VESK_ERROR("ERROR: lseek failed to seek at beginning %d, errno = %d\n", VESK_GHEADER_SIZE,
                 errno);
      return corrupted(VESK_CORRUPT_UNREADABLE, unreadable, reason);
    case probe::short_read:
      VESK_ERROR("ERROR: ehdr read at beginning %d failed errno %d\n", VESK_GHEADER_SIZE, errno);
      return corrupted(VESK_CORRUPT_UNREADABLE, unreadable, reason);
    case probe::bad_checksum:
      VESK_ERROR("ERROR: Bad ehdr at offset at beginning %d\n", VESK_GHEADER_SIZE);
      return corrupted(VESK_CORRUPT_CHAIN, {problem::bad_entry_sum, VESK_GHEADER_SIZE}, reason);
    case probe::good:
      return 0;
  }
  return 0;
}

// Goes back from `end` to the first position whose bytes are a good header, whether or not that
// entry ends at `end`.
int32_t sample_end(int32_t fd, uint32_t end, uint32_t *reason) {
  constexpr finding no_room{problem::end_without_room, offsetof(vesk_gheader, end)};
  const uint32_t first = end - VESK_EHDR_SIZE;  // an end below 20 becomes huge: the seek fails
  uint32_t curr = first;
  uint32_t stepped = 0;
  if (curr < VESK_GHEADER_SIZE) {
    VESK_ERROR("ERROR: curr is less than VESK_GHEADER_SIZE %d\n", curr);
    return corrupted(VESK_CORRUPT_END, no_room, reason);
  }
  VESK_TRACE("TRACE:checking entry at end %d\n", end);
  for (;;) {
    const vesk::slot slot = vesk::probe_slot(fd, curr);
    switch (slot.found) {
      case probe::seek_failed:
        VESK_ERROR("ERROR: lseek failed to seek at end %d, errno = %d\n", curr, errno);
        return corrupted(VESK_CORRUPT_END,
                         end < VESK_EHDR_SIZE ? no_room : finding{problem::entry_unreadable, curr},
                         reason);
      case probe::short_read:
        VESK_ERROR("ERROR: ehdr read failed at end %d errno %d read_bytes %d\n", curr, errno,
                   slot.got);
        return corrupted(VESK_CORRUPT_END, {problem::entry_unreadable, curr}, reason);
      case probe::good:
        return 0;
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
      return corrupted(VESK_CORRUPT_END, {problem::no_last_entry, first, curr + VESK_DAMAGE_STEP},
                       reason);
    }
  }
}

}  // namespace

int32_t vesk_check_file_corrupted(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                                  uint32_t *reason) {
  VESK_TRACE("TRACE:vesk_check_file_corrupted start %d end %d max %d \n", start, end, max);
  VESK_TRACE("TRACE:checking  100 entries from start %d\n", start);
  VESK_ERROR("ERROR: vesk_check_file_corrupted start %d end %d max %d \n", start, end, max);
  if (start == VESK_GHEADER_SIZE && end == VESK_GHEADER_SIZE) return 0;
  if (start == end) {
    return corrupted(VESK_CORRUPT_CHAIN, {problem::start_meets_end, offsetof(vesk_gheader, start)},
                     reason);
  }
  if (sample_from_start(fd, start, end, max, reason) != 0) return -1;
  if (start != VESK_GHEADER_SIZE && sample_first_slot(fd, reason) != 0) return -1;
  return end == VESK_GHEADER_SIZE ? 0 : sample_end(fd, end, reason);
}
