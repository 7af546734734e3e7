// The entry writer: the lowest layer that changes a log file. It keeps no state, never reads back
// and never rolls back; the caller owns the open descriptor and decides the offsets.
//
// All return 0 or -1, and log at error level what they take for a failure.
#pragma once

#include <cstdint>

#include "format/vesk_format.h"

extern "C" {

// Writes the record's entry at `offset`: header, data, padding. The data of a record of type 0 are
// zero bytes, whatever the record holds. `prev_size` is rounded up to a multiple of four.
//
// A header write that returns -1 counts as complete, and so does a pad write: their counts are
// compared unsigned. Stores in `error_code`: 1 for a short write of 0 to 19 bytes of header or
// data, or of fewer pad bytes than asked; 2 when the data write failed with ENOSPC or EFAULT; 6
// when the seek failed with EINVAL.
int32_t vesk_add_entry(int32_t fd, int32_t offset, const vesk_log_req *record, uint16_t prev_size,
                       uint32_t *error_code);

// Writes a null entry of `size` zero bytes of data at `offset`, stamped with the present time. As
// vesk_add_entry(); when the clock cannot be read, nothing is written and no code is stored.
int32_t vesk_add_null_entry(int32_t fd, int32_t offset, uint16_t size, uint16_t prev_size,
                            uint32_t *error_code);

// Rewrites the global header. A write that returns -1 counts as complete.
int32_t vesk_update_gheader(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                            uint8_t version);

}  // extern "C"

namespace vesk {

// A global header with a checksum that holds.
vesk_gheader make_gheader(uint32_t start, uint32_t end, uint32_t max, uint8_t version);

}  // namespace vesk
