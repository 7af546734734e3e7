// The trial that belongs to a number: always the same one.
#pragma once

#include <cstdint>
#include <optional>

#include "tests/support/trial.h"

namespace vesk::test {

trial random_trial(uint64_t seed);

// The one number that VESK_SEED asks for, if it asks for any.
std::optional<uint64_t> the_one_seed();

}  // namespace vesk::test
