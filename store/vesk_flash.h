// What the store needs of the flash file system as a whole. The flash control of the daemon defines
// these; the store only calls them.
#pragma once

#include <sys/stat.h>

#include <cstdint>

extern "C" {

// stat(); when that fails with EIO, remounts the flash first and still returns the failure, with
// errno as stat() left it.
int32_t vesk_stat_fs(const char *path, struct stat *st);

// Removes the marker of a mounted flash, unmounts the flash and starts the mount program, which
// makes the marker again once the flash is back. Does nothing while the marker is absent. Returns
// what starting the mount program returned, or the failure of the look at the marker. From the
// fourth remount on, each is reported as an exception. Keeps errno.
int32_t vesk_remount_fs(void);

// Starts the removal of a log file and does not wait for it. Logs at trace level how the start
// went.
void vesk_remove_file(const char *path);

}  // extern "C"
