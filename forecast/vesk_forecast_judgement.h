// What start-up holds against a log file, check by check in its order; the first one that fails
// decides.
#pragma once

#include <cstdint>
#include <string>

#include "reader/vesk_ring_walk.h"

namespace vesk {

enum class sentence : uint8_t { keep, repair, remove };

struct judgement {
  sentence says = sentence::keep;
  uint32_t offset = 0;  // where and why, unless it is kept
  std::string reason = {};
};

// Of the file of this type, whose capacity by the catalogue it is.
judgement judge(uint32_t file_type, uint32_t capacity, ring_bytes file);

// A repair looks at the global header of a marked file again. Returns why it gives the file up
// there and then, or an empty string.
std::string refusal_to_repair(uint32_t capacity, ring_bytes file);

}  // namespace vesk
