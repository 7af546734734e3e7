#include "recovery/vesk_ghdr_recovery.h"

#include <cerrno>

#include "format/vesk_format.h"
#include "format/vesk_ring.h"
#include "recovery/vesk_damage.h"
#include "recovery/vesk_problem.h"
#include "store/vesk_entry.h"
#include "store/vesk_log.h"
#include "store/vesk_probe.h"
#include "store/vesk_update.h"

namespace {

using vesk::finding;
using vesk::notes;
using vesk::probe;
using vesk::problem;

enum class step : uint8_t { go_on, finish };

struct first_pass {
  int32_t fd;
  uint32_t end;
  uint32_t max;
  uint32_t predicted_start;
  uint32_t curr;                        // the offset under examination
  uint32_t seg;                         // just behind the last good entry
  uint16_t prev_size = VESK_EHDR_SIZE;  // of the last good entry, 20 in front of the first
  uint32_t prev_secs = 0;
  uint32_t prev_usecs = 0;
  uint32_t corrupted = 0;  // over the whole pass
  uint32_t count = 0;      // entries that are not null
  uint32_t reason = VESK_GHDR_RECOVERED;
  uint32_t rewritten = 0;  // the last header that was
  bool in_damage = false;

  step fail(uint32_t why, const finding &found) {
    reason = why;
    notes.found = found;
    return step::finish;
  }
};

// A header may be rewritten twice, and counts once.
void rewrite_prev_size(first_pass &walk, uint32_t size) {
  uint32_t ignored = VESK_ERR_NONE;
  VESK_ERROR("Updating eheader at %d with size %d\n", walk.curr, size);
  if (vesk_update_eheader(walk.fd, walk.curr, static_cast<uint16_t>(size), &ignored) != 0) return;
  if (walk.rewritten != walk.curr) ++notes.headers_rewritten;
  walk.rewritten = walk.curr;
}

// Covers the `room` bytes from `seg` on.
step cover(first_pass &walk, uint32_t room) {
  uint32_t ignored = VESK_ERR_NONE;
  VESK_ERROR("Adding NULL entry at %d with size %d \n", walk.seg, room - VESK_EHDR_SIZE);
  if (vesk_add_null_entry(walk.fd, static_cast<int32_t>(walk.seg),
                          static_cast<uint16_t>(room - VESK_EHDR_SIZE), walk.prev_size,
                          &ignored) != 0) {
    VESK_ERROR("ERROR: Add NULL ent failed \n");
    return walk.fail(VESK_GHDR_LOST, {problem::null_entry_not_written, walk.seg});
  }
  ++notes.nulls_added;
  return step::go_on;
}

step step_over_damage(first_pass &walk) {
  VESK_ERROR("ERROR: Bad ehdr at offset %d\n", walk.curr);
  walk.corrupted += VESK_DAMAGE_STEP;
  if (walk.corrupted > VESK_MAX_DAMAGE) {
    VESK_ERROR("ERROR: corrupted size %d is beyond max %d\n", walk.corrupted, VESK_MAX_DAMAGE);
    return walk.fail(VESK_GHDR_BROKEN_OFF,
                     {problem::no_entry_in_damage, walk.seg, VESK_MAX_DAMAGE});
  }
  walk.curr += VESK_DAMAGE_STEP;
  if (walk.curr <= walk.max - VESK_EHDR_SIZE) {
    walk.in_damage = true;
    return step::go_on;
  }
  // The damage runs into the file's tail, and the pass ends there either way.
  const uint32_t room = walk.max - walk.seg;
  if (room <= VESK_EHDR_SIZE) {
    VESK_ERROR("ERROR: No space to add NULL ent Can't recover file \n");
    return walk.fail(VESK_GHDR_LOST, {problem::tail_without_room, walk.seg});
  }
  cover(walk, room);
  return step::finish;
}

// A good header ends a damaged stretch.
step cover_gap(first_pass &walk) {
  const uint32_t gap = walk.curr - walk.seg;
  if (gap <= VESK_EHDR_SIZE) {
    VESK_ERROR("ERROR: No space %d to add header %d Remove file. \n", gap, walk.seg);
    return walk.fail(VESK_GHDR_LOST, {problem::gap_without_room, walk.seg, gap});
  }
  if (cover(walk, gap) == step::finish) return step::finish;
  rewrite_prev_size(walk, gap - VESK_EHDR_SIZE);
  return step::go_on;
}

// In a file that may have wrapped, the oldest entry is the one where time steps back. Within one
// second it is the other way round: a later entry moves the prediction.
void predict(first_pass &walk, const vesk_ehdr &hdr) {
  if (walk.count < 2 || walk.end < walk.max) return;
  const double difference = static_cast<double>(hdr.secs) - static_cast<double>(walk.prev_secs);
  if (difference < 0) {
    walk.predicted_start = walk.curr;
    VESK_TRACE("TRACE:secs LT Predict start moved to %d\n", walk.predicted_start);
  } else if (difference == 0 && hdr.usecs > walk.prev_usecs) {
    walk.predicted_start = walk.curr;
    VESK_TRACE("TRACE:usecs LT Predict start moved to %d\n", walk.predicted_start);
  }
}

step step_over_entry(first_pass &walk, const vesk_ehdr &hdr) {
  if (walk.in_damage && cover_gap(walk) == step::finish) return step::finish;
  // Compared as it was read: a rewrite a moment ago is overwritten where the old value differs.
  if (hdr.prev_size != walk.prev_size) rewrite_prev_size(walk, walk.prev_size);
  if (hdr.type != VESK_NULL_ENTRY_TYPE) {
    ++walk.count;
    predict(walk, hdr);
  }
  const uint32_t next = walk.curr + vesk::entry_span(hdr.size);
  if (next > walk.max) {
    VESK_ERROR("ERROR: Curr %d is greater than max %d \n", next, walk.max);
    return walk.fail(VESK_GHDR_LOST, {problem::entry_beyond_capacity, walk.curr, next});
  }
  walk.prev_size = hdr.size;
  walk.prev_secs = hdr.secs;
  walk.prev_usecs = hdr.usecs;
  walk.seg = walk.curr = next;
  walk.in_damage = false;
  return step::go_on;
}

step one_step(first_pass &walk) {
  const vesk::slot slot = vesk::probe_slot(walk.fd, walk.curr);
  switch (slot.found) {
    case probe::good:
      return step_over_entry(walk, slot.hdr);
    case probe::bad_checksum:
      return step_over_damage(walk);
    case probe::seek_failed:
      VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d\n", walk.curr, errno);
      return walk.fail(VESK_GHDR_BROKEN_OFF, {problem::no_entry_in_file, walk.curr});
    case probe::short_read:
      VESK_ERROR("ERROR: ehdr read failed errno %d seek %d\n", errno, walk.curr);
      return walk.fail(VESK_GHDR_BROKEN_OFF, {problem::no_entry_in_file, walk.curr});
  }
  return step::finish;
}

// The chain from the predicted start: where it ends, and how many entries it met.
struct chain_walk {
  uint32_t last;
  uint32_t next;
  uint32_t seen = 0;
  uint32_t reason = VESK_GHDR_RECOVERED;
};

void report_failed_probe(const vesk::slot &slot, uint32_t curr) {
  if (slot.found == probe::seek_failed) {
    VESK_ERROR("ERROR: lseek failed to seek %d, errno = %d\n", curr, errno);
  } else if (slot.found == probe::short_read) {
    VESK_ERROR("ERROR: ehdr read failed at %d errno %d\n", curr, errno);
  }
}

chain_walk follow_chain(int32_t fd, uint32_t start, uint32_t max, uint32_t entry_count) {
  chain_walk chain{.last = start, .next = start};
  uint32_t laps = 0;
  uint32_t seen_before_lap = 0;
  while (chain.seen < entry_count) {
    const uint32_t curr = chain.next;
    const vesk::slot slot = vesk::probe_slot(fd, curr);
    if (slot.found != probe::good) {
      report_failed_probe(slot, curr);  // a bad checksum is no news here
      chain.reason = VESK_GHDR_BROKEN_OFF;
      return chain;
    }
    chain.last = curr;
    chain.next = vesk::next_slot(curr, slot.hdr.size, max);
    if (slot.hdr.type != VESK_NULL_ENTRY_TYPE) ++chain.seen;

    const bool wrapped = chain.next == VESK_GHEADER_SIZE;
    if (!wrapped || chain.seen >= entry_count) continue;
    if (++laps == 2 && chain.seen == seen_before_lap) {
      // Nothing but null entries in a whole lap: there is no more to be met.
      chain.next = curr;
      chain.reason = VESK_GHDR_BROKEN_OFF;
      return chain;
    }
    seen_before_lap = chain.seen;
  }
  return chain;
}

// The new end lies behind a start that is not the first slot. Walks once more from the start,
// without wrapping, over the entry at `new_end` as well: what lies behind that is the new start.
uint32_t start_behind_end(int32_t fd, uint32_t start, uint32_t new_end, uint32_t max,
                          uint32_t *reason) {
  uint32_t curr = start;
  while (curr <= new_end) {
    const vesk::slot slot = vesk::probe_slot(fd, curr);
    if (slot.found != probe::good) {
      report_failed_probe(slot, curr);
      if (slot.found == probe::bad_checksum) {
        VESK_ERROR("ERROR: ehdr checksum failed at %d \n", curr);
      }
      *reason = VESK_GHDR_LOST;
      notes.found = {problem::chain_broken, curr, new_end};
      break;
    }
    curr += vesk::entry_span(slot.hdr.size);
  }
  return curr == max ? VESK_GHEADER_SIZE : curr;
}

}  // namespace

