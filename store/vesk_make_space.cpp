#include "store/vesk_make_space.h"

#include <cerrno>

#include "format/vesk_format.h"
#include "format/vesk_ring.h"
#include "store/vesk_entry.h"
#include "store/vesk_log.h"
#include "store/vesk_probe.h"
#include "store/vesk_update.h"

namespace {

using vesk::probe;

constexpr uint32_t max_stretch = 4096;  // damaged bytes accepted in one stretch
constexpr uint32_t max_damage = 5120;   // and in one call

struct space_job {
  int32_t fd;
  uint32_t max;
  int32_t nspace;
  bool skip_bad;
  uint32_t *error_code;
};

struct space_walk {
  uint32_t nstart;     // the header being examined
  int32_t remaining;   // bytes still to be freed
  uint32_t gap_start;  // just behind the last good entry: where a damaged stretch begins
  uint32_t corr = 0;   // length of the present damaged stretch
  uint32_t total_corr = 0;
  uint16_t last_size = VESK_EHDR_SIZE;  // of the last good entry, 20 where none is known
  bool in_damage = false;
  uint32_t laps = 0;  // times the walk began again since it last changed the file

  void begin_again_at_first_slot() {
    nstart = gap_start = VESK_GHEADER_SIZE;
    last_size = VESK_EHDR_SIZE;
    in_damage = false;
  }
};

enum class step : uint8_t { go_on, done, failed };

step failed_probe(const vesk::slot &slot, const space_walk &walk, const space_job &job) {
  if (slot.found == probe::seek_failed) {
    VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d", walk.nstart, errno);
    if (errno == EINVAL) *job.error_code = VESK_ERR_ENTRY_SEEK;
  } else {
    VESK_ERROR("ERROR: ehdr read fails errno %d.", errno);
    if (slot.got == -1 && errno == EFAULT) *job.error_code = VESK_ERR_HEADER_READ;
  }
  return step::failed;
}

step cover(space_walk &walk, const space_job &job, uint32_t null_size) {
  if (vesk_add_null_entry(job.fd, static_cast<int32_t>(walk.gap_start),
                          static_cast<uint16_t>(null_size), walk.last_size, job.error_code) != 0) {
    VESK_ERROR("ERROR: Add NULL ent failed \n");
    *job.error_code = VESK_ERR_NULL_ENTRY;
    return step::failed;
  }
  walk.laps = 0;
  return step::go_on;
}

// The damage runs to the end of the file.
step cover_tail(space_walk &walk, const space_job &job) {
  const uint32_t tail = job.max - walk.gap_start;
  VESK_ERROR(
      "ERROR: make space -adding NULL ent at end off %d size %d corr size %d total corr size %d \n",
      walk.gap_start, tail - VESK_EHDR_SIZE, walk.corr, walk.total_corr);
  if (tail <= VESK_EHDR_SIZE) {
    VESK_ERROR("ERROR: no space %d to add NULL ent at end \n", tail);
    return step::failed;
  }
  if (cover(walk, job, tail - VESK_EHDR_SIZE) == step::failed) return step::failed;
  walk.remaining -= static_cast<int32_t>(tail);
  walk.corr = 0;
  walk.begin_again_at_first_slot();
  return walk.remaining < 1 ? step::done : step::go_on;
}

step step_over_damage(space_walk &walk, const space_job &job) {
  if (!job.skip_bad) {
    VESK_ERROR("ERROR: make space - Bad ehdr at offset %d", walk.nstart);
    return step::failed;
  }
  walk.corr += VESK_DAMAGE_STEP;
  if (walk.corr > max_stretch) {
    VESK_ERROR("ERROR: make space - corrupted block beyond 4k\n");
    return step::failed;
  }
  walk.total_corr += VESK_DAMAGE_STEP;
  if (walk.total_corr > max_damage) {
    VESK_ERROR("ERROR: make space -total corrupted size in file beyond 5k\n");
    return step::failed;
  }
  walk.nstart += VESK_DAMAGE_STEP;
  walk.in_damage = true;
  return walk.nstart <= job.max - VESK_EHDR_SIZE ? step::go_on : cover_tail(walk, job);
}

// A good header of an entry of `size` bytes ends a damaged stretch.
step cover_gap(space_walk &walk, const space_job &job, uint16_t size) {
  const uint32_t gap = walk.nstart - walk.gap_start;
  VESK_ERROR(
      "ERROR: make space -found good ent %d add NULL ent at off %d size %d corr size %d total corr "
      "size %d \n",
      walk.nstart, walk.gap_start, gap - VESK_EHDR_SIZE, walk.corr, walk.total_corr);
  uint32_t null_size = gap - VESK_EHDR_SIZE;
  if (gap <= VESK_EHDR_SIZE) {
    // No room for a null entry of its own: it swallows the good entry too.
    VESK_ERROR("ERROR: No space %d to add header %d Use this entry %d\n", gap, walk.gap_start,
               vesk::entry_span(size));
    null_size = size + gap;
  }
  if (cover(walk, job, null_size) == step::failed) return step::failed;
  walk.remaining -= static_cast<int32_t>(gap);
  vesk_update_eheader(job.fd, walk.nstart, static_cast<uint16_t>(null_size), job.error_code);
  walk.corr = 0;
  return step::go_on;
}

// Behind the last entry of the file the count starts again: what was freed before does not help an
// entry that begins at the first slot. A second time around without a change would only read the
// same headers again.
step begin_again(space_walk &walk, const space_job &job) {
  walk.begin_again_at_first_slot();
  walk.remaining = job.nspace;
  if (++walk.laps < 2) return step::go_on;
  VESK_ERROR("ERROR: make space - no entry boundary frees %d bytes", job.nspace);
  *job.error_code = VESK_ERR_NO_SPACE;
  return step::failed;
}

step step_over_entry(space_walk &walk, const space_job &job, uint16_t size) {
  if (walk.in_damage && cover_gap(walk, job, size) == step::failed) return step::failed;
  walk.nstart += vesk::entry_span(size);
  if (walk.nstart >= job.max) return begin_again(walk, job);
  walk.last_size = size;
  walk.gap_start = walk.nstart;
  walk.in_damage = false;
  walk.remaining -= static_cast<int32_t>(vesk::entry_span(size));
  return walk.remaining < 1 ? step::done : step::go_on;
}

step one_step(space_walk &walk, const space_job &job) {
  const vesk::slot slot = vesk::probe_slot(job.fd, walk.nstart);
  switch (slot.found) {
    case probe::good:
      return step_over_entry(walk, job, slot.hdr.size);
    case probe::bad_checksum:
      return step_over_damage(walk, job);
    case probe::seek_failed:
    case probe::short_read:
      return failed_probe(slot, walk, job);
  }
  return step::failed;
}

}  // namespace

int32_t vesk_make_space(int32_t fd, uint32_t max, uint32_t *start_inout, int32_t nspace,
                        uint8_t skip_bad, uint32_t *error_code) {
  const uint32_t start = *start_inout;
  VESK_TRACE("TRACE:making space, nstart %d nspace %d.\n", start, nspace);
  if (nspace < 1) return 0;

  const space_job job{fd, max, nspace, skip_bad != 0, error_code};
  space_walk walk{.nstart = start, .remaining = nspace, .gap_start = start};
  for (;;) {
    switch (one_step(walk, job)) {
      case step::go_on:
        break;
      case step::done:
        *start_inout = walk.nstart;
        return 0;
      case step::failed:
        return -1;
    }
  }
}
