#include <cerrno>
#include <initializer_list>

#include "recovery/vesk_ghdr_recovery.h"
#include "tests/unit/recovery/recovery_test.h"

namespace vesk::test {
namespace {

class GhdrFirstPass : public RecoveryTest {
 protected:
  // Over the whole file, as the sweep asks for it.
  int32_t pass(const log_file &file, uint32_t max = 8192) { return pass(file, file.size(), max); }
  int32_t pass(const log_file &file, uint32_t end, uint32_t max) {
    return vesk_ghdr_recovery_first_pass(file.fd(), 20, end, max, &reason, &count, &predicted);
  }

  uint32_t reason = untouched;
  uint32_t count = untouched;
  uint32_t predicted = untouched;
};

// --- nothing to repair ---

TEST_F(GhdrFirstPass, empty_file_has_no_entries_and_is_not_read) {
  const log_file file = ring(7).make();
  fault_plan faults;
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(faults.journal(), "");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 20 max 8192 \n")}));
}

TEST_F(GhdrFirstPass, start_behind_the_end_has_no_entries_either) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 8, 8192), 0);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(faults.journal(), "");
}

TEST_F(GhdrFirstPass, sound_entries_are_read_once_and_left_alone) {
  const log_file file = three_linked_entries().make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76}));
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 104 max 8192 \n")}));
}

TEST_F(GhdrFirstPass, null_entries_do_not_count) {
  const log_file file = ring(7).null(8).entry(1024, 8).null(8).entry(1025, 8).null(8).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(count, 2u);
}

TEST_F(GhdrFirstPass, walk_may_begin_elsewhere) {
  const log_file file = ring(7).damage(28).entry(linked(1025, 8, 20)).make();
  fault_plan faults;
  EXPECT_EQ(vesk_ghdr_recovery_first_pass(file.fd(), 48, 76, 8192, &reason, &count, &predicted), 0);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(predicted, 48u);
  EXPECT_EQ(faults.journal(), looks_at({48}));
}

// --- prev_size ---

// The sum is taken with the old checksum word in place: what is stored is not what would hold.
TEST_F(GhdrFirstPass, appended_entries_get_their_previous_size_and_lose_their_sum) {
  const log_file file = ring(7).entries(3, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(faults.journal(),
            "lseek 20, read 20, lseek 20, read 20, lseek 20, write 20, "
            "lseek 48, read 20, lseek 48, read 20, lseek 48, write 20, "
            "lseek 76, read 20, lseek 76, read 20, lseek 76, write 20");
  EXPECT_EQ(contents(file), "!E1024/8 !E1025/8 !E1026/8");
  EXPECT_EQ(file.hex(26, 6), "ff eb 00 00  00 14");
  EXPECT_EQ(file.hex(54, 6), "ff f7 00 00  00 08");
  EXPECT_EQ(file.hex(82, 6), "ff f7 00 00  00 08");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 104 max 8192 \n"),
                       error("Updating eheader at 20 with size 20\n"),
                       error("Updating eheader at 48 with size 8\n"),
                       error("Updating eheader at 76 with size 8\n")}));
}

TEST_F(GhdrFirstPass, zero_is_right_behind_an_entry_without_data) {
  const log_file file = ring(7)
                            .entry({.prev_size = 20, .usecs = 1})
                            .entry(linked(1025, 8, 0))
                            .entry(linked(1026, 8, 8))
                            .make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(file.bytes(), before);
}

TEST_F(GhdrFirstPass, header_with_a_zero_sum_holds_after_its_rewrite) {
  const log_file file = ring(7).entry(lasting(1024, 8, 0)).entry(linked(1025, 8, 8)).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(contents(file), "E1024/8 E1025/8");
  EXPECT_EQ(file.hex(26, 6), "ff eb 00 00  00 14");
}

TEST_F(GhdrFirstPass, rewrite_that_fails_does_not_stop_the_walk) {
  const log_file file = ring(7).entries(2, 8).make();
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{19}, with{ENOSPC});
  faults.fail(call::write, nth(2), returns{-1}, with{ENOSPC});
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(contents(file), "E1024/8 E1025/8");
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 76 max 8192 \n"),
                                 error("Updating eheader at 20 with size 20\n"),
                                 error("ERROR: Write failed ret 19 errno 28."),
                                 error("Updating eheader at 48 with size 8\n"),
                                 error("ERROR: Write failed ret -1 errno 28.")}));
}

