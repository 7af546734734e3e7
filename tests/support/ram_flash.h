// Log files in memory, under the system calls of the test program.
//
// Tens of thousands of damaged files go through the daemon's code in seconds this way, and every
// call can be watched. While a ram_flash lives, the calls of open, stat, lseek, read, write and
// close come to it and know its files alone; otherwise they go on to the system. The clock stands
// still either way, so that the same calls leave the same bytes. Files of memfd_create() are in
// memory too, always.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/header_bytes.h"

namespace vesk::test {

class ram_flash {
 public:
  ram_flash();
  virtual ~ram_flash();
  ram_flash(const ram_flash &) = delete;
  ram_flash &operator=(const ram_flash &) = delete;

  void put(const std::string &path, image bytes);
  void remove(std::string_view path);
  // The file's bytes; null when there is none.
  const image *find(std::string_view path) const;

  // How many calls there may be from now on. When they are spent every call but close() fails with
  // EBADF, so that a walk that would not have ended ends; code that goes on even so is aborted.
  void allow(uint64_t calls);
  uint64_t calls() const { return calls_; }
  bool overspent() const { return calls_ > allowed_; }

  // The power goes when so many more bytes are written: the rest of that write is lost, nothing is
  // removed any more, and every call but close() fails, so that the daemon comes to an end.
  void cut_power_after(uint64_t bytes) { powered_bytes_ = bytes; }

  // Sees every write before it happens.
  std::function<void(const std::string &path, uint32_t offset, std::span<const uint8_t>)> on_write;

  std::vector<std::string> open_files() const;
  void close_all() { open_.clear(); }

  // For the intercepted calls themselves, and for a flash that makes them fail. Results and errno
  // are the system's.
  virtual int32_t open(const char *path, int flags);
  virtual int32_t size(const char *path, uint32_t *bytes);
  virtual int64_t seek(int32_t fd, int64_t offset);
  virtual int64_t read(int32_t fd, void *buf, size_t count);
  virtual int64_t write(int32_t fd, const void *buf, size_t count);
  virtual int32_t close(int32_t fd);
  virtual int32_t clock(timeval *now);

 private:
  struct file {
    std::string path;
    image bytes;
  };
  struct open_file {
    std::shared_ptr<file> to;
    uint32_t position = 0;
  };

  bool spend();
  open_file *opened(int32_t fd);

  std::map<std::string, std::shared_ptr<file>, std::less<>> files_;
  std::map<int32_t, open_file> open_;
  int32_t next_fd_ = 1000;  // beyond any descriptor that the process has
  uint64_t calls_ = 0;
  uint64_t allowed_ = UINT64_MAX;
  uint64_t powered_bytes_ = UINT64_MAX;
};

}  // namespace vesk::test
