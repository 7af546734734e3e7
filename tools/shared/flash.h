// The flash as this process sees it: its mount marker and its file system.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "format/vesk_catalogue.h"

namespace vesk::shared {

inline constexpr char log_directory[] = "/mnt/vesk";
static_assert(std::string_view(VESK_LOG_DIR).substr(0, sizeof log_directory - 1) == log_directory);

// The file whose absence makes the daemon drop every message.
[[nodiscard]] const char *marker_path();
[[nodiscard]] bool is_marked_mounted();

struct file_system {
  std::string trouble;  // why the rest is not known; else empty
  bool mount_point;     // whether the directory is one, and not a part of the file system around it
  uint64_t size;        // in bytes
  uint64_t free;        // of them, for processes without privilege
};

// Looks at the file system that holds the directory.
[[nodiscard]] file_system file_system_of(const char *directory);

}  // namespace vesk::shared
