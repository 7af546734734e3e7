#include "forecast/vesk_forecast_second_pass.h"

#include "forecast/vesk_forecast_image.h"
#include "format/vesk_ring.h"

namespace vesk {

namespace {

// Where the chain from the predicted start ends.
struct chain_end {
  uint32_t last;  // the last good header
  uint32_t next;  // where the next one would be
};

// The chain ends behind the last of the entries, or where it breaks, or when a whole lap has met
// null entries only.
chain_end follow_chain(ring_bytes file, uint32_t start, uint32_t max, uint32_t entries) {
  chain_end chain{start, start};
  uint32_t seen = 0, seen_before_lap = 0, laps = 0;
  while (seen < entries) {
    const uint32_t curr = chain.next;
    const found_header found = header_at(file, curr);
    if (found.state != header_state::good) return chain;
    chain = {curr, next_slot(curr, found.header.size, max)};
    if (found.header.type != VESK_NULL_ENTRY_TYPE) ++seen;

    const bool wrapped = chain.next == VESK_GHEADER_SIZE;
    if (!wrapped || seen >= entries) continue;
    if (++laps == 2 && seen == seen_before_lap) return {curr, curr};
    seen_before_lap = seen;
  }
  return chain;
}

// The end lies behind a start that is not the first slot: the start moves behind the entry at the
// end, as far as a walk that does not wrap gets there.
void move_start_behind_end(ring_bytes file, uint32_t max, second_pass_result &ring) {
  const uint32_t from = ring.start;
  uint32_t curr = from;
  while (curr <= ring.end) {
    const found_header found = header_at(file, curr);
    if (found.state != header_state::good) {
      ring.failure = "the chain from the new start " + std::to_string(from) + " breaks at offset " +
                     std::to_string(curr) + ", before it has passed the new end " +
                     std::to_string(ring.end);
      return;
    }
    curr += entry_span(found.header.size);
  }
  ring.start = curr == max ? VESK_GHEADER_SIZE : curr;
}

}  // namespace

second_pass_result run_second_pass(ring_bytes file, uint32_t capacity, uint32_t predicted_start,
                                   uint32_t entries) {
  const chain_end chain = follow_chain(file, predicted_start, capacity, entries);
  second_pass_result ring{{}, predicted_start, chain.next};
  if (ring.start == VESK_GHEADER_SIZE) return ring;
  if (ring.end == ring.start) ring.end = chain.last;  // a closed ring ends at its last entry
  if (ring.start < ring.end) move_start_behind_end(file, capacity, ring);
  return ring;
}

}  // namespace vesk
