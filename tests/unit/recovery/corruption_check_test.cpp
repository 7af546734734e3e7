#include "recovery/vesk_corruption_check.h"

#include <cerrno>

#include "tests/unit/recovery/recovery_test.h"

namespace vesk::test {
namespace {

class CorruptionCheck : public RecoveryTest {
 protected:
  int32_t check(const log_file &file, uint32_t start, uint32_t end, uint32_t max = 8192) {
    return vesk_check_file_corrupted(file.fd(), start, end, max, &reason);
  }

  // What was logged behind the three lines with which every check begins.
  static log_lines findings() {
    if (logged().size() < 3) return {error("not even the three lines")};
    return {logged().begin() + 3, logged().end()};
  }

  uint32_t reason = untouched;
};

// Headers at 20, 40 and 60; the file ends at 80.
ring three_headers() {
  return headers(ring(7), 3);
}

// Headers at 20, 48 and 76; the file ends at 104.
ring three_entries() {
  return ring(7).entries(3, 8);
}

// --- empty rings ---

TEST_F(CorruptionCheck, fresh_file_is_sound_and_is_not_read) {
  const log_file file = ring(7).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 20), 0);
  EXPECT_EQ(reason, untouched);
  EXPECT_EQ(faults.journal(), "");
  EXPECT_EQ(logged(),
            (log_lines{trace("TRACE:vesk_check_file_corrupted start 20 end 20 max 8192 \n"),
                       trace("TRACE:checking  100 entries from start 20\n"),
                       error("ERROR: vesk_check_file_corrupted start 20 end 20 max 8192 \n")}));
}

TEST_F(CorruptionCheck, equal_start_and_end_anywhere_else_are_impossible) {
  const log_file file = three_entries().make();
  for (const uint32_t at : {0u, 16u, 24u, 100u, 8192u}) {
    SCOPED_TRACE(at);
    platform.forget();
    reason = untouched;
    fault_plan faults;
    EXPECT_EQ(check(file, at, at), -1);
    EXPECT_EQ(reason, 2u);
    EXPECT_EQ(faults.journal(), "");
    EXPECT_EQ(findings(), log_lines{});
  }
}

// --- a sound chain ---

TEST_F(CorruptionCheck, chain_from_the_first_slot_is_read_once_and_then_its_last_header_again) {
  const log_file file = three_headers().make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 80), 0);
  EXPECT_EQ(reason, untouched);
  EXPECT_EQ(faults.journal(), looks_at({20, 40, 60, 60}));
  EXPECT_EQ(logged(),
            (log_lines{trace("TRACE:vesk_check_file_corrupted start 20 end 80 max 8192 \n"),
                       trace("TRACE:checking  100 entries from start 20\n"),
                       error("ERROR: vesk_check_file_corrupted start 20 end 80 max 8192 \n"),
                       trace("TRACE:checking entry at end 80\n")}));
}

TEST_F(CorruptionCheck, chain_from_elsewhere_has_its_first_slot_read_too) {
  const log_file file = three_headers().make();
  fault_plan faults;
  EXPECT_EQ(check(file, 40, 80), 0);
  EXPECT_EQ(reason, untouched);
  EXPECT_EQ(faults.journal(), looks_at({40, 60, 20, 60}));
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking  entries from beginning 20\n"),
                                   trace("TRACE:checking entry at end 80\n")}));
}

TEST_F(CorruptionCheck, walk_goes_on_at_the_first_slot_where_the_ring_ends) {
  const log_file file = three_entries().make();
  for (const uint32_t max : {104u, 103u}) {  // at its end, and beyond it
    SCOPED_TRACE(max);
    fault_plan faults;
    EXPECT_EQ(check(file, 76, 48, max), 0);
    EXPECT_EQ(faults.journal(), looks_at({76, 20, 20, 28, 24, 20}));
  }
  EXPECT_EQ(reason, untouched);
}

TEST_F(CorruptionCheck, walk_does_not_go_on_at_the_first_slot_one_byte_early) {
  const log_file file = three_entries().make();
  fault_plan faults;
  EXPECT_EQ(check(file, 76, 48, 105), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(faults.journal(), looks_at({76, 104}));
}

TEST_F(CorruptionCheck, null_entries_are_headers_like_any_other) {
  const log_file file = ring(7).null(8).entry(1024, 8).null(4).make();
  EXPECT_EQ(check(file, 20, 100), 0);
}

TEST_F(CorruptionCheck, nothing_is_written) {
  const log_file file = ring(7).entry(1024, 40).damage(24).entry(1025, 8).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 132), -1);
  EXPECT_EQ(faults.count(call::write), 0u);
  EXPECT_EQ(file.bytes(), before);
}

