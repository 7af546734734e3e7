// What is printed and what is recorded, as the operator asks for it.
#pragma once

#include <cstdint>

#include "protocol/vesk_levels.h"
#include "protocol/vesk_wire.h"

namespace vesk {

// How much must be wanted for a line of this level.
[[nodiscard]] constexpr uint8_t wanted_by(uint32_t level) {
  return level == VESK_LEVEL_TRACE ? VESK_WIRE_DEBUG_TRACE : VESK_WIRE_DEBUG_ERROR;
}

// Errors are printed from the very first moment; recording begins when the history is set up.
inline vesk_wire_debug debug_levels = {VESK_WIRE_DEBUG_ERROR, VESK_WIRE_DEBUG_NONE, {}};

}  // namespace vesk