TEST_F(GhdrFirstPass, rewrite_that_cannot_read_its_header_does_not_stop_the_walk_either) {
  const log_file file = ring(7).entries(2, 8).make();
  fault_plan faults;
  faults.fail(call::lseek, nth(2), returns{-1}, with{EINVAL});
  faults.fail(call::read, nth(3), returns{-1}, with{EFAULT});
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 20, lseek 48, read 20, lseek 48, read 20");
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 76 max 8192 \n"),
                                 error("Updating eheader at 20 with size 20\n"),
                                 error("ERROR: lseek failed to seek 20, errno = 22"),
                                 error("Updating eheader at 48 with size 8\n"),
                                 error("ERROR: ehdr read fails errno 14")}));
}

// --- damage between entries ---

TEST_F(GhdrFirstPass, twenty_four_bytes_of_damage_become_a_null_entry_of_four) {
  const log_file file = damaged_at_80(24).make();
  fault_plan faults;
  faults.clock(clock_now, 5);
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(faults.journal(), looks_at({20, 80, 84, 88, 92, 96, 100, 104}) +
                                  ", gettimeofday, lseek 80, write 20, write 4"
                                  ", lseek 104, read 20, lseek 104, write 20");
  EXPECT_EQ(contents(file), "E1024/40 N/4 !E1025/8");
  EXPECT_EQ(file.hex(80, 24),
            "01 25 00 00  00 04 9e a9  00 00 00 28  60 00 00 00  00 00 00 05  00 00 00 00");
  EXPECT_EQ(file.hex(114, 2), "00 04");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 132 max 8192 \n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("Updating eheader at 104 with size 4\n")}));
}

// The second rewrite goes by the copy of the header that was read before the first, and finds that
// the first has left a sum that does not hold.
TEST_F(GhdrFirstPass, second_rewrite_behind_a_null_entry_fails_on_the_sum_of_the_first) {
  const log_file file = ring(7).entry(1024, 40).damage(24).entry(1025, 8).make();
  fault_plan faults;
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 20, read 20, lseek 20, write 20, " +
                                  looks_at({80, 84, 88, 92, 96, 100, 104}) +
                                  ", gettimeofday, lseek 80, write 20, write 4"
                                  ", lseek 104, read 20, lseek 104, write 20, lseek 104, read 20");
  EXPECT_EQ(contents(file), "!E1024/40 N/4 !E1025/8");
  EXPECT_EQ(file.hex(110, 6), "ff fb 00 00  00 04");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 132 max 8192 \n"),
                       error("Updating eheader at 20 with size 20\n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("Updating eheader at 104 with size 4\n"),
                       error("Updating eheader at 104 with size 40\n"),
                       error("ERROR: Bad ehdr at offset 104")}));
}

