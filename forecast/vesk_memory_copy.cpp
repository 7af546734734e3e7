#include "forecast/vesk_memory_copy.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <span>

namespace vesk {

namespace {

// Moves bytes by `call` until all are moved or there are no more. Returns how many were, or -1.
template <typename Call, typename Byte>
ssize_t move_all(Call call, int32_t fd, std::span<Byte> bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = call(fd, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    if (count == 0) break;
    done += static_cast<size_t>(count);
  }
  return static_cast<ssize_t>(done);
}

}  // namespace

memory_copy::memory_copy() : fd_(memfd_create("vesk_forecast", MFD_CLOEXEC)) {
  getrlimit(RLIMIT_FSIZE, &limit_);
  const rlimit raised{limit_.rlim_max, limit_.rlim_max};
  if (limit_.rlim_cur != limit_.rlim_max) setrlimit(RLIMIT_FSIZE, &raised);
}

memory_copy::~memory_copy() {
  if (limit_.rlim_cur != limit_.rlim_max) setrlimit(RLIMIT_FSIZE, &limit_);
}

bool memory_copy::make(ring_bytes bytes, size_t room) {
  if (!fd_) return false;
  if (limit_.rlim_max < room) {  // where a write would raise a signal
    errno = EFBIG;
    return false;
  }
  room_ = room;
  return move_all(write, fd(), bytes) == static_cast<ssize_t>(bytes.size());
}

bool memory_copy::read(std::vector<uint8_t> &bytes) const {
  if (lseek(fd(), 0, SEEK_SET) != 0) return false;
  bytes.resize(room_);
  const ssize_t count = move_all(::read, fd(), std::span(bytes));
  bytes.resize(static_cast<size_t>(std::max<ssize_t>(count, 0)));
  return count >= 0;
}

}  // namespace vesk
