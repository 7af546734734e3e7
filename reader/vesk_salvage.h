// Finding every entry that can still be had among any bytes: a damaged log file, what was left of a
// removed one, a flash image, a device.
//
// Each place at a multiple of four is looked at, and each place that the chain of the ring leads
// to. An entry is found where
//
//   - the chain leads to it, whatever its header says besides;
//   - its checksum holds and at most one thing about it is odd (see oddities(); data that would go
//     on behind the end of the bytes count as one more). With two or more it is taken for other
//     bytes that sum up by chance, or for a stretch of equal bytes: 0xFF throughout makes a header
//     whose checksum holds. Of random bytes, one place in 23 million passes with one thing odd, one
//     in 6,500 million with none;
//   - its checksum is what a rewrite of `prev_size` leaves (see vesk_salvage_header.h) and nothing
//     about it is odd, except that its data may be cut off: one place of random bytes in 3,000
//     million.
//
// Null entries and whatever else has type 0 are no entries; zeros hold none at all.
//
// How sure an entry is:
//
//   chain      the walk from the global header's start reaches it
//   sure       nothing is odd, its checksum holds, and what is behind it confirms its size: another
//              header, a global header, the ring's end or the end of the bytes
//   likely     the same, but nothing is behind it
//   rewritten  known by the rewrite. Nothing checks the other fields of its header any more.
//   doubtful   something is odd, its data are cut off, or it shares bytes with a surer entry
//
// Bytes that two entries claim: an entry's data may hold a copy of another entry, may have been
// overwritten, or may never have reached the flash, so that older entries still lie there whole. So
// both are given, but only one of them keeps its standing: the surer one (a rewritten entry with a
// header behind it is surer than a likely one), of two that are equally sure the one that begins
// first. The other is doubtful; where its data run into a surer header, only those in front of that
// header are counted as whole. Two headers cannot share bytes: then only the surer, or the first,
// is given. An entry of the chain keeps its standing in any case: where the last one runs over the
// ring's end and into the first, the walk yields both.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "reader/vesk_byte_window.h"
#include "reader/vesk_ring_walk.h"

namespace vesk {

enum class certainty : uint8_t { doubtful, rewritten, likely, sure, chain };
constexpr size_t certainty_count = 5;

// "doubtful", "rewritten", "likely", "sure", "chain".
[[nodiscard]] std::string_view certainty_name(certainty level);

struct salvaged_entry {
  uint64_t offset;   // of its header; entry.offset has only the low 32 bits of it
  ring_entry entry;  // its data are those that are whole, in memory until next() is called again
  certainty level;
  uint16_t size;  // of the data as its header has it

  [[nodiscard]] bool whole() const { return entry.data.size() == size; }
};

// A global header that is not the one by which the chain is walked.
struct salvaged_gheader {
  uint64_t offset;
  ring_state state;
};

using salvaged = std::variant<salvaged_entry, salvaged_gheader, unreadable_stretch>;

// Goes once through the bytes. Takes the same memory for any number of them, and for a ring four
// bytes more for each entry of its chain.
class salvage {
 public:
  // A whole file, which may be a ring; `capacity` as for begin_walk(). The image must outlive this.
  salvage(ring_bytes image, uint32_t capacity);

  // The first `length` bytes behind the descriptor, which are no ring. The descriptor stays the
  // caller's.
  salvage(int fd, uint64_t length);

  // What comes next, in the order of the offsets, or nothing at the end.
  [[nodiscard]] std::optional<salvaged> next();

  // Empty where there is no chain.
  [[nodiscard]] const std::optional<ring_state> &ring() const { return ring_; }

  // What is wrong with the chain, or why there is none.
  [[nodiscard]] const std::optional<ring_damage> &damage() const { return damage_; }

 private:
  enum class kind : uint8_t { entry, gheader, unreadable };

  // How sure a thing is in comparison with others: `certainty` with finer steps.
  enum class rank : uint8_t {
    doubtful,
    rewritten,
    likely,
    rewritten_confirmed,
    sure,
    chain,
    unreadable,  // whatever was there, an entry around it is not whole
  };

  struct candidate {
    kind what;
    uint64_t offset;
    uint64_t end;
    rank surety;
    int error = 0;  // of what is unreadable
  };

  bool at_end() const;
  void look_at_next_place();
  bool pass_over_hole();
  void pass_over_noise();
  void look_at(uint64_t offset);
  void add(const candidate &found);
  void add_unreadable(const unreadable_stretch &stretch);

  std::optional<rank> surety_of(const vesk_ehdr &header, uint64_t offset, uint64_t end) const;
  bool confirmed_behind(uint64_t end) const;
  bool rewrite_is_tied(uint64_t offset, const vesk_ehdr &header, uint16_t former) const;
  bool is_in_gheader(uint64_t offset, const vesk_ehdr &header) const;
  std::optional<vesk_ehdr> entry_ending_at(uint64_t end, uint16_t size) const;
  std::optional<vesk_ehdr> header_at(uint64_t offset) const;

  bool head_is_settled() const;
  salvaged settle(candidate found);
  uint64_t give_way(candidate &found);
  salvaged_entry entry_at(const candidate &found, uint64_t whole_end) const;

  byte_window window_;
  std::optional<ring_state> ring_;
  std::optional<ring_damage> damage_;
  std::vector<uint32_t> chain_;  // offsets of its entries, the lowest first
  size_t next_in_chain_ = 0;
  uint64_t next_place_ = 0;
  std::deque<candidate> pending_;  // in whose data others may still be found; in order of offsets
  std::vector<candidate> claims_;  // settled entries in whose data pending ones may begin
};

}  // namespace vesk