TEST_F(GhdrFirstPass, second_rewrite_replaces_the_null_entrys_size_where_the_first_still_holds) {
  const log_file file =
      ring(7).entry(linked(1024, 40, 20)).damage(24).entry(lasting(1025, 8, 0)).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(contents(file), "E1024/40 N/4 !E1025/8");
  // The first leaves fffb, and with it the sum of the second is ffff + 0028 + fffb, folded 0024.
  EXPECT_EQ(file.hex(110, 6), "ff db 00 00  00 28");
  EXPECT_EQ(errors(),
            (log_lines{error("gheader recovery start first phase  20 end 132 max 8192 \n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("Updating eheader at 104 with size 4\n"),
                       error("Updating eheader at 104 with size 40\n")}));
}

// Four is right behind the null entry already, but the copy differs from the forty in front of it.
TEST_F(GhdrFirstPass, rewrite_with_the_same_value_breaks_the_sum_too) {
  const log_file file =
      ring(7).entry(linked(1024, 40, 20)).damage(24).entry(linked(1025, 8, 4)).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(contents(file), "E1024/40 N/4 !E1025/8");
  EXPECT_EQ(file.hex(110, 6), "00 00 00 00  00 04");
  EXPECT_EQ(errors().back(), error("ERROR: Bad ehdr at offset 104"));
}

TEST_F(GhdrFirstPass, walk_goes_on_behind_the_damage_with_the_next_entrys_size) {
  const log_file file = ring(7)
                            .entry(linked(1024, 40, 20))
                            .damage(24)
                            .entry(linked(1025, 8, 40))  // 104
                            .damage(28)                  // 132
                            .entry(linked(1026, 12, 8))  // 160
                            .entry(linked(1027, 4, 12))  // 192
                            .make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(contents(file), "E1024/40 N/4 !E1025/8 N/8 !E1026/12 E1027/4");
  EXPECT_EQ(file.hex(142, 2), "00 08");
  EXPECT_EQ(file.hex(166, 6), "00 00 00 00  00 08");
  EXPECT_EQ(errors(),
            (log_lines{error("gheader recovery start first phase  20 end 216 max 8192 \n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("Updating eheader at 104 with size 4\n")} +
             bad_headers(132, 156) +
             log_lines{error("Adding NULL entry at 132 with size 8 \n"),
                       error("Updating eheader at 160 with size 8\n")}));
}

// The global header in front of them counts as an entry of 20 bytes.
TEST_F(GhdrFirstPass, damage_in_the_first_slot_is_covered_like_any_other) {
  const log_file file = ring(7).damage(24).entry(linked(1024, 8, 20)).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(contents(file), "N/4 !E1024/8");
  EXPECT_EQ(file.hex(30, 2), "00 14");
  EXPECT_EQ(file.hex(54, 2), "00 04");
}

TEST_F(GhdrFirstPass, damage_of_twenty_bytes_and_less_loses_the_file) {
  for (const uint32_t gap : {4u, 8u, 12u, 16u, 20u}) {
    SCOPED_TRACE(gap);
    platform.forget();
    const log_file file = damaged_at_80(gap).make();
    const std::vector<uint8_t> before = file.bytes();
    EXPECT_EQ(pass(file), -1);
    EXPECT_EQ(reason, 2u);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(predicted, 20u);
    EXPECT_EQ(file.bytes(), before);
    EXPECT_EQ(errors().back(), error("ERROR: No space " + std::to_string(gap) +
                                     " to add header 80 Remove file. \n"));
  }
}

TEST_F(GhdrFirstPass, what_was_repaired_in_front_of_a_lost_file_stays_repaired) {
  const log_file file = ring(7).entry(1024, 40).damage(8).entry(1025, 8).make();
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(contents(file), "!E1024/40 ~8 E1025/8");
  EXPECT_EQ(
      logged(),
      (log_lines{error("gheader recovery start first phase  20 end 116 max 8192 \n"),
                 error("Updating eheader at 20 with size 20\n"),
                 error("ERROR: Bad ehdr at offset 80\n"), error("ERROR: Bad ehdr at offset 84\n"),
                 error("ERROR: No space 8 to add header 80 Remove file. \n")}));
}

TEST_F(GhdrFirstPass, damage_of_twenty_bytes_in_the_first_slot_loses_the_file) {
  const log_file file = ring(7).damage(20).entry(linked(1024, 8, 20)).make();
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(errors().back(), error("ERROR: No space 20 to add header 20 Remove file. \n"));
}

// --- how much damage is tolerated ---

ring two_stretches(uint32_t first, uint32_t second) {
  return ring(6)
      .entry(linked(1024, 8, 20))
      .damage(first)
      .entry(linked(1025, 8, 8))
      .damage(second)
      .entry(linked(1026, 8, 8));
}

TEST_F(GhdrFirstPass, damage_of_8192_bytes_in_all_is_tolerated) {
  const log_file file = two_stretches(4096, 4096).make();
  EXPECT_EQ(pass(file, 0x20000), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(contents(file), "E1024/8 N/4076 !E1025/8 N/4076 !E1026/8");
}

TEST_F(GhdrFirstPass, damage_of_8196_bytes_in_all_breaks_the_walk_off) {
  const log_file file = two_stretches(4096, 4100).make();
  EXPECT_EQ(pass(file, 0x20000), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(contents(file), "E1024/8 N/4076 !E1025/8 ~4100 E1026/8");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 8300 max 131072 \n")} +
             bad_headers(48, 4140) +
             log_lines{error("Adding NULL entry at 48 with size 4076 \n"),
                       error("Updating eheader at 4144 with size 4076\n")} +
             bad_headers(4172, 8268) +
             log_lines{error("ERROR: corrupted size 8196 is beyond max 8192\n")}));
}

TEST_F(GhdrFirstPass, one_stretch_of_8192_bytes_is_tolerated) {
  const log_file file =
      ring(6).entry(linked(1024, 8, 20)).damage(8192).entry(linked(1025, 8, 8)).make();
  EXPECT_EQ(pass(file, 0x20000), 0);
  EXPECT_EQ(contents(file), "E1024/8 N/8172 !E1025/8");
}

TEST_F(GhdrFirstPass, too_much_damage_behind_null_entries_alone_loses_the_file) {
  const log_file file = ring(6)
                            .entry({.uuid = 293, .type = 0, .size = 8, .prev_size = 20})
                            .damage(8196)
                            .entry(1024, 8)
                            .make();
  EXPECT_EQ(pass(file, 0x20000), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(errors().back(), error("ERROR: corrupted size 8196 is beyond max 8192\n"));
}

// --- damage up to the ring's end ---

TEST_F(GhdrFirstPass, damage_up_to_the_rings_end_is_covered) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage_to(8192).make();
  fault_plan faults;
  faults.clock(clock_now, 5);
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(contents(file), "E1024/40 N/8092");
  // 0125 + 1f9c + 0028 + 6000 + 0005 = 80ee; 7f11 completes it.
  EXPECT_EQ(file.hex(80, 20), "01 25 00 00  1f 9c 7f 11  00 00 00 28  60 00 00 00  00 00 00 05");
  EXPECT_EQ(file.size(), 8192u);
  EXPECT_EQ(
      logged(),
      (log_lines{error("gheader recovery start first phase  20 end 8192 max 8192 \n")} +
       bad_headers(80, 8172) + log_lines{error("Adding NULL entry at 80 with size 8092 \n")}));
}

TEST_F(GhdrFirstPass, damage_of_twenty_four_bytes_at_the_rings_end_is_covered) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(24).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 104), 0);
  EXPECT_EQ(faults.journal(),
            looks_at({20, 80, 84}) + ", gettimeofday, lseek 80, write 20, write 4");
  EXPECT_EQ(contents(file), "E1024/40 N/4");
}

