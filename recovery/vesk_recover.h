// The sweep: the one place where marked files are repaired or given up.
#pragma once

#include <cstdint>

extern "C" {

// Works on every file type whose mark in vesk_file_sanity is not clean: mark 3 rebuilds the global
// header, any other mark repairs the entry headers. A file that fails a check or cannot be repaired
// is removed. Each mark is cleared, with one exception.
//
// A marked kernel log with a sound header ends the sweep at once: its descriptor stays open, its
// mark and those of the types behind it stay set. Returns 0, or -1, with nothing touched, when the
// flash has failed.
int32_t vesk_recover_corrupted_files(void);

}  // extern "C"
