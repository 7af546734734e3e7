// Validation: what becomes of every log file at a first start.
#pragma once

#include <cstdint>

extern "C" {

// Examines the file of each type. What can neither be trusted nor repaired is removed; what may be
// repaired is marked in vesk_file_sanity, and the sweep runs at the end if anything was. Always 0.
int32_t vesk_validate_files(void);

}  // extern "C"