TEST_F(GhdrFirstPass, damage_of_twenty_bytes_at_the_rings_end_loses_the_file) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(20).make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 100), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(faults.count(call::write), 0u);
  EXPECT_EQ(errors(), (log_lines{error("gheader recovery start first phase  20 end 100 max 100 \n"),
                                 error("ERROR: Bad ehdr at offset 80\n"),
                                 error("ERROR: No space to add NULL ent Can't recover file \n")}));
}

TEST_F(GhdrFirstPass, less_than_a_header_at_the_rings_end_loses_the_file) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(20).make();
  EXPECT_EQ(pass(file, 100, 96), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(errors().back(), error("ERROR: No space to add NULL ent Can't recover file \n"));
}

TEST_F(GhdrFirstPass, damage_through_the_whole_ring_leaves_a_null_entry_and_no_count) {
  const log_file file = ring(7).damage_to(8192).make();
  EXPECT_EQ(pass(file), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(contents(file), "N/8152");
}

// The walk stops at the end it was given; what is open there stays open.
TEST_F(GhdrFirstPass, damage_that_reaches_the_end_is_left_as_it_is) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(60).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(pass(file, 104, 8192), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(faults.journal(), looks_at({20, 80, 84, 88, 92, 96, 100}));
}

// With the file's size as the end there are no twenty bytes left to read before that.
TEST_F(GhdrFirstPass, damage_that_reaches_the_end_of_the_file_is_a_read_failure) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(24).make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(
      logged(),
      (log_lines{error("gheader recovery start first phase  20 end 104 max 8192 \n"),
                 error("ERROR: Bad ehdr at offset 80\n"), error("ERROR: Bad ehdr at offset 84\n"),
                 error("ERROR: ehdr read failed errno 33 seek 88\n")}));
}

