// A forecast as one line of text.
#pragma once

#include <cstdint>
#include <string>

#include "forecast/vesk_forecast.h"

namespace vesk::test {

ring_bytes bytes_of(const std::string &file);

// What becomes of the file, and why, without the figures of a rebuild:
//   keep
//   remove, 16: end 9000 lies beyond ...; repair fails: the file ends at ...
std::string fate_of(uint32_t file_type, const std::string &file, bool repairs_ended = false);

// What a rebuild comes to, or what fate_of() says where there is none:
//   start 20 end 72, 1 null, 2 rewritten, 3 readable then 1
std::string rebuild_of(uint32_t file_type, const std::string &file);

}  // namespace vesk::test
