// What the fuzzer's bytes mean: the first says what is done, the rest is the log file.
#pragma once

#include <cstdint>
#include <span>

#include "tests/support/trial.h"

namespace vesk::test {

// Any bytes will do; of nothing, an empty file.
trial trial_of_input(std::span<const uint8_t> input);

// The first byte that leads to this step with a file of this type, or to one of the types that the
// fuzzer knows in its place. `records` chooses among the records that are logged.
uint8_t first_byte_for(opening first_step, uint32_t file_type, uint32_t records);

}  // namespace vesk::test
