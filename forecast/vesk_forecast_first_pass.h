// The first pass of a repair: over the file as it lies there, from the first slot to the file's
// end. Damage is covered with null entries, `prev_size` is rewritten where it differs, entries are
// counted, and their time stamps tell where the oldest may lie.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "forecast/vesk_forecast.h"

namespace vesk {

struct first_pass_result {
  std::string failure;       // why the file is given up; empty when it is not
  uint32_t predicted_start;  // where the oldest entry seems to lie
  uint32_t entries;          // that the pass has met, null entries not counted
  uint32_t headers_rewritten;
  uint32_t nulls_added;
};

first_pass_result run_first_pass(std::vector<uint8_t> &file, uint32_t capacity, start_time now);

}  // namespace vesk
