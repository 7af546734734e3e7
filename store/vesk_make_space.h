// Discarding the oldest entries.
#pragma once

#include <cstdint>

extern "C" {

// Walks the entries from `*start_inout` until at least `nspace` bytes are free, and stores the
// offset of the first entry that is kept. With `skip_bad`, damage met on the way is stepped over
// and covered with null entries, up to 4096 bytes in one stretch and 5120 in one call; without, it
// is a failure.
//
// Returns 0, or -1 with at least one error line; `*start_inout` is not written then, but null
// entries and headers already rewritten stay. Stores in `error_code`: 2 when no entry boundary can
// free `nspace` bytes, 3 when a null entry failed, 5 when a header read failed with EFAULT, 6 when
// a seek failed with EINVAL. The header behind a null entry is rewritten too, and a failure of that
// is no failure here; but the code that vesk_update_eheader() then stores stays, even with a result
// of 0.
int32_t vesk_make_space(int32_t fd, uint32_t max, uint32_t *start_inout, int32_t nspace,
                        uint8_t skip_bad, uint32_t *error_code);

}  // extern "C"
