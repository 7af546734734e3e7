// Does a log file whose global header is sound still have a sound entry chain? Three samples tell:
// up to 101 entries from `start`, the first slot, and the last good header in front of `end`.
#pragma once

#include <cstdint>

// Why a file counts as corrupted.

// The first slot cannot be read: not to be repaired.
constexpr uint32_t VESK_CORRUPT_UNREADABLE = 1;
// A bad header, or an impossible start and end.
constexpr uint32_t VESK_CORRUPT_CHAIN = 2;
// An I/O failure elsewhere, or no good header near the end.
constexpr uint32_t VESK_CORRUPT_END = 3;

extern "C" {

// `start`, `end` and `max` are the global header's. Reads headers only and never writes. Returns 0
// when the file is sound; -1 with `*reason` set when it is not. Logs three lines on every call.
int32_t vesk_check_file_corrupted(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                                  uint32_t *reason);

}  // extern "C"
