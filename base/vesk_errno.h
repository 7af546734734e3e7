// errno, kept over whatever happens in between.
#pragma once

#include <cerrno>

namespace vesk {

// Gives errno back as it was, at the end of its life and whenever asked.
class errno_keeper {
 public:
  errno_keeper() = default;
  errno_keeper(const errno_keeper &) = delete;
  errno_keeper &operator=(const errno_keeper &) = delete;
  ~errno_keeper() { restore(); }
  void restore() const { errno = saved_; }

 private:
  int saved_ = errno;
};

}  // namespace vesk
