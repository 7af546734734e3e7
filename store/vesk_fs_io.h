// Moving in a log file, reading and writing its bytes. One system call each, never repeated.
#pragma once

#include <cstdint>

extern "C" {

// Both return what the system call returned: a count, or -1 with errno set. When it moved fewer
// bytes than asked and errno is EIO, the flash is remounted before that. errno is looked at even
// after a short count that is no failure, when it may be left from an earlier call, and survives
// the remount.
int32_t vesk_read_fs(int32_t fd, void *buf, uint32_t len);
int32_t vesk_write_fs(int32_t fd, const void *buf, uint32_t len);

}  // extern "C"

namespace vesk {

// Seeks to an offset from the file's start; false when that failed. `offset` is passed to the
// system as a signed 32-bit value, so that 2 GiB and above are refused with EINVAL.
bool seek_to(int32_t fd, uint32_t offset);

}  // namespace vesk
