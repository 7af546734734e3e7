// What start-up would hold against a file, check by check, and what would become of it.
#include "forecast/vesk_forecast.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/forecast/foretold.h"

namespace vesk::test {
namespace {

using namespace std::string_literals;

constexpr uint32_t small_log = 7;      // of 8192 bytes
constexpr uint32_t larger_log = 6;     // of 131072 bytes
constexpr uint32_t platform_log = 25;  // of 1 MiB, behind the kernel logs
constexpr uint32_t kernel_log = 21;    // of 8 MiB
constexpr uint32_t kernel_big_log = 22;
constexpr uint32_t kernel_capacity = 8388608;

const std::string three = alpha() + beta() + gamma_ray();  // 20, 48, 72, up to 104

// So many entries of 24 bytes.
std::string entries(uint32_t count) {
  std::string bytes;
  for (uint32_t i = 0; i < count; ++i) bytes += beta();
  return bytes;
}

// Entries of 24 bytes up to 8156, and one of 36 bytes that ends at the capacity.
std::string full_ring(uint32_t start, uint32_t end) {
  return gheader(8192, start, end) + entries(339) + entry({.size = 16}, std::string(16, 'x'));
}

// --- files that start-up has nothing against ---

TEST(Forecast, keeps_sound_files) {
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 20)), "keep");
  EXPECT_EQ(fate_of(small_log, file_of(three)), "keep");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 116)), "keep");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 20)), "keep");
  EXPECT_EQ(fate_of(small_log, full_ring(20, 8192)), "keep");
}

TEST(Forecast, counts_the_readable_entries_of_any_file) {
  EXPECT_EQ(forecast(small_log, bytes_of(file_of(three)), false).readable_before, 3u);
  EXPECT_EQ(forecast(small_log, bytes_of(file_of(three).substr(0, 100)), false).readable_before,
            2u);
}

TEST(Forecast, does_not_look_at_types_outside_the_catalogue) {
  EXPECT_EQ(fate_of(8, "nothing of ours"), "keep");
}

TEST(Forecast, keeps_an_unwrapped_file_that_goes_on_behind_its_end) {
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 72) + three), "keep");
  EXPECT_EQ(fate_of(small_log, file_of(three) + stale(9000)), "keep");
}

// --- the size and the global header, in the order of the checks ---

TEST(Forecast, removes_a_file_shorter_than_a_global_header) {
  EXPECT_EQ(fate_of(small_log, ""), "remove, 0: the file ends inside its global header");
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 20).substr(0, 19)),
            "remove, 19: the file ends inside its global header");
}

TEST(Forecast, removes_another_version_before_it_looks_at_the_rest) {
  EXPECT_EQ(fate_of(small_log, stale(40)), "remove, 4: format version 218 is not known");
  EXPECT_EQ(fate_of(small_log, "vesk\x02"s + gheader(8192, 20, 20).substr(5)),
            "remove, 4: format version 2 is not known");
}

TEST(Forecast, removes_a_broken_global_header_for_lack_of_a_repair) {
  const std::string hopeless =
      "; repair fails: a global header that cannot be trusted is not rebuilt";
  EXPECT_EQ(fate_of(small_log, "disk"s + file_of(three).substr(4)),
            "remove, 0: it does not begin with \"vesk\"" + hopeless);
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 104, 0x1234) + three),
            "remove, 6: the checksum of the global header does not hold" + hopeless);
}

TEST(Forecast, removes_a_ring_of_another_capacity) {
  EXPECT_EQ(fate_of(small_log, gheader(8188, 9000, 9000) + three),
            "remove, 8: capacity 8188 is not the 8192 of this file; repair fails: a ring of "
            "another capacity is not rebuilt");
  EXPECT_EQ(fate_of(larger_log, file_of(three)),
            "remove, 8: capacity 8192 is not the 131072 of this file; repair fails: a ring of "
            "another capacity is not rebuilt");
}

