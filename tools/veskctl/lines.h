// Lines of any length from a stream, in bounded memory.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace vesk::veskctl {

enum class line_read { whole, too_long, end };

// Reads up to the next newline or the stream's end and stores what was there, without the newline,
// in `line`; of a line longer than `limit` bytes only the first `limit`, and the rest is gone.
line_read read_line(std::FILE *stream, size_t limit, std::string &line);

}  // namespace vesk::veskctl
