// The bytes around a place that moves through something of any size: a file, a flash image or a
// device in pieces, or something that lies in memory as a whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "reader/vesk_ring_walk.h"

namespace vesk {

// Bytes that could not be read; zeros stand for them.
struct unreadable_stretch {
  uint64_t offset;
  uint64_t end;
  int error;
};

class byte_window {
 public:
  // So many bytes before and behind the place are at hand: two entries of the largest size.
  static constexpr uint64_t reach = uint64_t{128} << 10;

  explicit byte_window(ring_bytes all) : memory_(all), end_(all.size()) {}

  // The first `length` bytes behind the descriptor, which stays open as long as the window lives.
  byte_window(int fd, uint64_t length);

  // Moves forward, never back. What cannot be read is passed over, block by block. Returns whether
  // anything had to be read for it.
  bool move_to(uint64_t offset);

  // Where the bytes end; what is missing when they come to be read ends earlier than was said.
  [[nodiscard]] uint64_t end() const { return end_; }

  // Bytes within reach; fewer where they end before.
  [[nodiscard]] ring_bytes bytes(uint64_t offset, uint64_t length) const;

  // The stretch that holds this place within reach, or null.
  [[nodiscard]] const unreadable_stretch *unreadable_at(uint64_t offset) const;
  [[nodiscard]] bool all_readable() const { return unreadable_.empty(); }

  // Where the next bytes are that a file holds, at this place or behind it: holes are zeros.
  [[nodiscard]] uint64_t next_data(uint64_t offset) const;

 private:
  void read_more();
  void pass_over(uint64_t offset, int error);
  ring_bytes at_hand() const;

  ring_bytes memory_;
  int fd_ = -1;
  uint64_t end_;
  std::vector<uint8_t> buffer_;
  uint64_t base_ = 0;  // where the bytes at hand begin
  size_t filled_ = 0;  // how many there are
  std::vector<unreadable_stretch> unreadable_;
};

}  // namespace vesk
