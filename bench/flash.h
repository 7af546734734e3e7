// A small flash with a file system of its own, on a loop device that counts what reaches it.
#pragma once

#include <string>

namespace vesk::bench {

class flash {
 public:
  // A fresh one with blocks of so many bytes, mounted over the log directory. Throws
  // std::runtime_error where that is not allowed.
  explicit flash(int block_size);
  ~flash();
  flash(const flash &) = delete;
  flash &operator=(const flash &) = delete;

  struct counts {
    double bytes;
    double requests;  // to write, and to flush what the device may hold back
  };
  // What has been written to the device so far, after everything that still waits has been.
  counts written() const;

 private:
  std::string device_;  // major and minor number, as the kernel's table of devices has them
};

// Whether this machine lets us have one; where it does not, says so on standard error.
bool flash_is_possible();

}  // namespace vesk::bench
