// Whether an earlier instance ran: its process id, left in a file.
#pragma once

#include <cstdint>

namespace vesk {

// The process id in the file: 0 when there is no file, or no such number in it.
[[nodiscard]] uint32_t read_pid(const char *path);

// Stores the process id in the file; false with errno when that failed.
[[nodiscard]] bool write_pid(const char *path, uint32_t pid);

}  // namespace vesk