// --- entries beyond the ring's end ---

TEST_F(GhdrFirstPass, entry_that_ends_exactly_at_the_rings_end_is_no_error) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  EXPECT_EQ(pass(file, 104), 0);
  EXPECT_EQ(reason, 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76}));
}

TEST_F(GhdrFirstPass, entry_that_ends_beyond_the_rings_end_loses_the_file) {
  const log_file file = three_linked_entries().make();
  EXPECT_EQ(pass(file, 103), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(errors(), (log_lines{error("gheader recovery start first phase  20 end 104 max 103 \n"),
                                 error("ERROR: Curr 104 is greater than max 103 \n")}));
}

TEST_F(GhdrFirstPass, entry_beyond_the_rings_end_is_rewritten_and_counted_first) {
  const log_file file = ring(7).entry({.type = 1024, .size = 65532}).make();
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(file.hex(30, 2), "00 14");
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 65572 max 8192 \n"),
                       error("Updating eheader at 20 with size 20\n"),
                       error("ERROR: Curr 65572 is greater than max 8192 \n")}));
}

// --- where the oldest entry lies ---

struct stamp {
  uint32_t secs;
  uint32_t usecs = 0x1234;
  uint16_t type = 1024;
};

constexpr uint16_t null_type = 0;

// Entries of 8 bytes with these time stamps. Their headers lie at 20, 48, 76, 104 and so on.
ring stamped(std::initializer_list<stamp> stamps) {
  ring r(7);
  uint16_t prev_size = 20;
  for (const stamp &s : stamps) {
    r.entry({.type = s.type, .size = 8, .prev_size = prev_size, .secs = s.secs, .usecs = s.usecs});
    prev_size = 8;
  }
  return r;
}

class Prediction : public GhdrFirstPass {
 protected:
  // The prediction for a file that has reached its full size with these entries.
  uint32_t predict(std::initializer_list<stamp> stamps) {
    platform.forget();
    const log_file file = stamped(stamps).make();
    EXPECT_EQ(pass(file, file.size()), 0);
    EXPECT_EQ(reason, 0u);
    return predicted;
  }

  static log_lines traces() {
    log_lines found;
    for (const log_line &line : logged()) {
      if (line.level == 100) found.push_back(line);
    }
    return found;
  }
};

TEST_F(Prediction, entries_in_the_order_of_time_begin_in_the_first_slot) {
  EXPECT_EQ(predict({{100}, {200}, {300}, {400}}), 20u);
  EXPECT_EQ(traces(), log_lines{});
}

TEST_F(Prediction, oldest_entry_is_the_one_behind_the_drop_in_seconds) {
  EXPECT_EQ(predict({{300}, {400}, {100}, {200}}), 76u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 132 max 132 \n"),
                                 trace("TRACE:secs LT Predict start moved to 76\n")}));
}

TEST_F(Prediction, last_drop_wins) {
  EXPECT_EQ(predict({{300}, {100}, {400}, {200}}), 104u);
  EXPECT_EQ(traces(), (log_lines{trace("TRACE:secs LT Predict start moved to 48\n"),
                                 trace("TRACE:secs LT Predict start moved to 104\n")}));
}

TEST_F(Prediction, file_that_is_not_full_is_not_predicted) {
  const log_file file = stamped({{300}, {400}, {100}, {200}}).make();
  EXPECT_EQ(pass(file, 136), 0);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(traces(), log_lines{});
}

TEST_F(Prediction, file_beyond_its_full_size_is) {
  const log_file file = stamped({{300}, {400}, {100}, {200}}).make();
  EXPECT_EQ(pass(file, 136, 132), -1);  // nothing can be read from 132 on
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 4u);
  EXPECT_EQ(predicted, 76u);
}