// --- the walk from the start ---

TEST_F(CorruptionCheck, bad_header_on_the_walk_is_corruption) {
  const log_file file = ring(7).entries(2, 8).damage(8).entry(1026, 8).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 112), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76}));
  EXPECT_EQ(findings(),
            (log_lines{error("ERROR: Bad ehdr at offset at start 76 entry count 2\n")}));
}

TEST_F(CorruptionCheck, bad_header_at_the_start_itself_counts_no_entry) {
  const log_file file = ring(7).damage(8).entries(2, 8).make();
  EXPECT_EQ(check(file, 20, 84), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(findings(),
            (log_lines{error("ERROR: Bad ehdr at offset at start 20 entry count 0\n")}));
}

TEST_F(CorruptionCheck, bad_hundred_and_first_header_is_seen) {
  const log_file file = headers(ring(7), 100).damage(20).entry(2000, 0).make();
  EXPECT_EQ(check(file, 20, 2060), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(findings(),
            (log_lines{error("ERROR: Bad ehdr at offset at start 2020 entry count 100\n")}));
}

TEST_F(CorruptionCheck, bad_hundred_and_second_header_is_not) {
  const log_file file = headers(ring(7), 101).damage(20).entry(2000, 0).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 2080), 0);
  EXPECT_EQ(reason, untouched);
  EXPECT_EQ(faults.count(call::read), 101u + 1u);
  EXPECT_EQ(faults.count(call::lseek), 101u + 1u);
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking entry at end 2080\n")}));
}

TEST_F(CorruptionCheck, hundred_and_one_headers_are_read_from_any_start) {
  const log_file file = headers(ring(7), 102).damage(20).entry(2000, 0).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 40, 2100), 0);
  EXPECT_EQ(faults.count(call::read), 101u + 1u + 1u);
}

// Nothing but the ends of the file and of the count stops a chain that misses `end`.
TEST_F(CorruptionCheck, chain_that_misses_the_end_runs_into_the_end_of_the_file) {
  const log_file file = ring(7)
                            .entry({.uuid = 300, .type = 1030, .size = 8, .flags = 1})
                            .entry({.uuid = 301, .type = 1031, .size = 12, .flags = 254})
                            .make();
  EXPECT_EQ(check(file, 20, 44), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(findings(),
            (log_lines{error("ERROR: ehdr read failed at start 80 errno 33 entry_count 2\n"),
                       error("ERROR: euuid 301 etype 1031 esize 12 254 \n")}));
}

TEST_F(CorruptionCheck, short_read_of_the_first_header_remembers_no_entry) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.shorten(call::read, nth(1), only{19}, with{ENXIO});
  EXPECT_EQ(check(file, 20, 104), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(faults.journal(), looks_at({20}));
  EXPECT_EQ(findings(),
            (log_lines{error("ERROR: ehdr read failed at start 20 errno 6 entry_count 0\n"),
                       error("ERROR: euuid 0 etype 0 esize 0 0 \n")}));
}

TEST_F(CorruptionCheck, read_that_fails_on_the_walk_tells_the_entry_in_front) {
  const log_file file = ring(7)
                            .entry({.uuid = 300, .type = 1030, .size = 8, .flags = 1})
                            .entry({.uuid = 301, .type = 1031, .size = 12, .flags = 2})
                            .make();
  fault_plan faults;
  faults.fail(call::read, nth(2), returns{-1}, with{EFAULT});
  EXPECT_EQ(check(file, 20, 80), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(findings(),
            (log_lines{error("ERROR: ehdr read failed at start 48 errno 14 entry_count 1\n"),
                       error("ERROR: euuid 300 etype 1030 esize 8 1 \n")}));
}

TEST_F(CorruptionCheck, io_error_on_the_walk_remounts_and_still_fails) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(3), returns{-1}, with{EIO});
  EXPECT_EQ(check(file, 20, 104), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(findings(),
            (log_lines{trace("TRACE:going to remount filesystem \n"),
                       error("ERROR: ehdr read failed at start 76 errno 5 entry_count 2\n"),
                       error("ERROR: euuid 77 etype 1025 esize 8 0 \n")}));
}

TEST_F(CorruptionCheck, seek_that_fails_on_the_walk_remounts_nothing) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(check(file, 20, 104), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 48");
  EXPECT_EQ(findings(), (log_lines{error("ERROR: lseek failed to seek at start 48, errno = 5\n")}));
}

TEST_F(CorruptionCheck, offsets_of_two_gigabytes_are_refused) {
  const log_file file = three_entries().make();
  EXPECT_EQ(check(file, 0x80000000, 20), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(
      logged(),
      (log_lines{trace("TRACE:vesk_check_file_corrupted start -2147483648 end 20 max 8192 \n"),
                 trace("TRACE:checking  100 entries from start -2147483648\n"),
                 error("ERROR: vesk_check_file_corrupted start -2147483648 end 20 max 8192 \n"),
                 error("ERROR: lseek failed to seek at start -2147483648, errno = 22\n")}));
}

// --- the first slot ---

TEST_F(CorruptionCheck, garbage_in_the_first_slot_is_corruption_though_the_chain_is_sound) {
  const log_file file = headers(ring(7).damage(20), 2).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 40, 80), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(faults.journal(), looks_at({40, 60, 20}));
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking  entries from beginning 20\n"),
                                   error("ERROR: Bad ehdr at offset at beginning 20\n")}));
}

