// The checksum of the two 20-byte headers: the Internet checksum of RFC 1071.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "format/vesk_format.h"

namespace vesk {

using header_bytes = std::array<uint8_t, 20>;

constexpr uint16_t fold(uint64_t sum) {
  while (sum >= 0x10000) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(sum);
}

// The ones'-complement sum of the ten 16-bit words, carries folded back. As RFC 1071 shows, wider
// words may be added in the machine's own byte order, and the bytes of the sum be swapped at the
// end.
constexpr uint16_t header_sum(const header_bytes &bytes) {
  uint64_t sum = 0;
  for (const uint32_t word : std::bit_cast<std::array<uint32_t, 5>>(bytes)) sum += word;
  const uint16_t folded = fold(sum);
  if constexpr (std::endian::native == std::endian::big) return folded;
  return static_cast<uint16_t>(folded << 8 | folded >> 8);
}

// Whether the header's checksum holds. A header of all zeros does not: its sum is 0.
template <typename Header>
constexpr bool checksum_holds(const Header &header) {
  return header_sum(std::bit_cast<header_bytes>(header)) == 0xFFFF;
}

// The complement of the sum of the header as it stands, the old checksum word included. Only over a
// cleared checksum word does it give a checksum that holds.
template <typename Header>
constexpr uint16_t complement_of_sum(const Header &header) {
  return static_cast<uint16_t>(~header_sum(std::bit_cast<header_bytes>(header)));
}

template <typename Header>
constexpr void set_checksum(Header &header) {
  header.checksum = 0;
  header.checksum = complement_of_sum(header);
}

static_assert(header_sum(header_bytes{}) == 0);
static_assert(header_sum(header_bytes{0xFF, 0xFF, 0, 1}) == 1);  // one carry folds back

}  // namespace vesk

extern "C" {

// 0 when the header's magic is "vesk" and its checksum holds, else -1. Looks at neither the version
// nor the offsets.
int32_t vesk_check_gheader(const vesk_gheader *header);

}  // extern "C"