int32_t vesk_ghdr_recovery_first_pass(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                                      uint32_t *reason, uint32_t *entry_count,
                                      uint32_t *predicted_start) {
  VESK_ERROR("gheader recovery start first phase  %d end %d max %d \n", start, end, max);
  first_pass walk{
      .fd = fd, .end = end, .max = max, .predicted_start = start, .curr = start, .seg = start};
  while (walk.curr < end && one_step(walk) == step::go_on) {
  }
  *entry_count = walk.count;
  *predicted_start = walk.predicted_start == max ? VESK_GHEADER_SIZE : walk.predicted_start;
  const bool nothing_found = walk.reason == VESK_GHDR_BROKEN_OFF && walk.count == 0;
  *reason = nothing_found ? VESK_GHDR_LOST : walk.reason;
  return *reason == VESK_GHDR_RECOVERED ? 0 : -1;
}

int32_t vesk_ghdr_recovery_second_pass(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                                       uint32_t *reason, uint32_t *new_end, uint32_t *new_start,
                                       uint32_t *last_entry, uint32_t entry_count) {
  *reason = VESK_GHDR_RECOVERED;
  VESK_ERROR("gheader recovery second pass start %d end %d max %d \n", start, end, max);
  const chain_walk chain = follow_chain(fd, start, max, entry_count);
  *last_entry = chain.last;
  *new_end = chain.next;
  VESK_TRACE("TRACE: reason %d entry_count %d \n", chain.reason, chain.seen);
  if (chain.reason == VESK_GHDR_BROKEN_OFF) VESK_TRACE("TRACE:New end for file %d\n", chain.next);

  if (start == VESK_GHEADER_SIZE) return 0;
  if (*new_end == start) *new_end = chain.last;  // a closed ring ends at its last entry
  if (start >= *new_end) return 0;
  *new_start = start_behind_end(fd, start, *new_end, max, reason);
  return *reason == VESK_GHDR_RECOVERED ? 0 : -1;
}
