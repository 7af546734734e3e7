// Single entries, and what they look like in each form.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/veskshow/format.h"

namespace vesk::test {

constexpr uint32_t new_year = 1767225600;  // 2026-01-01 00:00:00 UTC

// An entry of kernel.log, unless the test says otherwise.
struct sample {
  std::string data = "text";  // as stored: with padding
  std::string_view file = "kernel.log";
  uint32_t file_type = 21;
  uint32_t offset = 20;
  uint16_t uuid = 510;
  uint16_t type = 1024;
  uint8_t flags = 0;
  uint16_t prev_size = 0;
  uint32_t secs = new_year;
  uint32_t usecs = 1;
  uint64_t set_back_usecs = 0;
  std::string_view certainty = {};
  uint64_t base = 0;
};

struct look {
  shared::time_zone zone = shared::time_zone::utc;
  veskshow::name_table names = {};
  bool color = false;
};

std::string shown_as(veskshow::output_format format, const sample &what, const look &how = {});

}  // namespace vesk::test