// Within one second it is the other way round: a later entry moves the prediction.
TEST_F(Prediction, later_microseconds_of_one_second_move_the_prediction) {
  EXPECT_EQ(predict({{300, 10}, {300, 11}}), 48u);
  EXPECT_EQ(traces(), (log_lines{trace("TRACE:usecs LT Predict start moved to 48\n")}));
}

TEST_F(Prediction, earlier_or_equal_microseconds_of_one_second_do_not) {
  EXPECT_EQ(predict({{300, 10}, {300, 10}}), 20u);
  EXPECT_EQ(predict({{300, 10}, {300, 9}}), 20u);
  EXPECT_EQ(traces(), log_lines{});
}

TEST_F(Prediction, microseconds_are_unsigned) {
  EXPECT_EQ(predict({{300, 0x7FFFFFFF}, {300, 0x80000000}}), 48u);
  EXPECT_EQ(predict({{300, 0x80000000}, {300, 0x7FFFFFFF}}), 20u);
}

TEST_F(Prediction, microseconds_of_different_seconds_do_not_matter) {
  EXPECT_EQ(predict({{300, 10}, {301, 999}}), 20u);
  EXPECT_EQ(predict({{300, 10}, {299, 5}}), 48u);
  EXPECT_EQ(traces(), (log_lines{trace("TRACE:secs LT Predict start moved to 48\n")}));
}

TEST_F(Prediction, seconds_beyond_thirty_one_bits_are_later) {
  EXPECT_EQ(predict({{0x7FFFFFFF}, {0x80000000}}), 20u);
  EXPECT_EQ(predict({{0x00000001}, {0xFFFFFFFF}}), 20u);
  EXPECT_EQ(predict({{0x80000000}, {0x7FFFFFFF}}), 48u);
  EXPECT_EQ(predict({{0xFFFFFFFF}, {0x00000001}}), 48u);
  EXPECT_EQ(predict({{0xFFFFFFFE}, {0xFFFFFFFF}}), 20u);
  EXPECT_EQ(predict({{0xFFFFFFFF}, {0xFFFFFFFE}}), 48u);
}

TEST_F(Prediction, first_entry_that_counts_is_never_compared) {
  EXPECT_EQ(predict({{300, 1, null_type}, {100}}), 20u);
  EXPECT_EQ(count, 1u);
}

TEST_F(Prediction, null_entries_are_compared_with_but_do_not_move_the_prediction) {
  EXPECT_EQ(predict({{300}, {500, 1, null_type}, {400}}), 76u);
  EXPECT_EQ(predict({{300}, {100, 1, null_type}, {200}}), 20u);
  EXPECT_EQ(count, 2u);
}

// A null entry that covers damage is stamped with the present, but what counts is the entry before.
TEST_F(Prediction, covered_damage_is_not_compared_with) {
  const log_file file = ring(7)
                            .entry({.type = 1024, .size = 8, .prev_size = 20, .secs = 100})
                            .damage(24)
                            .entry({.type = 1025, .size = 8, .prev_size = 8, .secs = 200})
                            .make();
  fault_plan faults;
  faults.clock(clock_now, 5);
  EXPECT_EQ(pass(file, 100), 0);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(contents(file), "E1024/8 N/4 !E1025/8");
}

TEST_F(Prediction, prediction_comes_behind_the_rewrites_of_its_entry) {
  const log_file file = ring(7)
                            .entry({.type = 1024, .size = 8, .prev_size = 20, .secs = 300})
                            .entry({.type = 1025, .size = 8, .prev_size = 0, .secs = 100})
                            .make();
  EXPECT_EQ(pass(file, 76), 0);
  EXPECT_EQ(predicted, 48u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 76 max 76 \n"),
                                 error("Updating eheader at 48 with size 8\n"),
                                 trace("TRACE:secs LT Predict start moved to 48\n")}));
}

TEST_F(Prediction, prediction_at_the_rings_end_becomes_the_first_slot) {
  const log_file file = stamped({{300}, {400}, {100}}).make();
  EXPECT_EQ(pass(file, 104, 76), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 104 max 76 \n"),
                                 trace("TRACE:secs LT Predict start moved to 76\n"),
                                 error("ERROR: Curr 104 is greater than max 76 \n")}));
}

