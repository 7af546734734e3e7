#include "store/vesk_make_space.h"

#include <cerrno>
#include <climits>

#include "tests/unit/store/store_test.h"

namespace vesk::test {
namespace {

class MakeSpace : public StoreTest {
 protected:
  // Frees `nspace` bytes from `start` on; damage is stepped over.
  int32_t make_space(const log_file &file, uint32_t max, int32_t nspace) {
    return vesk_make_space(file.fd(), max, &start, nspace, 1, &code);
  }

  uint32_t start = 20;
};

// Headers at 20, 80, 140, 200 and 260; the ring's end is at 320.
ring five_entries() {
  return ring(7).max(320).entries(5, 40);
}

// --- entries that hold ---

TEST_F(MakeSpace, nothing_to_free_reads_nothing_and_keeps_the_start) {
  const log_file file = five_entries().make();
  for (const int32_t nspace : {0, -1, INT_MIN}) {
    platform.reset();
    fault_plan faults;
    EXPECT_EQ(make_space(file, 320, nspace), 0);
    EXPECT_EQ(start, 20u);
    EXPECT_EQ(faults.journal(), "");
    EXPECT_EQ(logged(), (log_lines{trace("TRACE:making space, nstart 20 nspace " +
                                         std::to_string(nspace) + ".\n")}));
  }
}

TEST_F(MakeSpace, entry_that_frees_exactly_the_rest_ends_the_walk) {
  const log_file file = five_entries().make();
  fault_plan faults;
  EXPECT_EQ(make_space(file, 320, 120), 0);
  EXPECT_EQ(start, 140u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 80, read 20");
  EXPECT_EQ(logged(), (log_lines{trace("TRACE:making space, nstart 20 nspace 120.\n")}));
  EXPECT_EQ(code, untouched);
}

TEST_F(MakeSpace, one_byte_more_costs_the_next_entry) {
  const log_file file = five_entries().make();
  EXPECT_EQ(make_space(file, 320, 121), 0);
  EXPECT_EQ(start, 200u);
}

TEST_F(MakeSpace, one_byte_costs_a_whole_entry) {
  const log_file file = five_entries().make();
  EXPECT_EQ(make_space(file, 320, 1), 0);
  EXPECT_EQ(start, 80u);
}

TEST_F(MakeSpace, null_entries_are_freed_like_any_other) {
  const log_file file = ring(7).null(40).entry(1024, 8).entry(1025, 8).make();
  EXPECT_EQ(make_space(file, 8192, 61), 0);
  EXPECT_EQ(start, 108u);
}

TEST_F(MakeSpace, entries_that_hold_are_freed_for_synchronous_records_too) {
  const log_file file = five_entries().make();
  EXPECT_EQ(vesk_make_space(file.fd(), 320, &start, 120, 0, &code), 0);
  EXPECT_EQ(start, 140u);
}

// --- over the ring's end ---

TEST_F(MakeSpace, walk_over_the_rings_end_starts_counting_again) {
  const log_file file = five_entries().make();
  start = 200;
  fault_plan faults;
  EXPECT_EQ(make_space(file, 320, 180), 0);
  EXPECT_EQ(start, 200u);  // 80, if the 120 bytes in front of the end had counted
  EXPECT_EQ(faults.journal(),
            "lseek 200, read 20, lseek 260, read 20, "
            "lseek 20, read 20, lseek 80, read 20, lseek 140, read 20");
}

// The last entry frees the rest, but it also ends exactly where the ring does.
TEST_F(MakeSpace, entry_that_ends_at_the_rings_end_wraps_the_walk_instead_of_ending_it) {
  const log_file file = five_entries().make();
  start = 260;
  EXPECT_EQ(make_space(file, 320, 60), 0);
  EXPECT_EQ(start, 80u);
}

TEST_F(MakeSpace, entry_that_goes_beyond_the_rings_end_wraps_the_walk_too) {
  const log_file file = five_entries().make();
  start = 260;
  EXPECT_EQ(make_space(file, 319, 60), 0);
  EXPECT_EQ(start, 80u);
}

TEST_F(MakeSpace, walk_that_passes_the_rings_end_once_may_end) {
  const log_file file = five_entries().make();
  start = 80;
  EXPECT_EQ(make_space(file, 320, 240), 0);
  EXPECT_EQ(start, 260u);
}

TEST_F(MakeSpace, request_that_no_lap_can_meet_is_refused_with_code_two) {
  const log_file file = five_entries().make();
  fault_plan faults;
  EXPECT_EQ(make_space(file, 320, 241), -1);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: make space - no entry boundary frees 241 bytes")}));
  EXPECT_EQ(faults.count(call::read), 10u);  // two laps
  EXPECT_EQ(faults.count(call::write), 0u);
}

// Headers at 20, 88, 116 and 176 with 8 bytes of damage in front of the second. The first lap, from
// 116 on, meets none of it; the second covers it and changes the ring, so that a third is due.
TEST_F(MakeSpace, null_entry_earns_the_walk_another_lap) {
  const log_file file = ring(7)
                            .max(236)
                            .entry(1024, 40)
                            .damage(8)
                            .entry(1025, 8)
                            .entry(1026, 40)
                            .entry(1027, 40)
                            .make();
  start = 116;
  fault_plan faults;
  EXPECT_EQ(make_space(file, 236, 1000), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(errors().back(), error("ERROR: make space - no entry boundary frees 1000 bytes"));
  EXPECT_EQ(faults.journal(),
            "lseek 116, read 20, lseek 176, read 20, "
            "lseek 20, read 20, lseek 80, read 20, lseek 84, read 20, lseek 88, read 20, "
            "gettimeofday, lseek 80, write 20, write 16, lseek 88, read 20, "
            "lseek 116, read 20, lseek 176, read 20, "
            "lseek 20, read 20, lseek 80, read 20, lseek 116, read 20, lseek 176, read 20");
}

// --- damage in front of an entry ---

TEST_F(MakeSpace, synchronous_record_fails_at_the_first_damage) {
  const log_file file = ring(7).entry(1024, 40).damage(24).entry(1025, 8).make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(vesk_make_space(file.fd(), 8192, &start, 100, 0, &code), -1);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: make space - Bad ehdr at offset 80")}));
}

TEST_F(MakeSpace, damage_is_covered_exactly) {
  const log_file file = ring(7).entry(1024, 40).damage(32).entry(1025, 8).entry(1026, 12).make();
  EXPECT_EQ(make_space(file, 8192, 61), 0);
  EXPECT_EQ(start, 140u);
  EXPECT_EQ(file.picture(), "E1024/40 N/12 !E1025/8 E1026/12 start=20 end=172");
  EXPECT_EQ(file.hex(100, 12), "00 00 00 00  00 00 00 00  00 00 00 00");
  EXPECT_EQ(file.hex(80, 4), "01 25 00 00");
  EXPECT_EQ(file.hex(90, 2), "00 28");   // the size of the last good entry
  EXPECT_EQ(file.hex(122, 2), "00 0c");  // the size of the null entry
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(logged(),
            (log_lines{trace("TRACE:making space, nstart 20 nspace 61.\n"),
                       error("ERROR: make space -found good ent 112 add NULL ent at off 80 size 12 "
                             "corr size 32 total corr size 32 \n")}));
}

TEST_F(MakeSpace, damage_is_searched_in_steps_of_four) {
  const log_file file = ring(7).entry(1024, 40).damage(28).entry(1025, 8).make();
  fault_plan faults;
  EXPECT_EQ(make_space(file, 8192, 61), 0);
  EXPECT_EQ(faults.journal(),
            "lseek 20, read 20, lseek 80, read 20, lseek 84, read 20, lseek 88, read 20, "
            "lseek 92, read 20, lseek 96, read 20, lseek 100, read 20, lseek 104, read 20, "
            "lseek 108, read 20, "
            "gettimeofday, lseek 80, write 20, write 8, "
            "lseek 108, read 20, lseek 108, write 20");
}

TEST_F(MakeSpace, damage_at_the_start_has_no_known_entry_in_front_of_it) {
  const log_file file = ring(7).damage(40).entry(1024, 8).entry(1025, 8).make();
  EXPECT_EQ(make_space(file, 8192, 41), 0);
  EXPECT_EQ(start, 88u);
  EXPECT_EQ(file.picture(), "N/20 !E1024/8 E1025/8 start=20 end=116");
  EXPECT_EQ(file.hex(30, 2), "00 14");
}

// The damage alone is more than enough, but the walk looks at what is left only behind an entry.
TEST_F(MakeSpace, walk_ends_behind_the_entry_that_ends_the_damage) {
  const log_file file = ring(7).damage(40).entry(1024, 8).entry(1025, 8).make();
  EXPECT_EQ(make_space(file, 8192, 1), 0);
  EXPECT_EQ(start, 88u);
}

TEST_F(MakeSpace, damaged_bytes_count_as_freed) {
  const log_file file =
      ring(7).entry(1024, 40).damage(32).entry(1025, 8).entry(1026, 12).entry(1027, 8).make();
  EXPECT_EQ(make_space(file, 8192, 60 + 32 + 28), 0);
  EXPECT_EQ(start, 140u);
}

TEST_F(MakeSpace, one_byte_more_than_damage_and_entries_costs_the_next_entry) {
  const log_file file =
      ring(7).entry(1024, 40).damage(32).entry(1025, 8).entry(1026, 12).entry(1027, 8).make();
  EXPECT_EQ(make_space(file, 8192, 60 + 32 + 28 + 1), 0);
  EXPECT_EQ(start, 172u);
}

TEST_F(MakeSpace, previous_size_is_that_of_the_entry_that_ended_the_last_damage) {
  const log_file file = ring(7)
                            .entry(1024, 40)
                            .damage(24)
                            .entry(1025, 8)  // 104
                            .damage(28)      // 132
                            .entry(1026, 12)
                            .make();
  EXPECT_EQ(make_space(file, 8192, 113), 0);
  EXPECT_EQ(file.picture(), "E1024/40 N/4 !E1025/8 N/8 !E1026/12 start=20 end=192");
  EXPECT_EQ(file.hex(142, 2), "00 08");
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -found good ent 104 add NULL ent at off 80 size 4 "
                             "corr size 24 total corr size 24 \n"),
                       error("ERROR: make space -found good ent 160 add NULL ent at off 132 size 8 "
                             "corr size 28 total corr size 52 \n")}));
}

