// Rewriting an entry where it lies.
//
// Both operations log every failure at error level and store in `error_code`: 5 when a header read
// failed with EFAULT, 6 when a seek to an entry failed with EINVAL, 1 when the write of a changed
// header fell short; vesk_check_update_type() also what vesk_add_entry() stores.
#pragma once

#include <cstdint>

#include "format/vesk_format.h"

// What vesk_check_update_type() stores in `not_found`.
constexpr uint8_t VESK_UPDATE_NOT_FOUND = 1;  // nothing to update: the caller appends instead
constexpr uint8_t VESK_UPDATE_TOO_SMALL = 2;  // the entry cannot hold the record, which is dropped

extern "C" {

// Looks among the live entries for the one with the record's uuid and type that the record's
// `instance` names, and rewrites it, header and data, with the record. With more instances asked
// for than there are, the last one is taken. `start`, `end` and `max` are the global header's.
//
// Returns 0 when the entry was rewritten, and also when it was too small (`not_found` = 2); -1
// otherwise, with `not_found` = 1 where there is no such entry. `not_found` is written in these two
// cases only.
int32_t vesk_check_update_type(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                               const vesk_log_req *record, uint8_t *not_found,
                               uint32_t *error_code);

// Rewrites `prev_size` in the entry header at `offset`. The new checksum is summed with the old
// checksum word in place, so that the header holds afterwards only where the old word was 0x0000 or
// 0xFFFF. Returns 0 or -1.
int32_t vesk_update_eheader(int32_t fd, uint32_t offset, uint16_t prev_size, uint32_t *error_code);

}  // extern "C"
