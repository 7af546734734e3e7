// Bytes of every kind as a log file. Whatever they are, a walk yields only entries that lie whole
// in the file, goes forward, wraps at most once, and ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "format/vesk_checksum.h"
#include "reader/vesk_ring_walk.h"

namespace vesk::test {
namespace {

using image = std::vector<uint8_t>;

class generator {
 public:
  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(engine_() % limit); }
  bool one_in(uint32_t n) { return below(n) == 0; }

  image noise(uint32_t size) {
    image bytes(size);
    for (auto &byte : bytes) byte = static_cast<uint8_t>(engine_());
    return bytes;
  }

  // A global header of good checksum whose offsets are mostly those of entries.
  void put_gheader(image &bytes) {
    if (bytes.size() < sizeof(vesk_gheader)) return;
    vesk_gheader header{{'v', 'e', 's', 'k'}, 1, 0, {}, {}, {}, {}};
    header.max = one_in(8) ? word() : static_cast<uint32_t>(bytes.size());
    header.start = offset();
    header.end = offset();
    set_checksum(header);
    std::memcpy(bytes.data(), &header, sizeof header);
  }

  // Entries of good checksum one behind the other up to the end of the file, and now and then one
  // whose size lies.
  void put_chain(image &bytes) {
    offsets_ = {20};
    while (offsets_.back() + sizeof(vesk_ehdr) <= bytes.size()) {
      const auto room = static_cast<uint32_t>(bytes.size() - offsets_.back() - sizeof(vesk_ehdr));
      const uint32_t size = room < 64 ? room : below(16) * 4;
      vesk_ehdr header{};
      header.type = static_cast<uint16_t>(below(3));
      header.size = static_cast<uint16_t>(one_in(50) ? word() : size);
      set_checksum(header);
      std::memcpy(bytes.data() + offsets_.back(), &header, sizeof header);
      offsets_.push_back(offsets_.back() + 20 + size);
    }
  }

  void scratch(image &bytes) {
    if (bytes.empty()) return;
    for (uint32_t n = below(3); n > 0; --n) {
      bytes[below(static_cast<uint32_t>(bytes.size()))] = static_cast<uint8_t>(engine_());
    }
  }

 private:
  uint32_t word() { return static_cast<uint32_t>(engine_()) >> below(32); }
  uint32_t offset() {
    return one_in(8) ? word() : offsets_[below(static_cast<uint32_t>(offsets_.size()))];
  }

  std::mt19937 engine_{20240501};
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
