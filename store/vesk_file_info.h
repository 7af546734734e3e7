// Where the log file of a type lies and how large it is and may become.
#pragma once

#include <sys/stat.h>

#include <cstdint>

#include "format/vesk_catalogue.h"

extern "C" {

// Stores the file's path (`path` has room for VESK_PATH_SIZE characters), its capacity and its
// current size in bytes. Returns 0, or -1 when the catalogue has no such type (nothing is stored)
// or the file's status cannot be had, typically because it does not exist (`path` and `max_size`
// are stored then, `file_size` is not).
int32_t vesk_get_file_info(uint32_t file_type, uint32_t *max_size, uint32_t *file_size, char *path);

}  // extern "C"

namespace vesk {

// What vesk_get_file_info() stores.
struct file_info {
  char path[VESK_PATH_SIZE];
  uint32_t max_size;
  uint32_t size;
};

// The file's size in bytes. One that 32 bits cannot say is the largest that they can.
uint32_t size_of_file(const struct stat &status);

}  // namespace vesk
