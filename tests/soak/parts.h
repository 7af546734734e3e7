// The parts of a quick and of a full run.
#pragma once

#include <vector>

#include "tests/soak/plan.h"

namespace vesk::soak {

enum class extent : uint8_t { quick, full };

std::vector<part> parts_of(extent chosen);

}  // namespace vesk::soak
