// What a repair makes of a file: how a rebuild ends, and how it fails.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/support/faults.h"
#include "tests/unit/forecast/predicted.h"

namespace vesk::test {
namespace {

// The same after an entry of 8 bytes, with a checksum word of 0x0000: it survives a rewrite.
std::string idle_item() {
  return entry({.sum = 0x0000, .prev_size = 8, .usecs = 0x6458}, "eight by");
}

std::string hex(ring_bytes bytes, size_t offset, size_t count) {
  std::string text;
  char digits[3];
  for (const uint8_t byte : bytes.subspan(offset, count)) {
    std::snprintf(digits, sizeof digits, "%02x", byte);
    text.append(digits);
  }
  return text;
}

// --- files that have not reached their capacity ---

TEST(Rebuild, of_a_sound_chain_rewrites_nothing) {
  EXPECT_EQ(rebuild_of(small_log, marked(item(20) + item(8) + item(8))),
            "start 20 end 104, 0 null, 0 rewritten, 0 readable then 3");
}

TEST(Rebuild, rewrites_headers_whose_prev_size_differs_and_so_breaks_them) {
  EXPECT_EQ(rebuild_of(small_log, marked(item(20) + item(0) + item(8) + item(4))),
            "start 20 end 48, 0 null, 2 rewritten, 0 readable then 1");
  EXPECT_EQ(rebuild_of(small_log, marked(item(0) + item(0))),
            "start 20 end 20, 0 null, 2 rewritten, 0 readable then 0");
}

TEST(Rebuild, leaves_trailing_null_entries_outside) {
  EXPECT_EQ(rebuild_of(small_log, marked(item(20) + entry({.type = 0, .prev_size = 8}, "null"))),
            "start 20 end 48, 0 null, 0 rewritten, 0 readable then 1");
}

TEST(Rebuild, covers_damage_between_entries) {
  EXPECT_EQ(rebuild_of(small_log, file_of(item(20) + stale(24) + item(8) + item(8))),
            "start 20 end 72, 1 null, 1 rewritten, 1 readable then 1");
}

TEST(Rebuild, covers_damage_in_the_first_slot) {
  EXPECT_EQ(rebuild_of(small_log, file_of(stale(40) + item(20) + item(8))),
            "start 20 end 60, 1 null, 1 rewritten, 0 readable then 0");
}

TEST(Rebuild, of_a_header_with_an_idle_checksum_word_leaves_it_readable) {
  EXPECT_EQ(rebuild_of(small_log, file_of(item(20) + stale(24) + idle_item() + item(8))),
            "start 20 end 128, 1 null, 1 rewritten, 1 readable then 3");
}

TEST(Rebuild, counts_a_header_once_that_is_rewritten_twice) {
  // For the null entry in front of it, and then for the entry before that, which breaks it.
  EXPECT_EQ(rebuild_of(small_log,
                       file_of(entry({.prev_size = 20}, "twelve bytes") + stale(24) + idle_item())),
            "start 20 end 76, 1 null, 1 rewritten, 1 readable then 1");
}

TEST(Rebuild, leaves_damage_open_at_the_end_of_the_file) {
  EXPECT_EQ(rebuild_of(small_log, file_of(item(20) + item(8) + stale(24))),
            "start 20 end 76, 0 null, 0 rewritten, 2 readable then 2");
}

TEST(Rebuild, ends_behind_the_last_entry_that_the_file_holds) {
  EXPECT_EQ(rebuild_of(small_log, marked(item(20) + item(8).substr(0, 12))),
            "start 20 end 48, 0 null, 0 rewritten, 0 readable then 1");
}

TEST(Rebuild, gives_up_behind_too_much_damage) {
  const std::string front = gheader(131072, 24, 24) + item(20);
  EXPECT_EQ(rebuild_of(larger_log, front + stale(8192) + idle_item()),
            "start 20 end 8268, 1 null, 1 rewritten, 0 readable then 2");
  EXPECT_EQ(rebuild_of(larger_log, front + stale(8196) + idle_item()),
            "start 20 end 48, 0 null, 0 rewritten, 0 readable then 1");
}

TEST(Rebuild, leaves_the_bytes_that_the_daemon_leaves) {
  const std::string file = file_of(item(20) + stale(24) + idle_item());
  fault_plan plan;
  plan.clock(0x60000000, 777);
  const auto rebuilt = predicted(small_log, file).rebuilt;
  ASSERT_EQ(rebuilt.size(), file.size());
  EXPECT_EQ(hex(rebuilt, 0, 20), "7665736b0100f4b6000020000000001400000064");
  EXPECT_EQ(hex(rebuilt, 20, 28), "02a504000008644c0000001466322ec0000000006569676874206279");
  EXPECT_EQ(hex(rebuilt, 48, 24), "0125000000049bc500000008600000000000030900000000");
  EXPECT_EQ(hex(rebuilt, 72, 28), "02a50400000800040000000466322ec0000064586569676874206279");
}

// --- files of full size: where does the ring begin? ---

TEST(Rebuild, begins_where_the_seconds_step_back) {
  EXPECT_EQ(rebuild_of(small_log, full(item(20, noon + 5) + item(8, noon + 6) + item(8, noon + 1) +
                                       item(8, noon + 2))),
            "start 76 end 48, 0 null, 0 rewritten, 0 readable then 3");
}

TEST(Rebuild, begins_where_the_microseconds_go_on_within_a_second) {
  EXPECT_EQ(rebuild_of(small_log, full(item(20, noon, 5) + item(8, noon, 6) + item(8, noon, 6) +
                                       item(8, noon, 2))),
            "start 48 end 20, 0 null, 0 rewritten, 0 readable then 3");
}

TEST(Rebuild, begins_in_the_first_slot_where_time_only_goes_on) {
  EXPECT_EQ(rebuild_of(small_log, full(item(20, noon) + item(8, noon + 1))),
            "start 20 end 76, 0 null, 0 rewritten, 0 readable then 2");
}

TEST(Rebuild, does_not_look_at_time_in_a_file_that_is_not_full) {
  EXPECT_EQ(rebuild_of(small_log, marked(item(20, noon + 5) + item(8, noon))),
            "start 20 end 76, 0 null, 0 rewritten, 0 readable then 2");
}

TEST(Rebuild, covers_damage_up_to_the_capacity) {
  std::string file = marked(item(20) + item(8, noon + 1));
  file += stale(8192 - file.size());
  EXPECT_EQ(rebuild_of(small_log, file), "start 20 end 76, 1 null, 0 rewritten, 0 readable then 2");
}

TEST(Rebuild, may_make_the_file_grow) {
  // After an entry of eleven bytes the tail is no multiple of four, and is padded to be one.
  std::string file = marked(entry({.prev_size = 20}, "eleven byte"));
  file += stale(8191 - file.size());
  EXPECT_EQ(rebuild_of(small_log, file), "start 20 end 51, 1 null, 0 rewritten, 0 readable then 1");
  EXPECT_EQ(predicted(small_log, file).rebuilt.size(), 8195u);
}

TEST(Rebuild, comes_to_nothing_where_the_new_start_itself_is_rewritten) {
  EXPECT_EQ(rebuild_of(small_log, full(item(20, noon + 5) + item(0, noon))),
            "start 48 end 48, 0 null, 1 rewritten, 0 readable then 0");
}

// --- repairs that fail, and cost the file ---

TEST(FailedRebuild, of_damage_too_short_for_a_null_entry) {
  EXPECT_EQ(fate_of(small_log, marked(item(20) + stale(4) + item(8))),
            "remove: start_meets_end at 12; repair fails: gap_without_room at 48 (4)");
}

TEST(FailedRebuild, of_a_file_in_which_all_is_damage) {
  EXPECT_EQ(fate_of(small_log, marked(stale(8172))),
            "remove: start_meets_end at 12; repair fails: no_entries at 20");
}

}  // namespace
}  // namespace vesk::test
