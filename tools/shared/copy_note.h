// What notes about copies of log files are written with.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace vesk::shared {

// The SHA-256 sum, in hexadecimal.
[[nodiscard]] std::string sha256_of(std::string_view content);

// "2026-01-31T12:00:00.000001Z"
[[nodiscard]] std::string utc_text(const timespec &when);

}  // namespace vesk::shared
