// Writes beyond a file's capacity. The arithmetic of the ring makes a few of them, on purpose or
// because nothing guards against a header that lies; each of these has its name here. Any other is
// a mistake.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tests/support/ram_flash.h"
#include "tests/support/record.h"

namespace vesk::test {

struct stray_write {
  uint32_t capacity;
  uint32_t offset;
  std::span<const uint8_t> bytes;
  const image &before;           // the file when the operation began
  const image &now;              // and as the write finds it
  const record_fields *request;  // the record being logged; null during a start or a sweep
  std::string last_line;         // what was logged last before the write
};

// The name, or null when there is no excuse.
const char *excuse(const stray_write &write);

// All the names.
std::span<const char *const> excuses();

}  // namespace vesk::test
