// A log file's bytes as the daemon's start-up reads and writes them, in memory.
//
// Offsets may be any numbers: they come out of the file.
#pragma once

#include <cstdint>
#include <vector>

#include "forecast/vesk_forecast.h"
#include "format/vesk_format.h"

namespace vesk {

// How many damaged bytes start-up steps over in one search or pass.
constexpr uint32_t repairable_damage = 8192;

enum class header_state : uint8_t {
  good,
  bad,      // its checksum does not hold
  missing,  // the file ends before or within it
};

struct found_header {
  header_state state;
  vesk_ehdr header;  // meaningful unless it is missing
};

// The entry header at an offset, judged as the daemon does: by its checksum alone.
found_header header_at(ring_bytes file, uint32_t offset);

// Writes a null entry with so many bytes of zeros; the file grows where it ends before they do.
void write_null_entry(std::vector<uint8_t> &file, uint32_t offset, uint16_t size,
                      uint16_t prev_size, start_time now);

// Changes the field of the good header at `offset`; false, and nothing is changed, where there is
// none. The new checksum is made with the old one in its place, so that it mostly does not hold.
bool rewrite_prev_size(std::vector<uint8_t> &file, uint32_t offset, uint16_t prev_size);

void write_gheader(std::vector<uint8_t> &file, const ring_state &state);

}  // namespace vesk
