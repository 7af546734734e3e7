// Rebuilding a lost global header from the entries, in two passes.
#pragma once

#include <cstdint>

// What the passes store in `reason`.

constexpr uint32_t VESK_GHDR_RECOVERED = 0;
// The pass ended early: the first one behind entries that count, the second where the chain breaks,
// which it does not report.
constexpr uint32_t VESK_GHDR_BROKEN_OFF = 1;
// The file is beyond repair.
constexpr uint32_t VESK_GHDR_LOST = 2;

extern "C" {

// Walks the file physically from `start` to `end` (its size), covers damage with null entries,
// rewrites `prev_size` where it differs, counts the entries that are not null, and predicts from
// their time stamps where the oldest lies. `max` is the catalogue's capacity. All three results are
// always stored; repairs made before a failure stay. Returns 0 when `*reason` is 0, else -1.
int32_t vesk_ghdr_recovery_first_pass(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                                      uint32_t *reason, uint32_t *entry_count,
                                      uint32_t *predicted_start);

// Follows the chain from `start` (the prediction) until it has met `entry_count` entries that are
// not null; where it stops is the new end. `end` is only logged. Writes nothing to the file.
//
// Stores `*reason`, `*new_end` and `*last_entry` always, `*new_start` only where the start has to
// move. Returns 0 when `*reason` is 0, else -1. Where the chain breaks is the new end, and no
// failure; but behind a start other than the first slot there has to be a good header at the end.
int32_t vesk_ghdr_recovery_second_pass(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                                       uint32_t *reason, uint32_t *new_end, uint32_t *new_start,
                                       uint32_t *last_entry, uint32_t entry_count);

}  // extern "C"
