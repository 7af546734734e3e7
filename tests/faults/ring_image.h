// Rings in memory, entry by entry.
#pragma once

#include <cstdint>

#include "tests/support/ram_flash.h"

namespace vesk::test {

// What the entries have as the size of the one before them: the one that a repair would write, or
// none, as after plain appending.
enum class links : uint8_t { right, none };

class ring_image {
 public:
  ring_image(uint32_t capacity, links links) : capacity_(capacity), links_(links) {}

  // `size` is that of the data, a multiple of four.
  ring_image &entry(uint16_t type, uint16_t size, uint32_t secs);
  ring_image &null(uint16_t size, uint32_t secs);
  // Bytes among which no header begins, up to the next entry.
  ring_image &damage(uint32_t count);

  // The file, with the global header that says so.
  image file(uint32_t start, uint32_t end) const;

 private:
  ring_image &add(uint16_t uuid, uint16_t type, uint16_t size, uint32_t secs, uint8_t first);

  uint32_t capacity_;
  links links_;
  uint16_t last_size_ = 20;
  image body_;
};

}  // namespace vesk::test
