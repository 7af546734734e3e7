// Log files made by hand: a ring is put together from left to right, and is then taken as bytes or
// written to its place.
//
//   const log_file file = ring(7).entry(1024, 40).damage(24).entry(1025, 8).make();
//
// All bytes and sums come from here and not from the code under test.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/header_bytes.h"
#include "tests/support/log_file.h"

namespace vesk::test {

class ring {
 public:
  // An empty ring in the place and of the capacity that a file type has.
  explicit ring(uint32_t file_type);
  // One of any capacity, which has no place.
  static ring of_capacity(uint32_t capacity) { return ring(capacity, ""); }

  // --- what is put behind what there is already; without more words the live entries begin at
  // offset 20 and end with the last thing put ---

  ring &entry(const entry_fields &fields);
  ring &entry(uint16_t type, uint16_t size, uint32_t secs = entry_fields{}.secs) {
    return entry({.type = type, .size = size, .secs = secs});
  }
  // `count` entries of one size; their types count on from 1024.
  ring &entries(uint32_t count, uint16_t size);
  ring &null(uint16_t size, uint32_t secs = entry_fields{}.secs);
  // A null entry that ends exactly at the capacity.
  ring &null_to_max();
  // So many bytes, a multiple of four, among which no header sums up at any step of four.
  ring &damage(uint32_t count);
  // As much damage as it takes to come to `offset`.
  ring &damage_to(uint32_t offset) { return damage(offset - here()); }

  // From here on, each entry names the size of the one before it, as a repair leaves it.
  ring &chained();

  ring &start_here();
  ring &end_here();
  uint32_t here() const { return static_cast<uint32_t>(bytes_.size()); }

  // --- what is changed in place ---

  // Damage over what there is; it ends with the file.
  ring &damage_at(uint32_t offset, uint32_t count);
  // Any bytes, written last of all, over the global header too.
  ring &patch(uint32_t offset, image bytes);
  ring &start(uint32_t offset);
  ring &end(uint32_t offset);
  ring &max(uint32_t capacity);
  ring &version(uint8_t number);

  // The file. Throws where damage happens to hold a valid header after all.
  image bytes() const;
  // Writes it to its place.
  log_file make() const;

 private:
  struct patched {
    uint32_t offset;
    image bytes;
  };

  ring(uint32_t capacity, std::string path)
      : path_(std::move(path)), max_(capacity), bytes_(header_size) {}

  void expect_no_other_header() const;

  std::string path_;
  uint32_t max_;
  uint8_t version_ = 1;
  std::optional<uint32_t> start_, end_;
  std::optional<uint16_t> last_size_;  // of the last entry, where the next one is to name it
  uint16_t next_type_ = 1024;
  image bytes_;
  std::set<uint32_t> headers_;  // the offsets where headers were put
  std::vector<patched> patches_;
};

}  // namespace vesk::test
