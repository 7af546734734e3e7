#include <cerrno>

#include "recovery/vesk_ghdr_recovery.h"
#include "tests/unit/recovery/recovery_test.h"

namespace vesk::test {
namespace {

class GhdrSecondPass : public RecoveryTest {
 protected:
  int32_t pass(const log_file &file, uint32_t start, uint32_t max, uint32_t entry_count) {
    return vesk_ghdr_recovery_second_pass(file.fd(), start, file.size(), max, &reason, &new_end,
                                          &new_start, &last_entry, entry_count);
  }

  uint32_t reason = untouched;
  uint32_t new_end = untouched;
  uint32_t new_start = untouched;
  uint32_t last_entry = 20;
};

// Headers at 20, 48, 76 and 104; the file ends at 132.
ring four_entries() {
  return ring(7).entries(4, 8);
}

// --- from the first slot ---

TEST_F(GhdrSecondPass, end_lies_behind_the_last_entry_that_counts) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 4), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 104u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76, 104}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 trace("TRACE: reason 0 entry_count 4 \n")}));
}

TEST_F(GhdrSecondPass, walk_stops_at_the_count_and_not_at_the_end) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 2), 0);
  EXPECT_EQ(new_end, 76u);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48}));
}

TEST_F(GhdrSecondPass, null_entries_between_are_walked_and_those_behind_are_left_outside) {
  const log_file file = ring(7).null(8).entry(1024, 8).null(8).entry(1025, 8).null(8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 2), 0);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(last_entry, 104u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76, 104}));
  EXPECT_EQ(logged().back(), trace("TRACE: reason 0 entry_count 2 \n"));
}

TEST_F(GhdrSecondPass, without_entries_there_is_no_walk) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 0), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(faults.journal(), "");
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 trace("TRACE: reason 0 entry_count 0 \n")}));
}

TEST_F(GhdrSecondPass, ring_that_closes_on_the_first_slot_leaves_the_end_there) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 132, 4), 0);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 104u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76, 104}));
}

// --- a chain that breaks ---

TEST_F(GhdrSecondPass, bad_header_becomes_the_end) {
  const log_file file = ring(7).entries(2, 8).damage(8).entry(1026, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 8192, 3), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 76u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 112 max 8192 \n"),
                                 trace("TRACE: reason 1 entry_count 2 \n"),
                                 trace("TRACE:New end for file 76\n")}));
}

TEST_F(GhdrSecondPass, bad_header_in_the_first_slot_leaves_an_empty_ring) {
  const log_file file = ring(7).damage(24).entry(1026, 8).make();
  EXPECT_EQ(pass(file, 20, 8192, 1), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 72 max 8192 \n"),
                                 trace("TRACE: reason 1 entry_count 0 \n"),
                                 trace("TRACE:New end for file 20\n")}));
}

TEST_F(GhdrSecondPass, seek_that_fails_becomes_the_end_too) {
  const log_file file = four_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(3), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 20, 8192, 4), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 76u);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 error("ERROR: lseek failed to seek 76, errno = 5\n"),
                                 trace("TRACE: reason 1 entry_count 2 \n"),
                                 trace("TRACE:New end for file 76\n")}));
}

TEST_F(GhdrSecondPass, short_read_becomes_the_end_too) {
  const log_file file = four_entries().make();
  EXPECT_EQ(pass(file, 20, 8192, 5), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(last_entry, 104u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 error("ERROR: ehdr read failed at 132 errno 33\n"),
                                 trace("TRACE: reason 1 entry_count 4 \n"),
                                 trace("TRACE:New end for file 132\n")}));
}

TEST_F(GhdrSecondPass, io_error_remounts_and_becomes_the_end) {
  const log_file file = four_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 20, 8192, 4), 0);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 132 max 8192 \n"),
                                 trace("TRACE:going to remount filesystem \n"),
                                 error("ERROR: ehdr read failed at 48 errno 5\n"),
                                 trace("TRACE: reason 1 entry_count 1 \n"),
                                 trace("TRACE:New end for file 48\n")}));
}

// --- from a start elsewhere, over the ring's end ---

// The end lies in front of the start: nothing more is looked at.
TEST_F(GhdrSecondPass, wrapped_ring_ends_in_front_of_its_start) {
  const log_file file = ring(7).entry(1024, 8).null(8).entry(1025, 8).entry(1026, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 76, 132, 3), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(faults.journal(), looks_at({76, 104, 20}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 76 end 132 max 132 \n"),
                                 trace("TRACE: reason 0 entry_count 3 \n")}));
}

TEST_F(GhdrSecondPass, entry_beyond_the_rings_end_wraps_too) {
  const log_file file = ring(7).entry(1024, 8).null(8).entry(1025, 8).entry(1026, 8).make();
  EXPECT_EQ(pass(file, 76, 131, 3), 0);
  EXPECT_EQ(new_end, 48u);
}

TEST_F(GhdrSecondPass, entry_one_byte_in_front_of_the_rings_end_does_not) {
  const log_file file = ring(7).entry(1024, 8).null(8).entry(1025, 8).entry(1026, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 133, 4), 0);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76, 104, 132}));
}

// Start and end are never equal: the last entry is given up.
TEST_F(GhdrSecondPass, ring_that_closes_on_itself_ends_at_its_last_header) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 76, 132, 4), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({76, 104, 20, 48}));
}

