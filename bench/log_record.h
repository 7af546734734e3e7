// A log record as the benchmarks send it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vesk::bench {

struct log_record {
  uint16_t file_type = 5;
  uint16_t type = 1024;
  uint16_t length = 101;
  uint8_t sync = 0;
  bool update = false;
  uint32_t instance = 0;
  std::string text = {};  // what the data begin with
};

// As it is sent: big-endian fields, the text, then letters as far as the length goes.
std::vector<uint8_t> bytes_of(const log_record &record);

}  // namespace vesk::bench
