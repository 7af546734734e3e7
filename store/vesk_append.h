// Adding a record to its ring.
#pragma once

#include <cstdint>

#include "format/vesk_format.h"

extern "C" {

// Stores the record as a new entry at the ring's end, or, when its `update` byte is 1 and there is
// an entry to update, in that entry. `file_size` is the file's present size, `max_size` the
// catalogue's capacity. Counts the entry for its sender, whose uuid must be at most VESK_MAX_UUID.
//
// Returns 0, also when the entry to update was too small and the record was dropped; else -1, with
// at least one error line. Stores in `error_code`: 4 when the seek to the global header failed with
// EBADF, 5 when its read failed with EFAULT, and what the operations that it calls store.
int32_t vesk_append(int32_t fd, const vesk_log_req *record, uint32_t file_size, uint32_t max_size,
                    uint32_t *error_code);

}  // extern "C"
