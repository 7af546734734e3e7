// The terminal that a program shows something on.
#pragma once

#include <sys/ioctl.h>

#include <cstddef>

namespace vesk::shared {

// How many characters fit on a line of the terminal; 0 where it is none, or does not say.
[[nodiscard]] inline size_t columns_of_terminal(int fd) {
  winsize size{};
  return ioctl(fd, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace vesk::shared
