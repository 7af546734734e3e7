// A forecast as one line of text, and files to predict the fate of.
#pragma once

#include <cstdint>
#include <string>

#include "forecast/vesk_forecast.h"
#include "tests/support/file_bytes.h"

namespace vesk::test {

constexpr uint32_t small_log = 7;      // of 8192 bytes
constexpr uint32_t larger_log = 6;     // of 131072 bytes
constexpr uint32_t platform_log = 25;  // of 1 MiB, behind the kernel logs
constexpr uint32_t kernel_log = 21;    // of 8 MiB
constexpr uint32_t kernel_big_log = 22;

// The whole forecast, which must not fail.
file_forecast predicted(uint32_t file_type, const std::string &file, bool repairs_ended = false);

// What becomes of the file, and why, without the figures of a rebuild:
//   keep
//   remove: end_beyond_capacity at 16; repair fails: file_ends_before_end at 104
// A finding's number is behind it in brackets, unless it is 0.
std::string fate_of(uint32_t file_type, const std::string &file, bool repairs_ended = false);

// What a rebuild comes to, or what fate_of() says where there is none:
//   start 20 end 72, 1 null, 2 rewritten, 3 readable then 1
std::string rebuild_of(uint32_t file_type, const std::string &file);

// An entry of 28 bytes. Where its prev_size is what the repair wants, the repair leaves it alone.
std::string item(uint16_t prev_size, uint32_t secs = noon, uint32_t usecs = 0);

// So many entries of 24 bytes.
std::string entries(uint32_t count);

// The entries behind a global header of 8192 bytes that asks for a repair and says nothing else.
std::string marked(const std::string &entries);

// The same up to the capacity, by a null entry.
std::string full(const std::string &entries);

// Entries of 24 bytes up to 8156, and one of 36 bytes that ends at the capacity.
std::string full_ring(uint32_t start, uint32_t end);

}  // namespace vesk::test
