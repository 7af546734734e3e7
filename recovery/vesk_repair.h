// The repair of one marked file.
#pragma once

#include <cstdint>

#include "recovery/vesk_problem.h"
#include "store/vesk_file_info.h"

namespace vesk {

// Looks at the global header of an open file again, and repairs what its mark says, which is not
// clean: mark 3 rebuilds the global header, any other mark repairs the entry headers. Repairs made
// before a failure stay.
//
// Returns rebuild where it is repaired; remove where it cannot be, and has to be removed;
// stay_marked for a kernel log with a sound header, at which the repairs end.
file_fate repair_file(uint32_t file_type, uint32_t mark, int32_t fd, const file_info &file);

}  // namespace vesk
