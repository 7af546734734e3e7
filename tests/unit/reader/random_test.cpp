// Bytes of every kind as a log file. Whatever they are, a walk yields only entries that lie whole
// in the file, goes forward, wraps at most once, and ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "reader/vesk_ring_walk.h"
#include "tests/support/dice.h"
#include "tests/support/header_bytes.h"

namespace vesk::test {
namespace {

class generator : public dice {
 public:
  generator() : dice(20240501) {}

  image noise(uint32_t size) {
    image bytes(size);
    for (auto &each : bytes) each = byte();
    return bytes;
  }

  // A global header of good checksum whose offsets are mostly those of entries.
  void put_gheader(image &bytes) {
    if (bytes.size() < header_size) return;
    const uint32_t max = one_in(8) ? number() : static_cast<uint32_t>(bytes.size());
    const uint32_t start = offset();
    put(bytes, 0, global_header(max, start, offset()));
  }

  // Entries of good checksum one behind the other up to the end of the file, and now and then one
  // whose size lies.
  void put_chain(image &bytes) {
    offsets_ = {first_slot};
    while (offsets_.back() + header_size <= bytes.size()) {
      const auto room = static_cast<uint32_t>(bytes.size() - offsets_.back() - header_size);
      const uint32_t size = room < 64 ? room : below(16) * 4;
      const auto type = static_cast<uint16_t>(below(3));
      const auto told = static_cast<uint16_t>(one_in(50) ? number() : size);
      put(bytes, offsets_.back(),
          entry_header({.uuid = 0, .type = type, .size = told, .secs = 0, .usecs = 0}));
      offsets_.push_back(offsets_.back() + header_size + size);
    }
  }

  void scratch(image &bytes) {
    if (bytes.empty()) return;
    for (uint32_t n = below(3); n > 0; --n) {
      bytes[below(static_cast<uint32_t>(bytes.size()))] = byte();
    }
  }

 private:
  static void put(image &bytes, uint32_t at, const header_bytes &header) {
    std::copy(header.begin(), header.end(), bytes.begin() + at);
  }
  // Of any length.
  uint32_t number() { return word() >> below(32); }
  uint32_t offset() {
    return one_in(8) ? number() : offsets_[below(static_cast<uint32_t>(offsets_.size()))];
  }

  std::vector<uint32_t> offsets_ = {20};  // of the entries of the last chain
};

struct seen {
  uint32_t entries = 0;
  uint32_t wraps = 0;
};

// Takes a walk to its end and holds each entry against the bounds.
seen expect_bounded(const image &bytes, uint32_t capacity) {
  seen result;
  uint64_t last_end = 0;
  ring_walk walk = begin_walk(bytes, capacity, null_entries::show);
  while (const auto entry = next_entry(walk)) {
    ++result.entries;
    EXPECT_GE(entry->offset, 20u);
    const uint64_t end = entry->offset + uint64_t{20} + entry->data.size();
    EXPECT_LE(end, bytes.size());
    EXPECT_EQ(entry->data.data(), bytes.data() + entry->offset + 20);
    if (entry->offset < last_end) {
      EXPECT_EQ(entry->offset, 20u);
      ++result.wraps;
    }
    last_end = end;
    if (result.entries > 2 * bytes.size() / 20) break;
  }
  EXPECT_LE(result.wraps, 1u);
  EXPECT_LE(result.entries, 2 * bytes.size() / 20);
  return result;
}

TEST(AnyBytes, walks_are_bounded) {
  generator random;
  seen total;
  for (int i = 0; i < 20000 && !::testing::Test::HasFailure(); ++i) {
    image bytes = random.noise(random.below(random.one_in(10) ? 4000 : 600));
    if (!random.one_in(4)) random.put_chain(bytes);
    if (!random.one_in(8)) random.put_gheader(bytes);
    if (random.one_in(2)) random.scratch(bytes);
    const seen one = expect_bounded(bytes, random.one_in(2) ? unknown_capacity : 8192);
    total.entries += one.entries;
    total.wraps += one.wraps;
  }
  // The images are of no use when no walk gets far.
  EXPECT_GT(total.entries, 20000u);
  EXPECT_GT(total.wraps, 1000u);
}

}  // namespace
}  // namespace vesk::test
