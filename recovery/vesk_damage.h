// How much damage is worth stepping over.
#pragma once

#include <cstdint>

constexpr uint32_t VESK_MAX_DAMAGE = 8192;  // damaged bytes accepted in one check or repair
