// What start-up would hold against a file, check by check, and what would become of it.
#include "forecast/vesk_forecast.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/forecast/predicted.h"

namespace vesk::test {
namespace {

using namespace std::string_literals;

constexpr uint32_t kernel_capacity = 8388608;

const std::string three = alpha() + beta() + gamma_ray();  // 20, 48, 72, up to 104

// --- files that start-up has nothing against ---

TEST(Forecast, keeps_sound_files) {
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 20)), "keep");
  EXPECT_EQ(fate_of(small_log, file_of(three)), "keep");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 116)), "keep");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 20)), "keep");
  EXPECT_EQ(fate_of(small_log, full_ring(20, 8192)), "keep");
}

TEST(Forecast, counts_the_readable_entries_of_any_file) {
  EXPECT_EQ(predicted(small_log, file_of(three)).readable_before, 3u);
  EXPECT_EQ(predicted(small_log, file_of(three).substr(0, 100)).readable_before, 2u);
}

TEST(Forecast, does_not_look_at_types_outside_the_catalogue) {
  EXPECT_EQ(fate_of(8, "nothing of ours"), "keep");
}

TEST(Forecast, keeps_an_unwrapped_file_that_goes_on_behind_its_end) {
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 72) + three), "keep");
  EXPECT_EQ(fate_of(small_log, file_of(three) + stale(9000)), "keep");
}

// --- the size and the global header, in the order of the checks ---

TEST(Forecast, removes_another_version_before_it_looks_at_the_rest) {
  EXPECT_EQ(fate_of(small_log, stale(40)), "remove: unknown_version at 4");
  EXPECT_EQ(fate_of(small_log, "vesk\x02"s + gheader(8192, 20, 20).substr(5)),
            "remove: unknown_version at 4");
}

TEST(Forecast, removes_a_ring_of_another_capacity) {
  EXPECT_EQ(fate_of(small_log, gheader(8188, 9000, 9000) + three),
            "remove: wrong_capacity at 8; repair fails: wrong_capacity at 8");
  EXPECT_EQ(fate_of(larger_log, file_of(three)),
            "remove: wrong_capacity at 8; repair fails: wrong_capacity at 8");
}

TEST(Forecast, minds_an_end_beyond_the_capacity_before_the_start) {
  EXPECT_EQ(fate_of(small_log, gheader(8192, 8180, 8193) + three),
            "remove: end_beyond_capacity at 16; repair fails: file_ends_before_start at 104");
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 0xFFFFFFFF) + three),
            "remove: end_beyond_capacity at 16; repair fails: file_ends_before_end at 104");
}

TEST(Forecast, minds_a_start_without_room_for_an_entry) {
  const std::string reason = "start_without_room at 12";
  EXPECT_EQ(fate_of(small_log, gheader(8192, 8172, 20) + three),
            "remove: " + reason + "; repair fails: wrapped_file_not_full at 104");
  EXPECT_EQ(fate_of(small_log, full_ring(8172, 20)), "rebuild: " + reason);
  EXPECT_EQ(fate_of(small_log, gheader(8192, 8168, 8168) + stale(8148)),
            "remove: start_meets_end at 12; repair fails: no_entry_in_file at 8152");
  EXPECT_EQ(fate_of(small_log, gheader(8192, 0xFFFFFFFF, 20) + three),
            "remove: start_without_room at 12; repair fails: wrapped_file_not_full at 104");
}

TEST(Forecast, removes_a_wrapped_ring_unless_the_file_has_its_very_size) {
  EXPECT_EQ(fate_of(small_log, full_ring(260, 116).substr(0, 8191)),
            "remove: wrapped_file_not_full at 8191");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 116) + "x"), "remove: wrapped_file_not_full at 8192");
}

// --- the entries: samples from the start, the first slot, the last entry ---

TEST(Forecast, minds_a_chain_that_leads_out_of_the_file) {
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 104) + entry({.size = 400}, stale(64))),
            "rebuild: entry_unreadable at 440");
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 104) + entry({.size = 52}, stale(64))),
            "rebuild: entry_unreadable at 92");
}

TEST(Forecast, looks_at_one_hundred_and_one_headers_from_the_start) {
  const auto with_bad_header = [](uint32_t good) {
    return file_of(entries(good) + stale(24) + entries(10));
  };
  EXPECT_EQ(fate_of(small_log, with_bad_header(100)), "rebuild: bad_entry_sum at 2420");
  EXPECT_EQ(fate_of(small_log, with_bad_header(101)), "keep");
}

