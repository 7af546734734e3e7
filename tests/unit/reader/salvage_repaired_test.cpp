// Files that the daemon has repaired: what its repairs leave is found again, and so is what they do
// to no entry.
#include <gtest/gtest.h>

#include <initializer_list>
#include <set>
#include <string>

#include "reader/vesk_salvage.h"
#include "recovery/vesk_ehdr_recovery.h"
#include "recovery/vesk_validate.h"
#include "store/vesk_make_space.h"
#include "tests/support/faults.h"
#include "tests/support/recorder.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {
namespace {

// Forty bytes of data each: sixty bytes from one header to the next.
constexpr uint32_t span = 60;
constexpr uint16_t first_type = 1024;

using types = std::set<uint16_t>;

// The types of the entries that are found, no matter how sure, and with all their data.
types found_in(const log_file &file) {
  const std::vector<uint8_t> bytes = file.bytes();
  types found;
  salvage search(bytes, unknown_capacity);
  while (const auto next = search.next()) {
    const auto *entry = std::get_if<salvaged_entry>(&*next);
    if (!entry) continue;
    EXPECT_TRUE(entry->whole()) << entry->offset;
    EXPECT_NE(entry->level, certainty::doubtful) << entry->offset;
    EXPECT_TRUE(found.insert(entry->entry.type).second) << "twice: " << entry->entry.type;
  }
  return found;
}

// Entry i has its header from 20 + 60 * i on. No repair costs an entry whose header was spared: the
// null entries end before the next good header.
types spared(uint32_t count, uint32_t damaged_at, uint32_t length) {
  types found;
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t header = 20 + span * i;
    if (header + 20 <= damaged_at || damaged_at + length <= header) {
      found.insert(static_cast<uint16_t>(first_type + i));
    }
  }
  return found;
}

// Repairs a file that begins like this and is damaged anywhere, and looks for the entries.
template <typename Repair>
void expect_all_spared(const ring &sound, uint32_t count, const Repair &repair) {
  for (const uint32_t length : {4u, 24u, 60u, 100u}) {
    for (uint32_t at = 20; at + length <= 20 + span * count; at += 4) {
      const log_file file = ring(sound).damage_at(at, length).make();
      repair(file);
      ASSERT_EQ(found_in(file), spared(count, at, length)) << length << " bytes at " << at;
    }
  }
}

class SalvageOfRepaired : public ::testing::Test {
 protected:
  SalvageOfRepaired() {
    platform.reset();
    faults.clock(0x60000000, 0x1234);
  }

  // Null entries bear the time, and at some times their bytes look like another header.
  fault_plan faults;

  static void repair_headers(const log_file &file, uint32_t start, uint32_t end) {
    uint32_t code = 0, new_start = start, last = 0;
    vesk_ehdr_recovery(file.fd(), start, end, 8192, &code, &new_start, &last);
  }
};

TEST_F(SalvageOfRepaired, entries_between_damage_anywhere) {
  expect_all_spared(ring(7).entries(12, 40), 12,
                    [](const log_file &file) { repair_headers(file, 20, 740); });
}

TEST_F(SalvageOfRepaired, entries_between_damage_anywhere_at_a_start) {
  expect_all_spared(ring(7).entries(12, 40), 12, [](const log_file &) {
    platform.forget();
    vesk_validate_files();
  });
}

// 135 entries up to 8120, and a null entry behind them; the ring begins with the 71st.
TEST_F(SalvageOfRepaired, entries_of_a_wrapped_ring) {
  const ring sound = ring(7).entries(135, 40).null_to_max().start(4220).end(3620);
  for (uint32_t at = 20; at + 100 <= 8120; at += 92) {
    const log_file file = ring(sound).damage_at(at, 100).make();
    repair_headers(file, 4220, 3620);
    ASSERT_EQ(found_in(file), spared(135, at, 100)) << at;
  }
}

// Entries that were updated in place, the first behind a wrap, and whatever else is stored there.
TEST_F(SalvageOfRepaired, entries_that_held_any_previous_size) {
  for (const uint16_t prev_size : std::initializer_list<uint16_t>{20, 40, 44, 65532}) {
    ring sound(7);
    for (uint16_t i = 0; i < 12; ++i) {
      sound.entry({.type = static_cast<uint16_t>(first_type + i),
                   .size = 40,
                   .prev_size = prev_size,
                   .usecs = 7777u * i});
    }
    expect_all_spared(sound, 12, [](const log_file &file) { repair_headers(file, 20, 740); });
  }
}

// A checksum word of zero lets a rewritten header hold, and be rewritten again.
TEST_F(SalvageOfRepaired, entry_that_is_rewritten_twice_in_one_walk) {
  const log_file file = ring(7)
                            .entries(1, 40)
                            .damage(24)
                            .entry({.type = 1025, .size = 40, .usecs = 0x9C89})
                            .entry(1026, 40)
                            .make();
  EXPECT_EQ(file.hex(110, 2), "00 00");
  repair_headers(file, 20, 224);
  // The null entry's 4 less the 40 of the entry before it.
  EXPECT_EQ(file.hex(110, 2), "ff db");
  EXPECT_EQ(file.hex(114, 2), "00 28");
  EXPECT_EQ(found_in(file), (types{1024, 1025, 1026}));
}

// What discarding the oldest entries covers on its way is not lost for its neighbours.
TEST_F(SalvageOfRepaired, entries_over_which_room_was_made) {
  expect_all_spared(ring(7).entries(12, 40), 12, [](const log_file &file) {
    uint32_t start = 20, error = 0;
    vesk_make_space(file.fd(), 8192, &start, 700, 1, &error);
  });
}

TEST_F(SalvageOfRepaired, second_repair_moves_the_start_and_loses_nothing) {
  const log_file file = ring(7).entries(12, 40).damage_at(200, 24).make();
  repair_headers(file, 20, 740);
  EXPECT_EQ(found_in(file).size(), 11u);
  repair_headers(file, 20, 740);
  EXPECT_EQ(found_in(file).size(), 11u);
}

}  // namespace
}  // namespace vesk::test
