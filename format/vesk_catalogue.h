// The catalogue: which log files there are, and where they lie.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "format/vesk_format.h"

constexpr uint16_t VESK_KERNEL_LOG = 21;
constexpr uint16_t VESK_KERNEL_BIG_LOG = 22;
constexpr size_t VESK_CATALOGUE_ROWS = 16;

// A directory of at most 128 characters, a name of at most 118, and the terminator.
constexpr size_t VESK_PATH_DIR_MAX = 128;
constexpr size_t VESK_PATH_NAME_MAX = 118;
constexpr size_t VESK_PATH_SIZE = VESK_PATH_DIR_MAX + VESK_PATH_NAME_MAX + 1;

inline constexpr char VESK_LOG_DIR[] = "/mnt/vesk/";

// The file that is there while the flash is mounted.
inline constexpr char VESK_MOUNT_MARKER[] = "/kyte_mounted";

// One log file. The daemon reads the file type, the name and the size; the rest is for the programs
// that show the file.
struct vesk_catalogue_row {
  uint32_t key;  // owner uuid in the low half, file type in the high half
  const char *name;
  uint32_t max_size;             // capacity in bytes
  const char *show_library;      // or null
  const char *display_function;  // or null

  constexpr uint16_t owner() const { return static_cast<uint16_t>(key); }
  constexpr uint16_t file_type() const { return static_cast<uint16_t>(key >> 16); }
};

extern "C" {

extern const std::array<vesk_catalogue_row, VESK_CATALOGUE_ROWS> vesk_file_catalogue;

}  // extern "C"

namespace vesk {

// Whether the file is written by the kernel: start-up looks at none of its entries, and repairs no
// such file.
constexpr bool is_kernel_log(uint32_t file_type) {
  return file_type == VESK_KERNEL_LOG || file_type == VESK_KERNEL_BIG_LOG;
}

// The row of a file type, or null when the catalogue has none.
const vesk_catalogue_row *find_file(uint32_t file_type);

// Stores the path of the row's file, terminated; `path` has room for VESK_PATH_SIZE characters.
void log_path(const vesk_catalogue_row &row, char *path);

}  // namespace vesk