TEST_F(GhdrSecondPass, break_behind_the_rings_end_is_found_once) {
  const log_file file = ring(7).damage(28).entries(2, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 104, 3), 0);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 76u);
  EXPECT_EQ(faults.journal(), looks_at({48, 76, 20}));
}

TEST_F(GhdrSecondPass, bad_header_at_the_start_itself_ends_there) {
  const log_file file = ring(7).entry(1024, 8).damage(28).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 76, 1), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({48}));
}

TEST_F(GhdrSecondPass, without_entries_a_start_elsewhere_is_the_end) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 132, 0), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), "");
}

// --- a ring without the entries that were counted ---

TEST_F(GhdrSecondPass, ring_of_null_entries_alone_ends_at_its_second_lap) {
  const log_file file = ring(7).null(8).null(8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 76, 1), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 48u);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 20, 48}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 20 end 76 max 76 \n"),
                                 trace("TRACE: reason 1 entry_count 0 \n"),
                                 trace("TRACE:New end for file 48\n")}));
}

// What was met in front of the ring's first end does not come again.
TEST_F(GhdrSecondPass, entry_outside_the_lap_does_not_keep_the_walk_going) {
  const log_file file = ring(7).null(36).entry(1024, 8).make();  // headers at 20 and 76
  fault_plan faults;
  EXPECT_EQ(pass(file, 76, 76, 2), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(faults.journal(), looks_at({76, 20}));
}

// An entry of every lap counts again in every lap, so that the walk ends by itself.
TEST_F(GhdrSecondPass, entry_of_every_lap_keeps_the_walk_going) {
  const log_file file = ring(7).null(8).entry(1024, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 20, 76, 4), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 20u);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 20, 48, 20, 48, 20, 48}));
  EXPECT_EQ(logged().back(), trace("TRACE: reason 0 entry_count 4 \n"));
}

// --- from a start elsewhere to an end behind it: the walk is made again ---

TEST_F(GhdrSecondPass, sound_walk_moves_the_start_behind_the_entry_at_the_end) {
  const log_file file = four_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 8192, 2), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 132u);
  EXPECT_EQ(last_entry, 76u);
  EXPECT_EQ(faults.journal(), looks_at({48, 76}) + ", " + looks_at({48, 76, 104}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 48 end 132 max 8192 \n"),
                                 trace("TRACE: reason 0 entry_count 2 \n")}));
}

TEST_F(GhdrSecondPass, start_that_comes_to_the_rings_end_becomes_the_first_slot) {
  const log_file file = four_entries().make();
  EXPECT_EQ(pass(file, 48, 132, 2), 0);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 20u);
}

TEST_F(GhdrSecondPass, second_walk_goes_beyond_the_rings_end_without_wrapping) {
  const log_file file = four_entries().make();
  EXPECT_EQ(pass(file, 48, 131, 2), 0);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 132u);
}

TEST_F(GhdrSecondPass, bad_header_at_the_end_fails_the_second_walk) {
  const log_file file = ring(7).entries(3, 8).damage(28).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 8192, 2), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 104u);
  EXPECT_EQ(last_entry, 76u);
  EXPECT_EQ(faults.journal(), looks_at({48, 76}) + ", " + looks_at({48, 76, 104}));
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 48 end 132 max 8192 \n"),
                                 trace("TRACE: reason 0 entry_count 2 \n"),
                                 error("ERROR: ehdr checksum failed at 104 \n")}));
}

// The break became the end, and the second walk reads the header at the end.
TEST_F(GhdrSecondPass, break_behind_a_start_elsewhere_fails_the_second_walk) {
  const log_file file = ring(7).entries(3, 8).damage(28).make();
  EXPECT_EQ(pass(file, 48, 8192, 3), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 104u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery second pass start 48 end 132 max 8192 \n"),
                                 trace("TRACE: reason 1 entry_count 2 \n"),
                                 trace("TRACE:New end for file 104\n"),
                                 error("ERROR: ehdr checksum failed at 104 \n")}));
}

TEST_F(GhdrSecondPass, end_of_the_file_fails_the_second_walk) {
  const log_file file = four_entries().make();
  EXPECT_EQ(pass(file, 76, 8192, 2), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 132u);
  EXPECT_EQ(new_start, 132u);
  EXPECT_EQ(logged().back(), error("ERROR: ehdr read failed at 132 errno 33\n"));
}

TEST_F(GhdrSecondPass, io_error_fails_the_second_walk) {
  const log_file file = four_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(4), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 48, 8192, 2), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 76u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged().back(), error("ERROR: ehdr read failed at 76 errno 5\n"));
}

TEST_F(GhdrSecondPass, seek_that_fails_fails_the_second_walk) {
  const log_file file = four_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(3), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 48, 8192, 2), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(new_end, 104u);
  EXPECT_EQ(new_start, 48u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(logged().back(), error("ERROR: lseek failed to seek 48, errno = 5\n"));
}

TEST_F(GhdrSecondPass, nothing_is_written) {
  const log_file file = ring(7).entries(3, 8).damage(28).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(pass(file, 48, 8192, 3), -1);
  EXPECT_EQ(faults.count(call::write), 0u);
  EXPECT_EQ(file.bytes(), before);
}

}  // namespace
}  // namespace vesk::test