TEST_F(CorruptionCheck, garbage_in_the_first_slot_of_a_wrapped_ring_is_corruption) {
  const log_file file = ring(7).damage_to(8100).entry(1024, 8).null_to_max().make();
  fault_plan faults;
  EXPECT_EQ(check(file, 8100, 20), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(faults.journal(), looks_at({8100, 8128, 20}));
  EXPECT_EQ(findings().back(), error("ERROR: Bad ehdr at offset at beginning 20\n"));
}

TEST_F(CorruptionCheck, walk_that_comes_to_garbage_in_the_first_slot_tells_so_itself) {
  const log_file file = ring(7).damage_to(8100).entry(1024, 8).null_to_max().make();
  fault_plan faults;
  EXPECT_EQ(check(file, 8100, 48), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(faults.journal(), looks_at({8100, 8128, 20}));
  EXPECT_EQ(findings(),
            (log_lines{error("ERROR: Bad ehdr at offset at start 20 entry count 2\n")}));
}

TEST_F(CorruptionCheck, only_one_header_is_read_in_the_first_slot) {
  const log_file file = ring(7).entry(1024, 0).damage_to(8100).entry(1025, 8).null_to_max().make();
  fault_plan faults;
  EXPECT_EQ(check(file, 8100, 20), 0);
  EXPECT_EQ(reason, untouched);
  EXPECT_EQ(faults.journal(), looks_at({8100, 8128, 20}));
  // With the end in the first slot there is no last entry to look for.
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking  entries from beginning 20\n")}));
}

TEST_F(CorruptionCheck, first_slot_that_cannot_be_sought_is_unreadable) {
  const log_file file = three_headers().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(3), returns{-1}, with{EIO});
  EXPECT_EQ(check(file, 40, 80), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking  entries from beginning 20\n"),
                                   error("ERROR: lseek failed to seek at beginning 20, errno = "
                                         "5\n")}));
}

TEST_F(CorruptionCheck, first_slot_that_is_read_short_is_unreadable) {
  const log_file file = three_headers().make();
  fault_plan faults;
  faults.shorten(call::read, nth(3), only{19}, with{ENXIO});
  EXPECT_EQ(check(file, 40, 80), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking  entries from beginning 20\n"),
                                   error("ERROR: ehdr read at beginning 20 failed errno 6\n")}));
}

TEST_F(CorruptionCheck, io_error_in_the_first_slot_remounts_and_is_still_unreadable) {
  const log_file file = three_headers().make();
  fault_plan faults;
  faults.fail(call::read, nth(3), returns{-1}, with{EIO});
  EXPECT_EQ(check(file, 40, 80), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking  entries from beginning 20\n"),
                                   trace("TRACE:going to remount filesystem \n"),
                                   error("ERROR: ehdr read at beginning 20 failed errno 5\n")}));
}

// --- the entry at the end ---

TEST_F(CorruptionCheck, last_header_is_looked_for_backwards_in_steps_of_four) {
  const log_file file = three_entries().make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 104), 0);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76, 84, 80, 76}));
}

// The walk is over after 101 headers, and the header found at the end is of an entry that ends 40
// bytes before it.
TEST_F(CorruptionCheck, header_near_the_end_will_do_wherever_its_entry_ends) {
  const log_file file = headers(ring(7), 101).damage(40).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 2080), 0);
  EXPECT_EQ(faults.count(call::read), 101u + 11u);
}

