// The levels of the daemon's own lines, as its event history tells them.
#pragma once

#include <cstdint>

constexpr uint32_t VESK_LEVEL_TRACE = 100;
constexpr uint32_t VESK_LEVEL_ERROR = 101;