// The walk goes on at offset 20 and takes the entry there for what it is.
TEST_F(MakeSpace, entry_that_ends_the_damage_may_end_the_ring_too) {
  const log_file file = ring(7).max(132).entry(1024, 40).damage(24).entry(1025, 8).make();
  EXPECT_EQ(make_space(file, 132, 61), 0);
  EXPECT_EQ(start, 104u);
  EXPECT_EQ(file.picture(), "E1024/40 N/4 !E1025/8 start=20 end=132");
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -found good ent 104 add NULL ent at off 80 size 4 "
                             "corr size 24 total corr size 24 \n")}));
}

// --- damage too short for a null entry of its own ---

TEST_F(MakeSpace, use_this_entry_swallows_the_entry_behind_four_bytes_of_damage) {
  const log_file file = ring(7).entry(1024, 40).damage(4).entry(1025, 8).entry(1026, 40).make();
  EXPECT_EQ(make_space(file, 8192, 61), 0);
  EXPECT_EQ(start, 112u);
  EXPECT_EQ(file.picture(), "E1024/40 N/12 E1026/40 start=20 end=172");
  EXPECT_EQ(file.hex(90, 2), "00 28");
  EXPECT_EQ(code, untouched);
  // The last line is the attempt to rewrite the header that the null entry has just swallowed.
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -found good ent 84 add NULL ent at off 80 size -16 "
                             "corr size 4 total corr size 4 \n"),
                       error("ERROR: No space 4 to add header 80 Use this entry 28\n"),
                       error("ERROR: Bad ehdr at offset 84")}));
}

