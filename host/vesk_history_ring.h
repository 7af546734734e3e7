// A ring of records of different lengths, in which new ones push out the oldest.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string_view>

#include "protocol/vesk_wire.h"

namespace vesk {

// A record lies in the ring as its order, a number that its writer chose, and behind it the form in
// which it is read out: a vesk_wire_history, its text, padding to a multiple of four.
//
// No lock: a signal handler may append while it interrupts an append, provided that it ends the
// process. A record counts only once it is complete.
class history_ring {
 public:
  // `storage` has a power of two of bytes, at least 1024.
  explicit constexpr history_ring(std::span<char> storage) : storage_(storage) {}

  // Appends a record; the text is cut at 512 bytes, and `head.length` is set to what is left of it.
  void append(uint32_t order, vesk_wire_history head, std::string_view text);

  // Walking through: positions are those of first() and next() until the next append, and there is
  // a record at a position while it is not end().
  uint32_t first() const { return tail_.load(); }
  uint32_t end() const { return head_.load(); }
  [[nodiscard]] uint32_t next(uint32_t position) const;
  uint32_t order_at(uint32_t position) const;
  uint32_t record_size(uint32_t position) const;  // of what read_out() wants: without the order
  void read_out(uint32_t position, std::span<char> record) const;

 private:
  void copy_in(uint32_t position, std::string_view bytes);
  void copy_out(uint32_t position, std::span<char> bytes) const;
  uint32_t place(uint32_t position) const;
  uint32_t up_to_wrap(uint32_t position, size_t wanted) const;

  std::span<char> storage_;
  // Bytes ever dropped and ever written; both wrap around, their difference holds.
  std::atomic<uint32_t> tail_ = 0;
  std::atomic<uint32_t> head_ = 0;
};
static_assert(std::atomic<uint32_t>::is_always_lock_free);

}  // namespace vesk
