// The checksum of the two 20-byte headers: the Internet checksum of RFC 1071.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

#include "store/vesk_format.h"

namespace vesk {

using header_bytes = std::array<uint8_t, 20>;

// The ones'-complement sum of the ten 16-bit words, carries folded back. (The sum commutes with a
// swap of the bytes, so reading the words big-endian gives the same stored bytes on any machine.)
constexpr uint16_t header_sum(const header_bytes &bytes) {
  uint32_t sum = 0;
  for (size_t i = 0; i < bytes.size(); i += 2) {
    sum += static_cast<uint32_t>(bytes[i] << 8 | bytes[i + 1]);
  }
  while (sum >= 0x10000) sum = (sum & 0xFFFF) + (sum >> 16);
  return static_cast<uint16_t>(sum);
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
