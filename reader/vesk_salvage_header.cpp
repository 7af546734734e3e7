#include "reader/vesk_salvage_header.h"

#include <array>
#include <cstring>

#include "format/vesk_checksum.h"

namespace vesk {

namespace {

constexpr uint32_t modulus = 0xFFFF;  // of ones'-complement arithmetic in 16 bits

bool is_padded(uint16_t size) {
  return size % 4 == 0;
}

}  // namespace

bool may_be_header(const uint8_t *bytes) {
  vesk_ehdr header;
  std::memcpy(&header, bytes, sizeof header);
  if (header.type == VESK_NULL_ENTRY_TYPE) return false;
  if (header.reserved == 0 && header.uuid <= VESK_MAX_UUID) return true;
  std::array<uint32_t, sizeof header / 4> words;
  std::memcpy(words.data(), bytes, sizeof words);
  uint64_t sum = 0;
  for (const uint32_t word : words) sum += word;
  return sum % modulus == 0;  // of the longer words as of the 16-bit ones, in any byte order
}

int oddities(const vesk_ehdr &header) {
  return (header.uuid < 1 || header.uuid > VESK_MAX_UUID) + (header.type < VESK_MIN_OBJECT_TYPE) +
         !is_padded(header.size) + !is_padded(header.prev_size) + (header.reserved != 0);
}

bool looks_like_null(const vesk_ehdr &header) {
  return header.uuid == VESK_OWN_UUID && header.type == VESK_NULL_ENTRY_TYPE && header.flags == 0 &&
         header.reserved == 0 && is_padded(header.size) && is_padded(header.prev_size);
}

std::optional<uint16_t> rewritten_from(const vesk_ehdr &header) {
  // A complement of a sum that is not zero is never 0xFFFF.
  if (header.checksum == modulus || header.prev_size == 0) return {};
  const auto before =
      static_cast<uint16_t>((uint32_t{header.checksum} + header.prev_size) % modulus);
  return is_padded(before) ? std::optional(before) : std::nullopt;
}

bool is_neighbour(const vesk_ehdr &header) {
  return (oddities(header) == 0 || looks_like_null(header)) &&
         (checksum_holds(header) || rewritten_from(header));
}

}  // namespace vesk