TEST(Forecast, minds_a_bad_header_in_the_first_slot) {
  std::string broken = full_ring(260, 116);
  broken[30] ^= 0x40;
  EXPECT_EQ(fate_of(small_log, broken), "rebuild: bad_entry_sum at 20");
}

TEST(Forecast, minds_an_end_without_room_for_an_entry_in_front_of_it) {
  EXPECT_EQ(fate_of(small_log, full_ring(260, 36)), "rebuild: end_without_room at 16");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 4)), "rebuild: end_without_room at 16");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 40)), "keep");
}

TEST(Forecast, searches_the_last_entry_over_8192_bytes_back_from_the_end) {
  const auto with_end = [](uint32_t end) {
    return gheader(131072, 20, end) + entries(101) + stale(end - 2444);
  };
  EXPECT_EQ(fate_of(larger_log, with_end(2420 + 20 + 8192)), "keep");
  EXPECT_EQ(fate_of(larger_log, with_end(2420 + 20 + 8196)),
            "rebuild: no_last_entry at 10616 (2424)");
}

TEST(Forecast, searches_the_last_entry_back_to_the_first_slot) {
  EXPECT_EQ(fate_of(small_log, full_ring(260, 50)), "rebuild: no_last_entry at 30 (22)");
}

// --- kernel logs ---

std::string kernel_file(uint32_t start, uint32_t end, size_t size = kernel_capacity) {
  std::string file = gheader(kernel_capacity, start, end);
  file.resize(size);
  return file;
}

TEST(KernelLog, is_kept_whatever_its_entries_are) {
  for (const uint32_t type : {kernel_log, kernel_big_log}) {
    EXPECT_EQ(fate_of(type, gheader(kernel_capacity, 20, 104) + stale(84)), "keep");
    EXPECT_EQ(fate_of(type, gheader(kernel_capacity, 104, 104) + stale(84)), "keep");
    EXPECT_EQ(fate_of(type, kernel_file(400, 40)), "keep");
  }
}

TEST(KernelLog, is_examined_as_to_its_global_header_and_size) {
  EXPECT_EQ(fate_of(kernel_log, gheader(kernel_capacity, 20, 105) + stale(84)),
            "remove: file_ends_before_end at 104");
  EXPECT_EQ(fate_of(kernel_log, kernel_file(400, 40, kernel_capacity - 4)),
            "remove: wrapped_file_not_full at 8388604");
  EXPECT_EQ(fate_of(kernel_log, gheader(kernel_capacity, 20, 20, 0x1234)),
            "remove: bad_gheader_sum at 6; repair fails: bad_gheader_sum at 6");
}

TEST(KernelLog, that_is_marked_with_a_sound_header_ends_the_repairs) {
  EXPECT_EQ(fate_of(kernel_log, kernel_file(8388588, 20)),
            "stay marked: start_without_room at 12; repairs end");
  EXPECT_EQ(fate_of(kernel_big_log, kernel_file(20, 8388612, kernel_capacity + 4)),
            "stay marked: end_beyond_capacity at 16; repairs end");
}

TEST(KernelLog, that_is_marked_and_fails_the_repairs_own_checks_does_not) {
  EXPECT_EQ(fate_of(kernel_log, kernel_file(20, 8388612)),
            "remove: end_beyond_capacity at 16; repair fails: file_ends_before_end at 8388608");
}

TEST(EndedRepairs, leave_marked_files_as_they_are) {
  EXPECT_EQ(fate_of(platform_log, gheader(1048576, 104, 104) + three, true),
            "stay marked: start_meets_end at 12");
  EXPECT_EQ(fate_of(platform_log, gheader(1048576, 20, 20, 0x1234), true),
            "stay marked: bad_gheader_sum at 6");
  EXPECT_EQ(fate_of(kernel_big_log, kernel_file(8388588, 20), true),
            "stay marked: start_without_room at 12");
}

TEST(EndedRepairs, change_nothing_for_other_files) {
  EXPECT_EQ(fate_of(platform_log, gheader(1048576, 20, 104) + three, true), "keep");
  EXPECT_EQ(fate_of(platform_log, gheader(1048576, 20, 105) + three, true),
            "remove: file_ends_before_end at 104");
}

TEST(Fate, has_a_name) {
  EXPECT_EQ(fate_name(file_fate::keep), "keep");
  EXPECT_EQ(fate_name(file_fate::rebuild), "rebuild");
  EXPECT_EQ(fate_name(file_fate::remove), "remove");
  EXPECT_EQ(fate_name(file_fate::stay_marked), "stay marked");
}

}  // namespace
}  // namespace vesk::test
