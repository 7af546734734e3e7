// Lines on standard error.
#pragma once

#include <cstdarg>
#include <string_view>

namespace vesk {

// As the system journal numbers them.
enum class priority : char { error = '3', warning = '4', notice = '5', debug = '7' };

// The text without its line end, which is "\n", "\n " or nothing, depending on who wrote it.
[[nodiscard]] std::string_view without_line_end(std::string_view text);

// Writes the text as one line with exactly one newline at its end, in one system call; text beyond
// 1000 characters is cut. "<priority>" precedes it for the system journal, unless standard error
// is a terminal. Keeps errno, takes no lock and no heap.
void print_line(priority level, const char *format, std::va_list args)
    __attribute__((format(printf, 2, 0)));

// The host's own lines: they are always printed, whatever the debug level.
void complain(priority level, const char *format, ...) __attribute__((format(printf, 2, 3)));

}  // namespace vesk
