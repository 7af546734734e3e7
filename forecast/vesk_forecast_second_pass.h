// The second pass of a repair: along the chain from where the oldest entry seems to lie, until it
// has met as many entries as the first pass. There the new end is. It writes nothing.
#pragma once

#include <cstdint>
#include <string>

#include "reader/vesk_ring_walk.h"

namespace vesk {

struct second_pass_result {
  std::string failure;  // why the file is given up; empty when it is not
  uint32_t start;       // of the rebuilt ring
  uint32_t end;
};

second_pass_result run_second_pass(ring_bytes file, uint32_t capacity, uint32_t predicted_start,
                                   uint32_t entries);

}  // namespace vesk
