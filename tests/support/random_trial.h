// The trial that belongs to a number: always the same one.
#pragma once

#include <cstdint>

#include "tests/support/trial.h"

namespace vesk::test {

trial random_trial(uint64_t seed);

}  // namespace vesk::test