TEST_F(MakeSpace, use_this_entry_goes_up_to_twenty_bytes_of_damage) {
  const log_file file = ring(7).entry(1024, 40).damage(20).entry(1025, 8).entry(1026, 40).make();
  EXPECT_EQ(make_space(file, 8192, 61), 0);
  EXPECT_EQ(start, 128u);
  EXPECT_EQ(file.picture(), "E1024/40 N/28 E1026/40 start=20 end=188");
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -found good ent 100 add NULL ent at off 80 size 0 "
                             "corr size 20 total corr size 20 \n"),
                       error("ERROR: No space 20 to add header 80 Use this entry 28\n"),
                       error("ERROR: Bad ehdr at offset 100")}));
}

TEST_F(MakeSpace, twenty_four_bytes_of_damage_get_a_null_entry_of_their_own) {
  const log_file file = ring(7).entry(1024, 40).damage(24).entry(1025, 8).entry(1026, 40).make();
  EXPECT_EQ(make_space(file, 8192, 61), 0);
  EXPECT_EQ(start, 132u);
  EXPECT_EQ(file.picture(), "E1024/40 N/4 !E1025/8 E1026/40 start=20 end=192");
}

TEST_F(MakeSpace, swallowed_entry_counts_as_freed_too) {
  const log_file file =
      ring(7).entry(1024, 40).damage(20).entry(1025, 8).entry(1026, 40).entry(1027, 8).make();
  EXPECT_EQ(make_space(file, 8192, 60 + 20 + 28), 0);
  EXPECT_EQ(start, 128u);
}

