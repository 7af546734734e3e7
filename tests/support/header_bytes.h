// The two headers as the tests see them: bytes at offsets, without the daemon's own types. A second
// view of the format, against which the first is held.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vesk::test {

using image = std::vector<uint8_t>;  // a whole file

constexpr uint32_t header_size = 20;
constexpr uint32_t first_slot = 20;

inline uint16_t get16(std::span<const uint8_t> from, uint32_t at) {
  return static_cast<uint16_t>(from[at] << 8 | from[at + 1]);
}
inline uint32_t get32(std::span<const uint8_t> from, uint32_t at) {
  return uint32_t{get16(from, at)} << 16 | get16(from, at + 2);
}
inline void put16(std::span<uint8_t> to, uint32_t at, uint16_t value) {
  to[at] = static_cast<uint8_t>(value >> 8);
  to[at + 1] = static_cast<uint8_t>(value);
}
inline void put32(std::span<uint8_t> to, uint32_t at, uint32_t value) {
  put16(to, at, static_cast<uint16_t>(value >> 16));
  put16(to, at + 2, static_cast<uint16_t>(value));
}

// Whether the ten words from here on sum up to 0xFFFF.
bool sum_holds(const uint8_t *header);
// Stores, in the word at `at`, what makes the header's sum hold.
void complete_sum(std::span<uint8_t> header, uint32_t at = 6);

using header_bytes = std::array<uint8_t, header_size>;

struct entry_fields {
  uint16_t uuid = 77;
  uint16_t type = 1024;
  uint16_t size = 0;  // of the data
  uint8_t flags = 0;
  uint16_t prev_size = 0;
  uint32_t secs = 0x5F000000;
  uint32_t usecs = 0x01234;
  std::optional<uint16_t> sum = {};  // to be stored in place of the right one
};

header_bytes entry_header(const entry_fields &fields);
header_bytes global_header(uint32_t max, uint32_t start, uint32_t end, uint8_t version = 1);

struct gheader_fields {
  bool holds;  // the magic and the sum
  uint8_t version;
  uint32_t max;
  uint32_t start;
  uint32_t end;
};

// What a file has for a global header; it is not there in a file that is too small.
gheader_fields gheader_of(std::span<const uint8_t> file);

}  // namespace vesk::test
