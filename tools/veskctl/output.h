// How veskctl says things: lines on standard error, exit statuses, names of files, times.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/vesk_failure.h"

namespace vesk::veskctl {

// Prints one line on standard error, "veskctl: " in front and a newline behind.
void complain(const std::string &text);

// The exit status: 0, or 1 after a line on standard error.
[[nodiscard]] int status_of(const failure &why);

// "vesk.log (5)", or "file type 38" where the catalogue has no name.
[[nodiscard]] std::string file_label(uint32_t file_type);

// "2026-01-31 12:00:00.000001", local time.
[[nodiscard]] std::string time_text(uint32_t secs, uint32_t usecs);

// The text on one line, without white space at its end, as shared::safely() shows it.
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace vesk::veskctl