// 65532 and 20 make 65552; sixteen bits of it are 16.
TEST_F(MakeSpace, size_of_a_null_entry_that_swallows_the_largest_entry_is_cut) {
  const log_file file = ring(5).entry(1024, 40).damage(20).entry(1025, 65532).make();
  EXPECT_EQ(make_space(file, 0x100000, 61), 0);
  EXPECT_EQ(start, 100u + 20u + 65532u);
  EXPECT_EQ(file.hex(80, 6), "01 25 00 00  00 10");
  EXPECT_EQ(errors()[1], error("ERROR: No space 20 to add header 80 Use this entry 65552\n"));
}

// --- how much damage is tolerated ---

TEST_F(MakeSpace, stretch_of_4096_bytes_is_tolerated) {
  const log_file file = ring(7).entry(1024, 40).damage(4096).entry(1025, 8).make();
  EXPECT_EQ(make_space(file, 8192, 4096), 0);
  EXPECT_EQ(start, 4204u);
  EXPECT_EQ(file.picture(), "E1024/40 N/4076 !E1025/8 start=20 end=4204");
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -found good ent 4176 add NULL ent at off 80 size "
                             "4076 corr size 4096 total corr size 4096 \n")}));
}

TEST_F(MakeSpace, stretch_of_4100_bytes_is_refused) {
  const log_file file = ring(7).entry(1024, 40).damage(4100).entry(1025, 8).make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(make_space(file, 8192, 4096), -1);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: make space - corrupted block beyond 4k\n")}));
}

TEST_F(MakeSpace, damage_of_5120_bytes_in_all_is_tolerated) {
  const log_file file =
      ring(7).entry(1024, 40).damage(2560).entry(1025, 8).damage(2560).entry(1026, 8).make();
  EXPECT_EQ(make_space(file, 8192, 5000), 0);
  EXPECT_EQ(start, 5256u);
  EXPECT_EQ(file.picture(), "E1024/40 N/2540 !E1025/8 N/2540 !E1026/8 start=20 end=5256");
  EXPECT_EQ(errors().back(),
            error("ERROR: make space -found good ent 5228 add NULL ent at off 2668 size 2540 corr "
                  "size 2560 total corr size 5120 \n"));
}

TEST_F(MakeSpace, damage_of_5124_bytes_in_all_is_refused) {
  const log_file file =
      ring(7).entry(1024, 40).damage(2560).entry(1025, 8).damage(2564).entry(1026, 8).make();
  EXPECT_EQ(make_space(file, 8192, 5000), -1);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(errors().back(), error("ERROR: make space -total corrupted size in file beyond 5k\n"));
  // What was covered before that stays covered.
  EXPECT_EQ(file.picture(), "E1024/40 N/2540 !E1025/8 ~2564 E1026/8 start=20 end=5260");
}

// 20 bytes of damage in front of the ring's end, and behind offset 20 stretches of 2560 bytes and
// of `second`. The first lap frees 2956 bytes, the second starts counting again.
ring damaged_on_both_sides(uint32_t second) {
  return ring(7)
      .entry(1024, 40)
      .damage(2560)
      .entry(1025, 8)
      .damage(second)
      .entry(1026, 8)
      .start_here()
      .entry(1027, 40)
      .damage(20)
      .entry(1028, 8)
      .null_to_max()
      .end(20);
}

