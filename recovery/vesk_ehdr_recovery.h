// Repairing the entry headers between `start` and `end`.
#pragma once

#include <cstdint>

// What is stored in `result_code` on failure.
constexpr uint32_t VESK_EHDR_UNREADABLE = 1;  // a seek or a header read failed
constexpr uint32_t VESK_EHDR_LOST = 2;        // the file cannot be repaired

extern "C" {

// Walks the entries from `start` to `end`, as the global header has them. Damage in front of the
// first good entry is left behind by moving the start; damage behind one is covered with a null
// entry; `prev_size` is rewritten where it differs. Repairs made before a failure stay.
//
// Returns 0 when the walk reached `end` outside of damage, else -1 with `*result_code` set.
// `*new_start` is written only when the start moves: initialise it to `start`. `*last_entry` is 20,
// and then the offset of each good header passed.
int32_t vesk_ehdr_recovery(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                           uint32_t *result_code, uint32_t *new_start, uint32_t *last_entry);

}  // extern "C"
