// A descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <utility>

namespace vesk {

// Owns a descriptor (or none, -1). The destructor closes it: an errno that is still wanted has to
// be taken before, because a close that fails leaves its own.
class unique_fd {
 public:
  explicit unique_fd(int32_t fd) : fd_(fd) {}
  unique_fd(unique_fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  unique_fd(const unique_fd &) = delete;
  unique_fd &operator=(const unique_fd &) = delete;
  unique_fd &operator=(unique_fd &&) = delete;
  ~unique_fd() {
    if (fd_ >= 0) close();
  }

  int32_t get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

  // Gives the descriptor up without closing it.
  void release() { fd_ = -1; }

  // Closes now and returns what close() returned, errno included.
  int32_t close() { return ::close(std::exchange(fd_, -1)); }

 private:
  int32_t fd_;
};

}  // namespace vesk