TEST_F(MakeSpace, damage_in_front_of_the_rings_end_still_counts_behind_it) {
  const log_file file = damaged_on_both_sides(2544).make();
  start = 5240;
  EXPECT_EQ(make_space(file, 8192, 5200), -1);
  EXPECT_EQ(errors().back(), error("ERROR: make space -total corrupted size in file beyond 5k\n"));
}

TEST_F(MakeSpace, damage_of_5120_bytes_on_both_sides_of_the_rings_end_is_tolerated) {
  const log_file file = damaged_on_both_sides(2540).make();
  start = 5236;
  EXPECT_EQ(make_space(file, 8192, 5200), 0);
  EXPECT_EQ(start, 5236u);
  EXPECT_EQ(errors().back(),
            error("ERROR: make space -found good ent 5208 add NULL ent at off 2668 size 2520 corr "
                  "size 2540 total corr size 5120 \n"));
}

// --- damage up to the ring's end ---

TEST_F(MakeSpace, damage_up_to_the_rings_end_is_covered_and_the_walk_goes_on_at_twenty) {
  const log_file file = ring(7).max(400).entry(1024, 40).damage(320).make();
  EXPECT_EQ(make_space(file, 400, 100), 0);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(file.size(), 400u);
  EXPECT_EQ(file.picture(), "E1024/40 N/300 start=20 end=400");
  EXPECT_EQ(file.hex(90, 2), "00 28");
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -adding NULL ent at end off 80 size 300 corr size "
                             "304 total corr size 304 \n")}));
}

// 440 bytes: 380 up to the ring's end, and then the first entry's 60.
TEST_F(MakeSpace, what_damage_at_the_rings_end_freed_stays_counted) {
  const log_file file = ring(7).max(400).entry(1024, 40).damage(320).make();
  EXPECT_EQ(make_space(file, 400, 440), 0);
  EXPECT_EQ(start, 80u);
  EXPECT_EQ(file.picture(), "E1024/40 N/300 start=20 end=400");
}

TEST_F(MakeSpace, damage_on_both_sides_of_the_rings_end_is_two_stretches) {
  const log_file file = ring(7)
                            .max(248)
                            .damage(40)
                            .entry(1025, 8)  // 60
                            .start_here()    // 88
                            .entry(1026, 40)
                            .damage(100)  // 148
                            .end(20)
                            .make();
  start = 88;
  EXPECT_EQ(make_space(file, 248, 200), 0);
  EXPECT_EQ(start, 88u);
  EXPECT_EQ(file.picture(), "E1026/40 N/80 | start=88 end=20");
  EXPECT_EQ(file.hex(158, 2), "00 28");
  EXPECT_EQ(file.hex(20, 6), "01 25 00 00  00 14");
  EXPECT_EQ(file.hex(30, 2), "00 14");  // behind the ring's end no entry is known
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -adding NULL ent at end off 148 size 80 corr size "
                             "84 total corr size 84 \n"),
                       error("ERROR: make space -found good ent 60 add NULL ent at off 20 size 20 "
                             "corr size 40 total corr size 124 \n")}));
}

TEST_F(MakeSpace, damage_of_twenty_bytes_at_the_rings_end_has_no_room_for_a_null_entry) {
  const log_file file = ring(7).max(100).entry(1024, 40).damage(20).make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(make_space(file, 100, 61), -1);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -adding NULL ent at end off 80 size 0 corr size 4 "
                             "total corr size 4 \n"),
                       error("ERROR: no space 20 to add NULL ent at end \n")}));
}

TEST_F(MakeSpace, damage_of_twenty_four_bytes_at_the_rings_end_has_room_for_one) {
  const log_file file = ring(7).max(104).entry(1024, 40).damage(24).make();
  EXPECT_EQ(make_space(file, 104, 61), 0);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(file.picture(), "E1024/40 N/4 start=20 end=104");
}

TEST_F(MakeSpace, damage_of_less_than_a_header_at_the_rings_end_has_none) {
  const log_file file = ring(7).max(96).entry(1024, 40).damage(24).make();
  EXPECT_EQ(make_space(file, 96, 61), -1);
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -adding NULL ent at end off 80 size -4 corr size 4 "
                             "total corr size 4 \n"),
                       error("ERROR: no space 16 to add NULL ent at end \n")}));
}