TEST_F(Prediction, start_at_the_rings_end_is_predicted_in_the_first_slot) {
  const log_file file = ring(7).make();
  EXPECT_EQ(vesk_ghdr_recovery_first_pass(file.fd(), 8192, 8192, 8192, &reason, &count, &predicted),
            0);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(predicted, 20u);
}

TEST_F(Prediction, prediction_is_handed_out_when_the_walk_breaks_off) {
  const log_file file = stamped({{300}, {400}, {100}, {200}}).make();
  fault_plan faults;
  faults.fail(call::lseek, nth(4), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file, 132), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(predicted, 76u);
}

// --- system calls that fail ---

TEST_F(GhdrFirstPass, seek_that_fails_breaks_the_walk_off) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 48");
  EXPECT_EQ(errors().back(), error("ERROR: lseek failed to seek 48, errno = 5\n"));
}

TEST_F(GhdrFirstPass, seek_that_fails_in_front_of_every_entry_loses_the_file) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(1), returns{-1}, with{EINVAL});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(predicted, 20u);
  EXPECT_EQ(errors().back(), error("ERROR: lseek failed to seek 20, errno = 22\n"));
}

TEST_F(GhdrFirstPass, short_read_breaks_the_walk_off) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.shorten(call::read, nth(3), only{19}, with{ENXIO});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(errors().back(), error("ERROR: ehdr read failed errno 6 seek 76\n"));
}

TEST_F(GhdrFirstPass, io_error_remounts_and_still_breaks_the_walk_off) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 1u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 104 max 8192 \n"),
                       trace("TRACE:going to remount filesystem \n"),
                       error("ERROR: ehdr read failed errno 5 seek 48\n")}));
}

TEST_F(GhdrFirstPass, read_that_fails_behind_a_null_entry_alone_loses_the_file) {
  const log_file file = ring(7).null(8).entry(1024, 8).make();
  fault_plan faults;
  faults.fail(call::read, nth(3), returns{-1}, with{EFAULT});  // the second is a rewrite's
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(errors().back(), error("ERROR: ehdr read failed errno 14 seek 48\n"));
}

TEST_F(GhdrFirstPass, clock_that_fails_in_front_of_a_null_entry_loses_the_file) {
  const log_file file = damaged_at_80(24).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  faults.fail(call::gettimeofday, nth(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(logged(),
            (log_lines{error("gheader recovery start first phase  20 end 132 max 8192 \n")} +
             bad_headers(80, 100) +
             log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                       error("ERROR: gettimeofday() failed with errno 14."),
                       error("ERROR: Add NULL ent failed \n")}));
}

TEST_F(GhdrFirstPass, write_that_fails_in_a_null_entry_loses_the_file) {
  const log_file file = damaged_at_80(24).make();
  fault_plan faults;
  faults.fail(call::write, nth(2), returns{-1}, with{ENOSPC});
  EXPECT_EQ(pass(file), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(faults.count(call::write), 2u);
  EXPECT_EQ(file.hex(80, 6), "01 25 00 00  00 04");  // what was written stays
  const log_lines found = errors();
  EXPECT_EQ(found[found.size() - 2], error("ERROR: Write failed etype 0 len 4 errno 28."));
  EXPECT_EQ(found.back(), error("ERROR: Add NULL ent failed \n"));
}

TEST_F(GhdrFirstPass, null_entry_that_fails_at_the_rings_end_loses_the_file) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(24).make();
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{19}, with{EIO});
  EXPECT_EQ(pass(file, 104), -1);
  EXPECT_EQ(reason, 2u);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged(), (log_lines{error("gheader recovery start first phase  20 end 104 max 104 \n"),
                                 error("ERROR: Bad ehdr at offset 80\n"),
                                 error("ERROR: Bad ehdr at offset 84\n"),
                                 error("Adding NULL entry at 80 with size 4 \n"),
                                 trace("TRACE:going to remount filesystem \n"),
                                 error("ERROR: Write failed ret 19 ehdr entry type 0. errno 5."),
                                 error("ERROR: Add NULL ent failed \n")}));
}

}  // namespace
}  // namespace vesk::test
