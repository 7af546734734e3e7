#include "host/vesk_stderr.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "base/vesk_errno.h"

namespace vesk {
namespace {

constexpr size_t prefix_size = 3;
constexpr size_t text_size = 1001;  // with the place of the newline, or of a terminator

}  // namespace

std::string_view without_line_end(std::string_view text) {
  for (;;) {
    const size_t last = text.find_last_not_of(' ');
    if (last == std::string_view::npos || text[last] != '\n') return text;
    text = text.substr(0, last);
  }
}

void print_line(priority level, const char *format, std::va_list args) {
  const errno_keeper keeper;
  char line[prefix_size + text_size];
  char *text = line;
  if (isatty(STDERR_FILENO) == 0) {
    *text++ = '<';
    *text++ = static_cast<char>(level);
    *text++ = '>';
  }
  const int wanted = std::vsnprintf(text, text_size, format, args);
  const size_t length = wanted < 0 ? 0 : std::min(static_cast<size_t>(wanted), text_size - 1);
  char *end = text + without_line_end({text, length}).size();
  *end++ = '\n';
  // There is nowhere to report that standard error cannot be written to.
  [[maybe_unused]] const ssize_t written =
      write(STDERR_FILENO, line, static_cast<size_t>(end - line));
}

void complain(priority level, const char *format, ...) {
  std::va_list args;
  va_start(args, format);
  print_line(level, format, args);
  va_end(args);
}

}  // namespace vesk