TEST(Forecast, minds_an_end_beyond_the_capacity_before_the_start) {
  EXPECT_EQ(fate_of(small_log, gheader(8192, 8180, 8193) + three),
            "remove, 16: end 8193 lies beyond the capacity of 8192; repair fails: the file ends "
            "at 104, before its start 8180");
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 0xFFFFFFFF) + three),
            "remove, 16: end 4294967295 lies beyond the capacity of 8192; repair fails: the file "
            "ends at 104, before its end 4294967295");
}

TEST(Forecast, minds_a_start_without_room_for_an_entry) {
  const std::string reason =
      "12: start 8172 leaves no room for an entry up to the capacity of 8192";
  EXPECT_EQ(fate_of(small_log, gheader(8192, 8172, 20) + three),
            "remove, " + reason +
                "; repair fails: the ring has wrapped, but the file has 104 bytes, not 8192");
  EXPECT_EQ(fate_of(small_log, full_ring(8172, 20)), "rebuild, " + reason);
  EXPECT_EQ(fate_of(small_log, gheader(8192, 8168, 8168) + stale(8148)),
            "remove, 12: start and end are both 8168: no entry can be reached; repair fails: no "
            "entry is found before the file ends at 8168");
  EXPECT_EQ(fate_of(small_log, gheader(8192, 0xFFFFFFFF, 20) + three),
            "remove, 12: start 4294967295 leaves no room for an entry up to the capacity of 8192; "
            "repair fails: the ring has wrapped, but the file has 104 bytes, not 8192");
}

TEST(Forecast, removes_a_file_that_ends_before_its_entries) {
  EXPECT_EQ(fate_of(small_log, file_of(three).substr(0, 103)),
            "remove, 103: the file ends before its end 104");
  EXPECT_EQ(fate_of(small_log, gheader(8192, 104, 104) + three.substr(0, 60)),
            "remove, 80: the file ends before its end 104");
}

TEST(Forecast, removes_a_wrapped_ring_unless_the_file_has_its_very_size) {
  EXPECT_EQ(fate_of(small_log, full_ring(260, 116).substr(0, 8191)),
            "remove, 8191: the ring has wrapped, but the file has 8191 bytes, not 8192");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 116) + "x"),
            "remove, 8192: the ring has wrapped, but the file has 8193 bytes, not 8192");
}

// --- the entries: samples from the start, the first slot, the last entry ---

TEST(Forecast, minds_start_and_end_that_meet_away_from_the_first_slot) {
  EXPECT_EQ(fate_of(small_log, gheader(8192, 104, 104) + three),
            "rebuild, 12: start and end are both 104: no entry can be reached");
}

TEST(Forecast, minds_a_bad_header_on_the_way_from_the_start) {
  std::string broken = file_of(three);
  broken[80] ^= 0x40;
  EXPECT_EQ(fate_of(small_log, broken),
            "rebuild, 72: the checksum of the entry header does not hold");
}

TEST(Forecast, minds_a_chain_that_leads_out_of_the_file) {
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 104) + entry({.size = 400}, stale(64))),
            "rebuild, 440: no entry header: the file ends at 104");
  EXPECT_EQ(fate_of(small_log, gheader(8192, 20, 104) + entry({.size = 52}, stale(64))),
            "rebuild, 92: no entry header: the file ends at 104");
}

TEST(Forecast, looks_at_one_hundred_and_one_headers_from_the_start) {
  const auto with_bad_header = [](uint32_t good) {
    return file_of(entries(good) + stale(24) + entries(10));
  };
  EXPECT_EQ(fate_of(small_log, with_bad_header(100)),
            "rebuild, 2420: the checksum of the entry header does not hold");
  EXPECT_EQ(fate_of(small_log, with_bad_header(101)), "keep");
}

TEST(Forecast, minds_a_bad_header_in_the_first_slot) {
  std::string broken = full_ring(260, 116);
  broken[30] ^= 0x40;
  EXPECT_EQ(fate_of(small_log, broken),
            "rebuild, 20: the checksum of the entry header does not hold");
}

TEST(Forecast, removes_a_file_that_ends_in_the_first_slot) {
  // A start within the global header, where the bytes happen to make a header of no data.
  EXPECT_EQ(fate_of(small_log, gheader(8192, 4, 24) + "vesk"),
            "remove, 20: no entry header: the file ends at 24");
}

