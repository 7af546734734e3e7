// A ring as a picture in characters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "reader/vesk_ring_map.h"

namespace vesk::veskshow {

// How a map fits a terminal: each character is so many bytes, a power of two, so that a ring takes
// at most eight rows.
struct map_scale {
  uint32_t bytes_per_cell;
  size_t cells_per_row;  // a multiple of eight
  size_t offset_width;   // of the offset before each row
};

[[nodiscard]] map_scale scale_of(uint32_t capacity, size_t columns);

// Appends the rows of a map that is not empty, and below them a line with the totals.
void append_map(std::string &out, const ring_map &map, const map_scale &scale, bool color);

// Appends what the characters mean.
void append_legend(std::string &out, bool color);

// Of the terminal that standard output is, else as the environment has it in COLUMNS. Where that
// says nothing, of the terminal that standard input is: a pager lies between this program and the
// terminal then. Else 80. Never more than 1000.
[[nodiscard]] size_t terminal_columns();

}  // namespace vesk::veskshow
