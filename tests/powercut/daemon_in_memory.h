// The daemon with one log file, in memory: one operation at a time on a file that is given, and
// what it made of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/powercut/power_cut.h"
#include "tests/support/record.h"

namespace vesk::test {

struct daemon_step {
  maybe_image file;                 // as it is left
  std::vector<flash_write> writes;  // in their order, the making of the file included
  bool served = true;               // of a record: whether it was accepted
  bool ended = true;                // false where it was stopped because it went on and on
  std::vector<std::string> lines;   // logged, where they are wanted
};

// Whether a start or a record has written to the file, made it or removed it.
inline bool touched(const maybe_image &before, const daemon_step &step) {
  return !step.writes.empty() || before.has_value() != step.file.has_value();
}

// One at a time. While it lives, the system calls on files are its own.
class daemon_in_memory {
 public:
  explicit daemon_in_memory(uint32_t file_type, bool keep_lines = false);
  ~daemon_in_memory();
  daemon_in_memory(const daemon_in_memory &) = delete;
  daemon_in_memory &operator=(const daemon_in_memory &) = delete;

  // The first start after a boot.
  daemon_step start(const maybe_image &file);
  daemon_step log(const maybe_image &file, const record_fields &fields);

 private:
  void begin(const maybe_image &file, uint64_t allowed_calls);
  daemon_step end(const maybe_image &before);

  const std::string path_;
  const uint32_t capacity_;
  const bool keep_lines_;
  ram_flash flash_;
  std::vector<flash_write> writes_;
};

}  // namespace vesk::test