TEST(Forecast, minds_an_end_without_room_for_an_entry_in_front_of_it) {
  EXPECT_EQ(fate_of(small_log, full_ring(260, 36)),
            "rebuild, 16: end 36 leaves no room for an entry in front of it");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 4)),
            "rebuild, 16: end 4 leaves no room for an entry in front of it");
  EXPECT_EQ(fate_of(small_log, full_ring(260, 40)), "keep");
}

TEST(Forecast, searches_the_last_entry_over_8192_bytes_back_from_the_end) {
  const auto with_end = [](uint32_t end) {
    return gheader(131072, 20, end) + entries(101) + stale(end - 2444);
  };
  EXPECT_EQ(fate_of(larger_log, with_end(2420 + 20 + 8192)), "keep");
  EXPECT_EQ(fate_of(larger_log, with_end(2420 + 20 + 8196)),
            "rebuild, 10616: no entry header holds from here back to offset 2424");
}

TEST(Forecast, searches_the_last_entry_back_to_the_first_slot) {
  EXPECT_EQ(fate_of(small_log, full_ring(260, 50)),
            "rebuild, 30: no entry header holds from here back to offset 22");
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

TEST(KernelLog, is_judged_by_its_global_header_and_size) {
  EXPECT_EQ(fate_of(kernel_log, gheader(kernel_capacity, 20, 105) + stale(84)),
            "remove, 104: the file ends before its end 105");
  EXPECT_EQ(fate_of(kernel_log, kernel_file(400, 40, kernel_capacity - 4)),
            "remove, 8388604: the ring has wrapped, but the file has 8388604 bytes, not 8388608");
  EXPECT_EQ(fate_of(kernel_log, gheader(kernel_capacity, 20, 20, 0x1234)),
            "remove, 6: the checksum of the global header does not hold; repair fails: a global "
            "header that cannot be trusted is not rebuilt");
}

TEST(KernelLog, that_is_marked_with_a_sound_header_ends_the_repairs) {
  EXPECT_EQ(fate_of(kernel_log, kernel_file(8388588, 20)),
            "stay marked, 12: start 8388588 leaves no room for an entry up to the capacity of "
            "8388608; repairs end");
  EXPECT_EQ(fate_of(kernel_big_log, kernel_file(20, 8388612, kernel_capacity + 4)),
            "stay marked, 16: end 8388612 lies beyond the capacity of 8388608; repairs end");
}

TEST(KernelLog, that_is_marked_and_fails_the_repairs_own_checks_does_not) {
  EXPECT_EQ(fate_of(kernel_log, kernel_file(20, 8388612)),
            "remove, 16: end 8388612 lies beyond the capacity of 8388608; repair fails: the file "
            "ends at 8388608, before its end 8388612");
}

TEST(EndedRepairs, leave_marked_files_as_they_are) {
  EXPECT_EQ(fate_of(platform_log, gheader(1048576, 104, 104) + three, true),
            "stay marked, 12: start and end are both 104: no entry can be reached");
  EXPECT_EQ(fate_of(platform_log, gheader(1048576, 20, 20, 0x1234), true),
            "stay marked, 6: the checksum of the global header does not hold");
  EXPECT_EQ(fate_of(kernel_big_log, kernel_file(8388588, 20), true),
            "stay marked, 12: start 8388588 leaves no room for an entry up to the capacity of "
            "8388608");
}

TEST(EndedRepairs, change_nothing_for_other_files) {
  EXPECT_EQ(fate_of(platform_log, gheader(1048576, 20, 104) + three, true), "keep");
  EXPECT_EQ(fate_of(platform_log, gheader(1048576, 20, 105) + three, true),
            "remove, 104: the file ends before its end 105");
}

TEST(Fate, has_a_name) {
  EXPECT_EQ(fate_name(file_fate::keep), "keep");
  EXPECT_EQ(fate_name(file_fate::rebuild), "rebuild");
  EXPECT_EQ(fate_name(file_fate::remove), "remove");
  EXPECT_EQ(fate_name(file_fate::stay_marked), "stay marked");
}

}  // namespace
}  // namespace vesk::test
