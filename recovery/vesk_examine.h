// What start-up looks at in one log file, and in which order.
#pragma once

#include <cstdint>

#include "recovery/vesk_problem.h"
#include "store/vesk_file_info.h"

namespace vesk {

// Examines the contents of an open file: its global header and, unless it is a kernel log, samples
// of its entries. The first problem decides, and is logged and noted. Writes nothing. The fate is
// stay_marked where the file needs a repair, but its mark stays as it was.
file_fate examine_contents(uint32_t file_type, int32_t fd, const file_info &file);

}  // namespace vesk
