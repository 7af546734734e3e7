#include "host/vesk_pid_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <climits>
#include <cstdio>

#include "base/vesk_fd.h"

namespace vesk {
namespace {

uint32_t parse_pid(const char *text, const char *end) {
  uint32_t pid = 0;
  const auto [rest, error] = std::from_chars(text, end, pid);
  if (error != std::errc() || pid > INT_MAX) return 0;
  const bool whole = rest == end || (rest + 1 == end && *rest == '\n');
  return whole ? pid : 0;
}

}  // namespace

uint32_t read_pid(const char *path) {
  const unique_fd fd(open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  char text[32];
  const ssize_t length = fd ? read(fd.get(), text, sizeof text) : 0;
  return length > 0 ? parse_pid(text, text + length) : 0;
}

bool write_pid(const char *path, uint32_t pid) {
  char text[32];
  const int length = std::snprintf(text, sizeof text, "%u\n", pid);
  const unique_fd fd(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644));
  return fd && write(fd.get(), text, static_cast<size_t>(length)) == length;
}

}  // namespace vesk
