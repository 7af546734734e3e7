#include "recovery/vesk_ehdr_recovery.h"

#include <cerrno>

#include "format/vesk_format.h"
#include "format/vesk_ring.h"
#include "recovery/vesk_damage.h"
#include "store/vesk_entry.h"
#include "store/vesk_log.h"
#include "store/vesk_probe.h"
#include "store/vesk_update.h"

namespace {

using vesk::probe;

enum class step : uint8_t { go_on, failed };

struct repair_walk {
  int32_t fd;
  uint32_t start;
  uint32_t end;
  uint32_t max;
  uint32_t *new_start;
  uint32_t *last_entry;
  uint32_t offset;                      // the header being examined
  uint32_t gap_start;                   // just behind the last good entry
  uint16_t last_size = VESK_EHDR_SIZE;  // what the next good header's prev_size must hold
  bool at_start = true;                 // no good header met yet
  bool in_damage = false;
  uint32_t corr = 0;  // damaged bytes stepped over in the whole walk
  uint32_t result_code = 0;
  bool wrapped = false;   // by the last step
  bool first_lap = true;  // the walk has not wrapped yet
  bool moved_on = false;  // since the last wrap: damage stepped over, or a header rewritten

  step fail(uint32_t code) {
    result_code = code;
    return step::failed;
  }
  void wrap() {
    wrapped = true;
    offset = gap_start = VESK_GHEADER_SIZE;
    last_size = VESK_EHDR_SIZE;
    in_damage = false;
  }
};

step cover(repair_walk &walk, uint32_t size) {
  uint32_t ignored = VESK_ERR_NONE;
  if (vesk_add_null_entry(walk.fd, static_cast<int32_t>(walk.gap_start),
                          static_cast<uint16_t>(size), walk.last_size, &ignored) != 0) {
    VESK_ERROR("ERROR: Adding null block failed.\n");
    return walk.fail(VESK_EHDR_LOST);
  }
  return step::go_on;
}

// A failed rewrite is no failure of the repair: nothing rejects a file for its prev_size. (One that
// succeeds mostly leaves a checksum that does not hold.)
void rewrite_prev_size(repair_walk &walk, uint16_t size) {
  uint32_t ignored = VESK_ERR_NONE;
  if (vesk_update_eheader(walk.fd, walk.offset, size, &ignored) == 0) walk.moved_on = true;
}

// The damage runs to the file's end.
step leave_tail(repair_walk &walk) {
  if (walk.at_start) {
    *walk.new_start = VESK_GHEADER_SIZE;  // all from the start on is lost
    walk.wrap();
    return step::go_on;
  }
  const uint32_t tail = walk.max - walk.gap_start;
  if (tail <= VESK_EHDR_SIZE) {
    VESK_ERROR("ERROR: No space to add hdr Can't recover file \n");
    return walk.fail(VESK_EHDR_LOST);
  }
  VESK_ERROR("Adding null entries to %d with size %d\n", walk.gap_start, tail - VESK_EHDR_SIZE);
  if (cover(walk, tail - VESK_EHDR_SIZE) == step::failed) return step::failed;
  walk.wrap();
  return step::go_on;
}

step step_over_damage(repair_walk &walk) {
  VESK_ERROR("ERROR: Bad ehdr at offset %d\n", walk.offset);
  walk.corr += VESK_DAMAGE_STEP;
  if (walk.corr > VESK_MAX_DAMAGE) return walk.fail(VESK_EHDR_LOST);
  walk.offset += VESK_DAMAGE_STEP;
  walk.in_damage = true;
  walk.moved_on = true;
  return walk.offset >= walk.max - VESK_EHDR_SIZE ? leave_tail(walk) : step::go_on;
}

// A good header ends a damaged stretch.
step close_gap(repair_walk &walk) {
  if (walk.at_start) {
    VESK_TRACE("TRACE:Adjusting start pointer to %d from %d\n", walk.offset, walk.start);
    *walk.new_start = walk.offset;
    return step::go_on;
  }
  const uint32_t gap = walk.offset - walk.gap_start;
  if (gap <= VESK_EHDR_SIZE) {
    VESK_ERROR(
        "ERROR: No space to add header after getting somegood entries Cannot recover file \n");
    return walk.fail(VESK_EHDR_LOST);
  }
  const uint32_t size = gap - VESK_EHDR_SIZE;
  VESK_ERROR("Adding NULL entry at %d with size %d \n", walk.gap_start, size);
  if (cover(walk, size) == step::failed) return step::failed;
  VESK_ERROR("Updating eheader at %d with size %d\n", walk.offset, size);
  rewrite_prev_size(walk, static_cast<uint16_t>(size));
  return step::go_on;
}

step step_over_entry(repair_walk &walk, const vesk_ehdr &hdr) {
  if (walk.in_damage && close_gap(walk) == step::failed) return step::failed;
  // Compared as it was read: a rewrite a moment ago is overwritten where the old value differs.
  if (hdr.prev_size != walk.last_size) {
    VESK_ERROR("Updating eheader at %d with size %d\n", walk.offset, walk.last_size);
    rewrite_prev_size(walk, walk.last_size);
  }
  *walk.last_entry = walk.offset;
  const uint32_t next = walk.offset + vesk::entry_span(hdr.size);
  if (next < walk.max) {
    walk.last_size = hdr.size;
    walk.gap_start = walk.offset = next;
    walk.in_damage = false;
  } else {
    walk.wrap();
  }
  walk.at_start = false;
  return step::go_on;
}

step one_step(repair_walk &walk) {
  const vesk::slot slot = vesk::probe_slot(walk.fd, walk.offset);
  switch (slot.found) {
    case probe::good:
      return step_over_entry(walk, slot.hdr);
    case probe::bad_checksum:
      return step_over_damage(walk);
    case probe::seek_failed:
      VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d\n", walk.offset, errno);
      return walk.fail(VESK_EHDR_UNREADABLE);
    case probe::short_read:
      VESK_ERROR("ERROR: ehdr read failed errno %d\n", errno);
      return walk.fail(VESK_EHDR_UNREADABLE);
  }
  return step::failed;
}

// A lap that neither met damage nor changed a header would only be walked again, for ever.
step check_lap(repair_walk &walk) {
  if (!walk.first_lap && !walk.moved_on) {
    VESK_ERROR("ERROR: entry chain never reaches end %d", walk.end);
    return walk.fail(VESK_EHDR_LOST);
  }
  walk.wrapped = walk.first_lap = walk.moved_on = false;
  return step::go_on;
}

step walk_to_end(repair_walk &walk) {
  do {
    if (one_step(walk) == step::failed) return step::failed;
    if (walk.wrapped && check_lap(walk) == step::failed) return step::failed;
  } while (walk.offset != walk.end);
  return walk.in_damage ? walk.fail(VESK_EHDR_LOST) : step::go_on;
}

}  // namespace

int32_t vesk_ehdr_recovery(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                           uint32_t *result_code, uint32_t *new_start, uint32_t *last_entry) {
  VESK_ERROR("eheader recovery start %d end %d max %d.\n", start, end, max);
  *last_entry = VESK_GHEADER_SIZE;
  if (start == end) return 0;
  repair_walk walk{.fd = fd,
                   .start = start,
                   .end = end,
                   .max = max,
                   .new_start = new_start,
                   .last_entry = last_entry,
                   .offset = start,
                   .gap_start = start};
  if (walk_to_end(walk) == step::go_on) return 0;
  *result_code = walk.result_code;
  return -1;
}
