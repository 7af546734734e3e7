// Reading and writing a log file's bytes. One system call each, never repeated: when it moves fewer
// bytes than asked and errno is EIO, the flash is remounted before the count is returned. errno is
// looked at even after a short count that is no failure, and survives the remount.
#pragma once

#include <cstdint>

extern "C" {

// Both return what the system call returned: a count, or -1 with errno set.
int32_t vesk_read_fs(int32_t fd, void *buf, uint32_t len);
int32_t vesk_write_fs(int32_t fd, const void *buf, uint32_t len);

}  // extern "C"
