// What can be held against a global header and the size of its file. Nothing is read or logged.
#pragma once

#include <cstdint>

#include "format/vesk_format.h"
#include "recovery/vesk_problem.h"

namespace vesk {

// Whether the file is large enough for a global header.
constexpr finding check_file_size(uint32_t size) {
  return size < VESK_GHEADER_SIZE ? finding{problem::file_too_small, size} : finding{};
}

// The first problem that validation has with a file of this header. `capacity` is the catalogue's.
finding check_gheader(const vesk_gheader &header, uint32_t capacity, uint32_t size);

// The first problem that a repair has with it. It looks neither at the version nor at whether the
// offsets leave room in the ring: a repair is there for such headers.
finding check_gheader_to_repair(const vesk_gheader &header, uint32_t capacity, uint32_t size);

}  // namespace vesk
