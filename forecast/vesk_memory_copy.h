// A copy of a file in memory, behind a descriptor like any other.
#pragma once

#include <sys/resource.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/vesk_fd.h"
#include "reader/vesk_ring_walk.h"

namespace vesk {

// While one lives, this process may write files up to its hard limit: how long a user wants files
// to become is not meant for copies in memory. One at a time.
class memory_copy {
 public:
  memory_copy();
  ~memory_copy();
  memory_copy(const memory_copy &) = delete;
  memory_copy &operator=(const memory_copy &) = delete;

  // Each is false where it fails, and errno says why.

  // Makes the copy, which may then be written to as far as `room` reaches.
  [[nodiscard]] bool make(ring_bytes bytes, size_t room);
  // The whole copy as it is now.
  [[nodiscard]] bool read(std::vector<uint8_t> &bytes) const;

  int32_t fd() const { return fd_.get(); }

 private:
  rlimit limit_;
  unique_fd fd_;
  size_t room_ = 0;
};

}  // namespace vesk
