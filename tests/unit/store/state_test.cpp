#include "store/vesk_state.h"

#include <cstddef>
#include <cstring>

#include "tests/unit/store/store_test.h"

namespace vesk::test {
namespace {

using State = StoreTest;

template <typename Slot>
ptrdiff_t distance(const file_type_table<Slot> &table, const Slot &slot) {
  return reinterpret_cast<const char *>(&slot) - reinterpret_cast<const char *>(&table);
}

TEST_F(State, slots_lie_at_the_tables_addresses_one_behind_the_other) {
  EXPECT_EQ(distance(vesk_file_state, vesk_file_state[0]), 0);
  EXPECT_EQ(distance(vesk_file_state, vesk_file_state[63]), 63);
  EXPECT_EQ(distance(vesk_file_sanity, vesk_file_sanity[0]), 0);
  EXPECT_EQ(distance(vesk_file_sanity, vesk_file_sanity[63]), 63 * 4);
}

TEST_F(State, index_beyond_the_table_gives_the_one_spare_slot_behind_it) {
  for (const uint32_t index : {64u, 65u, 65535u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    EXPECT_EQ(distance(vesk_file_state, vesk_file_state[index]), 64) << index;
    EXPECT_EQ(distance(vesk_file_sanity, vesk_file_sanity[index]), 64 * 4) << index;
  }
}

TEST_F(State, what_is_stored_through_a_stray_index_reaches_no_slot) {
  vesk_file_state.fill(VESK_LOGGING_ENABLED);
  vesk_file_state[4711] = VESK_LOGGING_DISABLED;
  vesk_file_sanity.fill(VESK_SANITY_CLEAN);
  vesk_file_sanity[4711] = VESK_SANITY_CORRUPT;
  for (uint32_t type = 0; type < 64; ++type) {
    EXPECT_EQ(vesk_file_state[type], 1) << type;
    EXPECT_EQ(vesk_file_sanity[type], 0u) << type;
  }
}

TEST_F(State, fill_reaches_all_64_slots) {
  vesk_file_sanity.fill(VESK_SANITY_FLASH_FAILED);
  for (uint32_t type = 0; type < 64; ++type) EXPECT_EQ(vesk_file_sanity[type], 1u) << type;
}

TEST_F(State, values_are_what_messages_carry) {
  EXPECT_EQ(VESK_LOGGING_ENABLED, 1);
  EXPECT_EQ(VESK_LOGGING_DISABLED, 2);
  EXPECT_EQ(VESK_SANITY_CLEAN, 0u);
  EXPECT_EQ(VESK_SANITY_FLASH_FAILED, 1u);
  EXPECT_EQ(VESK_SANITY_RECOVER_ENTRIES, 2u);
  EXPECT_EQ(VESK_SANITY_CORRUPT, 3u);
}

TEST_F(State, statistics_are_2737_rows_of_two_counters_in_host_order) {
  EXPECT_EQ(vesk_uuid_stat_table.size(), 2737u);
  EXPECT_EQ(sizeof vesk_uuid_stat_table, 21896u);
  vesk_uuid_stat_table[2736] = {.entry_count = 3, .byte_count = 180};
  uint32_t words[2];
  std::memcpy(words, reinterpret_cast<const char *>(&vesk_uuid_stat_table) + 2736 * 8,
              sizeof words);
  EXPECT_EQ(words[0], 3u);
  EXPECT_EQ(words[1], 180u);
}

}  // namespace
}  // namespace vesk::test
