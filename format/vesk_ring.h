// The arithmetic of the ring, shared by everything that writes, walks or shows a log file.
#pragma once

#include <cstdint>

#include "format/vesk_format.h"

namespace vesk {

// A length rounded up to a multiple of four.
constexpr uint32_t padded(uint32_t length) {
  return (length + 3) & ~uint32_t{3};
}

// How many zero bytes bring `length` to a multiple of four.
constexpr uint32_t pad_bytes(uint32_t length) {
  return padded(length) - length;
}

// The bytes that an entry with `size` bytes of padded data occupies.
constexpr uint32_t entry_span(uint32_t size) {
  return VESK_EHDR_SIZE + size;
}

// The slot behind the entry of `size` bytes at `offset`: the first one where the ring's end is
// reached.
constexpr uint32_t next_slot(uint32_t offset, uint32_t size, uint32_t max) {
  const uint32_t next = offset + entry_span(size);
  return next >= max ? VESK_GHEADER_SIZE : next;
}

// The room that an entry with `length` bytes of data asks for: its header, its data and padding,
// and behind them at least 21 bytes, so that the null entry of the next wrap finds room for its
// header.
constexpr uint32_t space_for(uint32_t length) {
  return length + 44;
}

static_assert(padded(0) == 0 && padded(1) == 4 && padded(4) == 4 && padded(65533) == 65536);
static_assert(pad_bytes(5) == 3 && pad_bytes(8) == 0);
static_assert(next_slot(20, 4, 100) == 44);
static_assert(next_slot(20, 4, 44) == 20);  // landing exactly on max wraps

}  // namespace vesk