// --- system calls that fail ---

TEST_F(MakeSpace, offset_that_is_refused_sets_code_six) {
  const log_file file = five_entries().make();
  start = 0x80000000;
  EXPECT_EQ(make_space(file, 0xFFFFFFFF, 61), -1);
  EXPECT_EQ(code, 6u);
  EXPECT_EQ(start, 0x80000000);
  EXPECT_EQ(logged(), (log_lines{trace("TRACE:making space, nstart -2147483648 nspace 61.\n"),
                                 error("ERROR: lseek failed to seek -2147483648, errno = 22")}));
}

TEST_F(MakeSpace, seek_that_fails_otherwise_sets_no_code) {
  EXPECT_EQ(vesk_make_space(-1, 320, &start, 61, 1, &code), -1);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: lseek failed to seek 20, errno = 9")}));
}

TEST_F(MakeSpace, header_read_that_fails_with_a_fault_sets_code_five) {
  const log_file file = five_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(2), returns{-1}, with{EFAULT});
  EXPECT_EQ(make_space(file, 320, 61), -1);
  EXPECT_EQ(code, 5u);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: ehdr read fails errno 14.")}));
}

TEST_F(MakeSpace, header_read_that_fails_otherwise_sets_no_code) {
  const log_file file = five_entries().make();
  {
    fault_plan faults;
    faults.fail(call::read, nth(1), returns{-1}, with{EBADF});
    EXPECT_EQ(make_space(file, 320, 61), -1);
  }
  {
    fault_plan faults;
    faults.shorten(call::read, nth(1), only{19}, with{EFAULT});
    EXPECT_EQ(make_space(file, 320, 61), -1);
  }
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: ehdr read fails errno 9."),
                                 error("ERROR: ehdr read fails errno 14.")}));
}

TEST_F(MakeSpace, walk_that_runs_into_the_end_of_the_file_fails) {
  const log_file file = ring(7).entry(1024, 40).entry(1025, 40).make();
  errno = EDOM;
  EXPECT_EQ(make_space(file, 8192, 4096), -1);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: ehdr read fails errno 33.")}));
}

TEST_F(MakeSpace, null_entry_that_fails_in_front_of_an_entry_sets_code_three) {
  const log_file file = ring(7).entry(1024, 40).damage(32).entry(1025, 8).make();
  fault_plan faults;
  faults.shorten(call::write, nth(1), only{19}, with{ENOSPC});
  EXPECT_EQ(make_space(file, 8192, 61), -1);
  EXPECT_EQ(code, 3u);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -found good ent 112 add NULL ent at off 80 size 12 "
                             "corr size 32 total corr size 32 \n"),
                       error("ERROR: Write failed ret 19 ehdr entry type 0. errno 28."),
                       error("ERROR: Add NULL ent failed \n")}));
}

TEST_F(MakeSpace, null_entry_that_fails_at_the_rings_end_sets_code_three) {
  const log_file file = ring(7).max(400).entry(1024, 40).damage(320).make();
  fault_plan faults;
  faults.fail(call::gettimeofday, nth(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(make_space(file, 400, 100), -1);
  EXPECT_EQ(code, 3u);
  EXPECT_EQ(start, 20u);
  EXPECT_EQ(errors(),
            (log_lines{error("ERROR: make space -adding NULL ent at end off 80 size 300 corr size "
                             "304 total corr size 304 \n"),
                       error("ERROR: gettimeofday() failed with errno 14."),
                       error("ERROR: Add NULL ent failed \n")}));
}

// Whether the header behind a null entry could be rewritten does not matter, but its code stays.
TEST_F(MakeSpace, header_that_cannot_be_rewritten_does_not_stop_the_walk) {
  const log_file file = ring(7).entry(1024, 40).damage(24).entry(1025, 8).make();
  fault_plan faults;
  faults.shorten(call::write, nth(3), only{7}, with{ENOSPC});
  EXPECT_EQ(make_space(file, 8192, 61), 0);
  EXPECT_EQ(start, 132u);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(errors().back(), error("ERROR: Write failed ret 7 errno 28."));
}

}  // namespace
}  // namespace vesk::test
