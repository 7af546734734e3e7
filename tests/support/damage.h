// The ways in which a log file comes to harm.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tests/support/dice.h"
#include "tests/support/ram_flash.h"

namespace vesk::test {

struct damage {
  const char *name;
  // `capacity` is that of the file's type. Any file may come in, an empty one too.
  void (*inflict)(image &file, uint32_t capacity, dice &dice);
};

std::span<const damage> all_damage();

// Where entry headers are, walking from the first slot as far as they hold.
std::vector<uint32_t> entry_offsets(const image &file);

}  // namespace vesk::test
