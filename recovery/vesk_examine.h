// What start-up looks at in one log file, and in which order.
#pragma once

#include <cstdint>

#include "recovery/vesk_problem.h"
#include "store/vesk_file_info.h"

namespace vesk {

// Examines the contents of an open file: its global header and, unless it is a kernel log, samples
// of its entries. Returns the first problem, which is logged. Writes nothing.
finding examine_contents(uint32_t file_type, int32_t fd, const file_info &file);

}  // namespace vesk
