// The levels of the daemon's own lines, as its event history has them.
#pragma once

#include <cstdint>

constexpr uint32_t VESK_LEVEL_TRACE = 100;
constexpr uint32_t VESK_LEVEL_ERROR = 101;
