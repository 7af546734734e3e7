// The two headers as the tests see them: bytes at offsets, without the daemon's own types.
#pragma once

#include <cstdint>
#include <span>

#include "tests/support/log_file.h"

namespace vesk::test {

constexpr uint32_t header_size = 20;
constexpr uint32_t first_slot = 20;

inline uint16_t get16(std::span<const uint8_t> bytes, uint32_t at) {
  return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}
inline uint32_t get32(std::span<const uint8_t> bytes, uint32_t at) {
  return uint32_t{get16(bytes, at)} << 16 | get16(bytes, at + 2);
}
inline void put16(std::span<uint8_t> bytes, uint32_t at, uint16_t value) {
  bytes[at] = static_cast<uint8_t>(value >> 8);
  bytes[at + 1] = static_cast<uint8_t>(value);
}
inline void put32(std::span<uint8_t> bytes, uint32_t at, uint32_t value) {
  put16(bytes, at, static_cast<uint16_t>(value >> 16));
  put16(bytes, at + 2, static_cast<uint16_t>(value));
}

// Stores, in the word at `at`, what makes the header's sum hold.
inline void complete_sum(std::span<uint8_t> header, uint32_t at = 6) {
  put16(header, at, 0);
  uint32_t sum = 0;
  for (uint32_t i = 0; i < header_size; i += 2) sum += get16(header, i);
  while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
  put16(header, at, static_cast<uint16_t>(0xFFFF - sum));
}

struct gheader_fields {
  bool holds;  // the magic and the sum
  uint8_t version;
  uint32_t max;
  uint32_t start;
  uint32_t end;
};

// What a file has for a global header; it is not there in a file that is too small.
inline gheader_fields gheader_of(std::span<const uint8_t> file) {
  if (file.size() < header_size) return {};
  return {.holds = get32(file, 0) == 0x7665736B && sum_holds(file.data()),
          .version = file[4],
          .max = get32(file, 8),
          .start = get32(file, 12),
          .end = get32(file, 16)};
}

}  // namespace vesk::test
