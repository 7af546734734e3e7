// What a repair makes of a file: how a rebuild ends, and how it fails.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "forecast/vesk_forecast_second_pass.h"
#include "tests/support/file_bytes.h"
#include "tests/unit/forecast/foretold.h"

namespace vesk::test {
namespace {

constexpr uint32_t small_log = 7;   // of 8192 bytes
constexpr uint32_t larger_log = 6;  // of 131072 bytes

// An entry of 28 bytes. Where its prev_size is what the repair wants, the repair leaves it alone.
std::string item(uint16_t prev_size, uint32_t secs = noon, uint32_t usecs = 0) {
  return entry({.prev_size = prev_size, .secs = secs, .usecs = usecs}, "eight by");
}

// The same after an entry of 8 bytes, with a checksum word of 0x0000: it survives a rewrite.
std::string idle_item() {
  return entry({.sum = 0x0000, .prev_size = 8, .usecs = 0x6458}, "eight by");
}

// The entries behind a global header that asks for a repair and says nothing else.
std::string marked(const std::string &entries) {
  return gheader(8192, 24, 24) + entries;
}

// The same up to the capacity, by a null entry.
std::string full(const std::string &entries) {
  const size_t room = 8192 - 20 - entries.size() - 20;
  return marked(entries + entry({.uuid = 293, .type = 0, .prev_size = 8}, std::string(room, '\0')));
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
  const auto rebuilt = forecast(small_log, bytes_of(file), false, {0x60000000, 777}).rebuilt;
  ASSERT_EQ(rebuilt.size(), file.size());
  EXPECT_EQ(hex(rebuilt, 0, 20), "7665736b0100f4b6000020000000001400000064");
  EXPECT_EQ(hex(rebuilt, 20, 28), hex(bytes_of(file), 20, 28));
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
  EXPECT_EQ(forecast(small_log, bytes_of(file), false).rebuilt.size(), 8195u);
}

TEST(Rebuild, comes_to_nothing_where_the_new_start_itself_is_rewritten) {
  EXPECT_EQ(rebuild_of(small_log, full(item(20, noon + 5) + item(0, noon))),
            "start 48 end 48, 0 null, 1 rewritten, 0 readable then 0");
}

// --- the second pass alone, where the first would not lead ---

std::string second_pass(const std::string &file, uint32_t capacity, uint32_t start,
                        uint32_t entries) {
  const second_pass_result ring = run_second_pass(bytes_of(file), capacity, start, entries);
  EXPECT_EQ(ring.failure, "");
  return std::to_string(ring.start) + ".." + std::to_string(ring.end);
}

TEST(SecondPass, ends_behind_as_many_entries_as_there_are) {
  const std::string file = marked(item(20) + item(8) + item(8));
  EXPECT_EQ(second_pass(file, 8192, 20, 0), "20..20");
  EXPECT_EQ(second_pass(file, 8192, 20, 2), "20..76");
  EXPECT_EQ(second_pass(file, 8192, 20, 9), "20..104");
}

TEST(SecondPass, moves_a_start_in_front_of_the_end_behind_the_entry_there) {
  const std::string file = marked(item(20) + item(8) + item(8));
  EXPECT_EQ(second_pass(file, 8192, 48, 1), "104..76");
  EXPECT_EQ(second_pass(file, 104, 48, 1), "20..76");
}

TEST(SecondPass, ends_in_a_ring_of_null_entries) {
  const std::string nulls = marked(null8() + null8());
  EXPECT_EQ(second_pass(nulls, 76, 20, 1), "20..48");
}

// --- repairs that fail, and cost the file ---

std::string failure_of(uint32_t file_type, const std::string &file) {
  const file_forecast foretold = forecast(file_type, bytes_of(file), false);
  EXPECT_EQ(foretold.fate, file_fate::remove);
  EXPECT_TRUE(foretold.rebuilt.empty());
  return foretold.repair_failure;
}

TEST(FailedRebuild, of_damage_too_short_for_a_null_entry) {
  EXPECT_EQ(failure_of(small_log, marked(item(20) + stale(20) + item(8))),
            "20 bytes of damage at offset 48 leave no room for a null entry");
  EXPECT_EQ(failure_of(small_log, marked(item(20) + stale(4) + item(8))),
            "4 bytes of damage at offset 48 leave no room for a null entry");
}

TEST(FailedRebuild, of_damage_at_the_end_of_the_ring_too_short_for_a_null_entry) {
  const std::string filler = entry({.prev_size = 8}, std::string(8192 - 48 - 20 - 20, 'x'));
  EXPECT_EQ(failure_of(small_log, marked(item(20) + filler + stale(20))),
            "the damage at offset 8172 leaves no room for a null entry up to the capacity of 8192");
}

TEST(FailedRebuild, of_an_entry_that_runs_beyond_the_capacity) {
  EXPECT_EQ(failure_of(small_log, marked(item(20) + entry({.size = 8128, .prev_size = 8}, ""))),
            "the entry at offset 48 runs to 8196, beyond the capacity of 8192");
}

TEST(FailedRebuild, of_a_file_without_entries) {
  EXPECT_EQ(failure_of(small_log, marked(entry({.type = 0}, "null"))),
            "there is no entry in the file");
  EXPECT_EQ(failure_of(small_log, marked(stale(8172))), "there is no entry in the file");
  EXPECT_EQ(failure_of(small_log, marked(stale(64))),
            "no entry is found before the file ends at 84");
  EXPECT_EQ(failure_of(larger_log, gheader(131072, 24, 24) + stale(9000)),
            "no entry is found before the damage exceeds 8192 bytes");
}

TEST(FailedRebuild, of_a_chain_that_breaks_behind_the_new_start) {
  EXPECT_EQ(failure_of(small_log, full(item(20, noon + 5) + item(8, noon) + item(0, noon + 1))),
            "the chain from the new start 48 breaks at offset 76, before it has passed the new "
            "end 76");
}

}  // namespace
}  // namespace vesk::test
