// What is printed and what is recorded, as the operator asks for it.
#pragma once

#include <cstdint>

#include "protocol/vesk_levels.h"
#include "protocol/vesk_wire.h"

namespace vesk {

// How much is wanted, each including the ones before.
constexpr uint8_t want_nothing = 0;
constexpr uint8_t want_errors = 1;
constexpr uint8_t want_traces = 2;

// How much must be wanted for a line of this level.
constexpr uint8_t wanted_by(uint32_t level) {
  return level == VESK_LEVEL_TRACE ? want_traces : want_errors;
}

// Errors are printed from the very first moment; recording begins when the history is set up.
inline vesk_wire_debug debug_levels = {want_errors, want_nothing, {}};

}  // namespace vesk