TEST_F(CorruptionCheck, header_at_2049th_position_is_found) {
  const log_file file = ring(6).entry(1024, 8192).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 8232, 0x20000), 0);
  EXPECT_EQ(reason, untouched);
  EXPECT_EQ(faults.count(call::read), 1u + 2049u);
  EXPECT_EQ(faults.count(call::lseek), 1u + 2049u);
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking entry at end 8232\n")}));
}

TEST_F(CorruptionCheck, header_four_bytes_further_back_is_not) {
  const log_file file = ring(6).entry(1024, 8196).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 8236, 0x20000), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(faults.count(call::read), 1u + 2049u);
  EXPECT_EQ(findings(),
            (log_lines{trace("TRACE:checking entry at end 8236\n"),
                       error("ERROR: curr 20 is less than VESK_GHEADER_SIZE 20 ORcorrupted size "
                             "8196 is bigger than max corruptedsize 8192\n")}));
}

// An end that is no multiple of four is looked for in steps of four all the same.
TEST_F(CorruptionCheck, search_ends_in_front_of_the_first_slot) {
  const log_file file =
      headers(ring(7).entry({.uuid = 79, .usecs = 1}).entry({.uuid = 78, .usecs = 2}), 99).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 46), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(faults.count(call::read), 101u + 2u);
  EXPECT_EQ(findings(),
            (log_lines{trace("TRACE:checking entry at end 46\n"),
                       error("ERROR: curr 18 is less than VESK_GHEADER_SIZE 20 ORcorrupted size 8 "
                             "is bigger than max corruptedsize 8192\n")}));
}

TEST_F(CorruptionCheck, end_too_close_to_the_first_slot_is_corruption) {
  const log_file file = headers(ring(7), 101).make();
  fault_plan faults;
  EXPECT_EQ(check(file, 20, 36), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(faults.count(call::read), 101u);
  EXPECT_EQ(findings(), (log_lines{error("ERROR: curr is less than VESK_GHEADER_SIZE 16\n")}));
}

TEST_F(CorruptionCheck, end_one_byte_short_of_a_header_is_too_close) {
  const log_file file = headers(ring(7), 101).make();
  EXPECT_EQ(check(file, 20, 39), -1);
  EXPECT_EQ(findings(), (log_lines{error("ERROR: curr is less than VESK_GHEADER_SIZE 19\n")}));
}

TEST_F(CorruptionCheck, end_behind_one_header_is_not_too_close) {
  const log_file file = headers(ring(7), 1).make();
  EXPECT_EQ(check(file, 20, 40), 0);
}

// 0 - 20 is a large number, and the seek refuses it.
TEST_F(CorruptionCheck, end_below_twenty_fails_in_the_seek) {
  const log_file file = headers(ring(7), 101).make();
  EXPECT_EQ(check(file, 20, 0), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking entry at end 0\n"),
                                   error("ERROR: lseek failed to seek at end -20, errno = 22\n")}));
}

TEST_F(CorruptionCheck, seek_that_fails_at_the_end_is_corruption) {
  const log_file file = ring(7).entries(1, 8).make();
  fault_plan faults;
  faults.fail(call::lseek, nth(3), returns{-1}, with{EIO});
  EXPECT_EQ(check(file, 20, 48), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 28, read 20, lseek 24");
  EXPECT_EQ(findings(), (log_lines{trace("TRACE:checking entry at end 48\n"),
                                   error("ERROR: lseek failed to seek at end 24, errno = 5\n")}));
}

TEST_F(CorruptionCheck, read_that_falls_short_at_the_end_is_corruption) {
  const log_file file = three_headers().make();
  fault_plan faults;
  faults.shorten(call::read, nth(4), only{7}, with{ENXIO});
  EXPECT_EQ(check(file, 20, 80), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(findings(),
            (log_lines{trace("TRACE:checking entry at end 80\n"),
                       error("ERROR: ehdr read failed at end 60 errno 6 read_bytes 7\n")}));
}

TEST_F(CorruptionCheck, io_error_at_the_end_remounts_and_is_still_corruption) {
  const log_file file = three_headers().make();
  fault_plan faults;
  faults.fail(call::read, nth(4), returns{-1}, with{EIO});
  EXPECT_EQ(check(file, 20, 80), -1);
  EXPECT_EQ(reason, 3u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(findings(),
            (log_lines{trace("TRACE:checking entry at end 80\n"),
                       trace("TRACE:going to remount filesystem \n"),
                       error("ERROR: ehdr read failed at end 60 errno 5 read_bytes -1\n")}));
}

}  // namespace
}  // namespace vesk::test
