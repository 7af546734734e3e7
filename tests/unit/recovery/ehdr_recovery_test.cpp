#include "recovery/vesk_ehdr_recovery.h"

#include <cerrno>

#include "tests/unit/recovery/recovery_test.h"

namespace vesk::test {
namespace {

class EhdrRecovery : public RecoveryTest {
 protected:
  int32_t recover(const log_file &file, uint32_t start, uint32_t end, uint32_t max = 8192) {
    return vesk_ehdr_recovery(file.fd(), start, end, max, &code, &new_start, &last_entry);
  }

  uint32_t code = untouched;
  uint32_t new_start = untouched;
  uint32_t last_entry = untouched;
};

// --- nothing to repair ---

TEST_F(EhdrRecovery, empty_ring_is_not_read) {
  const log_file file = three_linked_entries().make();
  for (const uint32_t at : {20u, 100u}) {
    platform.forget();
    fault_plan faults;
    EXPECT_EQ(recover(file, at, at), 0);
    EXPECT_EQ(last_entry, 20u);
    EXPECT_EQ(new_start, untouched);
    EXPECT_EQ(code, untouched);
    EXPECT_EQ(faults.journal(), "");
    EXPECT_EQ(logged(), (log_lines{error("eheader recovery start " + std::to_string(at) + " end " +
                                         std::to_string(at) + " max 8192.\n")}));
  }
}

TEST_F(EhdrRecovery, sound_chain_is_read_once_and_left_alone) {
  const log_file file = three_linked_entries().make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(recover(file, 20, 104), 0);
  EXPECT_EQ(last_entry, 76u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(faults.journal(), looks_at({20, 48, 76}));
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 104 max 8192.\n")}));
}

TEST_F(EhdrRecovery, appended_entries_get_their_previous_size_and_lose_their_sum) {
  const log_file file = ring(7).entries(3, 8).make();
  fault_plan faults;
  EXPECT_EQ(recover(file, 20, 104), 0);
  EXPECT_EQ(last_entry, 76u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(file.picture(), "!E1024/8 !E1025/8 !E1026/8 start=20 end=104");
  EXPECT_EQ(file.hex(26, 6), "ff eb 00 00  00 14");
  EXPECT_EQ(file.hex(54, 6), "ff f7 00 00  00 08");
  EXPECT_EQ(faults.journal(),
            "lseek 20, read 20, lseek 20, read 20, lseek 20, write 20, "
            "lseek 48, read 20, lseek 48, read 20, lseek 48, write 20, "
            "lseek 76, read 20, lseek 76, read 20, lseek 76, write 20");
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 104 max 8192.\n"),
                                 error("Updating eheader at 20 with size 20\n"),
                                 error("Updating eheader at 48 with size 8\n"),
                                 error("Updating eheader at 76 with size 8\n")}));
}

TEST_F(EhdrRecovery, rewrite_that_fails_does_not_stop_the_walk) {
  const log_file file = ring(7).entries(2, 8).make();
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{-1}, with{ENOSPC});
  faults.fail(call::write, nth(2), returns{19}, with{ENOSPC});
  EXPECT_EQ(recover(file, 20, 76), 0);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 start=20 end=76");
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 76 max 8192.\n"),
                                 error("Updating eheader at 20 with size 20\n"),
                                 error("ERROR: Write failed ret -1 errno 28."),
                                 error("Updating eheader at 48 with size 8\n"),
                                 error("ERROR: Write failed ret 19 errno 28.")}));
}

TEST_F(EhdrRecovery, rewrite_that_cannot_read_its_header_does_not_stop_the_walk_either) {
  const log_file file = ring(7).entries(2, 8).make();
  fault_plan faults;
  faults.fail(call::lseek, nth(2), returns{-1}, with{EINVAL});
  faults.fail(call::read, nth(3), returns{-1}, with{EFAULT});
  EXPECT_EQ(recover(file, 20, 76), 0);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 20, lseek 48, read 20, lseek 48, read 20");
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 76 max 8192.\n"),
                                 error("Updating eheader at 20 with size 20\n"),
                                 error("ERROR: lseek failed to seek 20, errno = 22"),
                                 error("Updating eheader at 48 with size 8\n"),
                                 error("ERROR: ehdr read fails errno 14")}));
}

// --- over the ring's end ---

TEST_F(EhdrRecovery, walk_goes_on_at_the_first_slot_where_the_ring_ends) {
  const log_file file = ring(7)
                            .entry(linked(1024, 8, 20))
                            .entry(linked(1025, 8, 8))
                            .entry(linked(1026, 8, 20))
                            .make();
  for (const uint32_t max : {104u, 103u}) {  // at its end, and beyond it
    SCOPED_TRACE(max);
    fault_plan faults;
    EXPECT_EQ(recover(file, 76, 48, max), 0);
    EXPECT_EQ(last_entry, 20u);
    EXPECT_EQ(new_start, untouched);
    EXPECT_EQ(faults.journal(), looks_at({76, 20}));
  }
}

TEST_F(EhdrRecovery, walk_does_not_go_on_at_the_first_slot_one_byte_early) {
  const log_file file = three_linked_entries().make();
  EXPECT_EQ(recover(file, 76, 48, 105), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(errors().back(), error("ERROR: ehdr read failed errno 33\n"));
}

// Behind the ring's end no entry is known: its first header gets 20, as the start is.
TEST_F(EhdrRecovery, first_slot_behind_the_rings_end_is_told_twenty) {
  const log_file file =
      ring(7).entry(linked(1024, 8, 8)).entry(linked(1025, 8, 8)).entry(linked(1026, 8, 20)).make();
  EXPECT_EQ(recover(file, 76, 48, 104), 0);
  EXPECT_EQ(contents(file), "!E1024/8 E1025/8 E1026/8");
  EXPECT_EQ(file.hex(30, 2), "00 14");
}

TEST_F(EhdrRecovery, end_in_the_first_slot_ends_the_walk_at_the_rings_end) {
  const log_file file = three_linked_entries().make();
  EXPECT_EQ(recover(file, 48, 20, 104), 0);
  EXPECT_EQ(last_entry, 76u);
  EXPECT_EQ(new_start, untouched);
}

// --- damage between entries ---

TEST_F(EhdrRecovery, twenty_four_bytes_of_damage_become_a_null_entry_of_four) {
  const log_file file = damaged_at_80(24).make();
  fault_plan faults;
  faults.clock(clock_now, 5);
  EXPECT_EQ(recover(file, 20, 132), 0);
  EXPECT_EQ(last_entry, 104u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.picture(), "E1024/40 N/4 !E1025/8 start=20 end=132");
  EXPECT_EQ(file.hex(80, 24),
            "01 25 00 00  00 04 9e a9  00 00 00 28  60 00 00 00  00 00 00 05  00 00 00 00");
  EXPECT_EQ(file.hex(114, 2), "00 04");
  EXPECT_EQ(faults.journal(), looks_at({20, 80, 84, 88, 92, 96, 100, 104}) +
                                  ", gettimeofday, lseek 80, write 20, write 4"
                                  ", lseek 104, read 20, lseek 104, write 20");
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 132 max 8192.\n")} +
                       bad_headers(80, 100) +
                       log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                                 error("Updating eheader at 104 with size 4\n")}));
}

// The second rewrite goes by the copy of the header that was read before the first, and finds that
// the first has left a sum that does not hold.
TEST_F(EhdrRecovery, second_rewrite_behind_a_null_entry_fails_on_the_sum_of_the_first) {
  const log_file file = ring(7).entry(1024, 40).damage(24).entry(1025, 8).make();
  fault_plan faults;
  EXPECT_EQ(recover(file, 20, 132), 0);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.picture(), "!E1024/40 N/4 !E1025/8 start=20 end=132");
  EXPECT_EQ(file.hex(110, 6), "ff fb 00 00  00 04");
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 20, read 20, lseek 20, write 20, " +
                                  looks_at({80, 84, 88, 92, 96, 100, 104}) +
                                  ", gettimeofday, lseek 80, write 20, write 4"
                                  ", lseek 104, read 20, lseek 104, write 20, lseek 104, read 20");
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 132 max 8192.\n"),
                                 error("Updating eheader at 20 with size 20\n")} +
                       bad_headers(80, 100) +
                       log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                                 error("Updating eheader at 104 with size 4\n"),
                                 error("Updating eheader at 104 with size 40\n"),
                                 error("ERROR: Bad ehdr at offset 104")}));
}

TEST_F(EhdrRecovery, second_rewrite_replaces_the_null_entrys_size_where_the_first_still_holds) {
  const log_file file =
      ring(7).entry(linked(1024, 40, 20)).damage(24).entry(lasting(1025, 8, 0)).make();
  EXPECT_EQ(recover(file, 20, 132), 0);
  EXPECT_EQ(file.picture(), "E1024/40 N/4 !E1025/8 start=20 end=132");
  // The first leaves fffb, and with it the sum of the second is ffff + 0028 + fffb, folded 0024.
  EXPECT_EQ(file.hex(110, 6), "ff db 00 00  00 28");
  EXPECT_EQ(errors(), (log_lines{error("eheader recovery start 20 end 132 max 8192.\n")} +
                       bad_headers(80, 100) +
                       log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                                 error("Updating eheader at 104 with size 4\n"),
                                 error("Updating eheader at 104 with size 40\n")}));
}

TEST_F(EhdrRecovery, walk_goes_on_behind_the_damage_with_the_next_entrys_size) {
  const log_file file = ring(7)
                            .entry(linked(1024, 40, 20))
                            .damage(24)
                            .entry(linked(1025, 8, 40))  // 104
                            .damage(28)                  // 132
                            .entry(linked(1026, 12, 8))  // 160
                            .entry(linked(1027, 4, 12))  // 192
                            .make();
  EXPECT_EQ(recover(file, 20, 216), 0);
  EXPECT_EQ(last_entry, 192u);
  EXPECT_EQ(file.picture(), "E1024/40 N/4 !E1025/8 N/8 !E1026/12 E1027/4 start=20 end=216");
  EXPECT_EQ(file.hex(142, 2), "00 08");
  EXPECT_EQ(file.hex(166, 6), "00 00 00 00  00 08");
  EXPECT_EQ(errors(), (log_lines{error("eheader recovery start 20 end 216 max 8192.\n")} +
                       bad_headers(80, 100) +
                       log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                                 error("Updating eheader at 104 with size 4\n")} +
                       bad_headers(132, 156) +
                       log_lines{error("Adding NULL entry at 132 with size 8 \n"),
                                 error("Updating eheader at 160 with size 8\n")}));
}

TEST_F(EhdrRecovery, damage_of_twenty_bytes_and_less_loses_the_file) {
  for (const uint32_t gap : {4u, 8u, 12u, 16u, 20u}) {
    SCOPED_TRACE(gap);
    platform.forget();
    code = untouched;
    const log_file file = damaged_at_80(gap).make();
    const std::vector<uint8_t> before = file.bytes();
    EXPECT_EQ(recover(file, 20, file.size()), -1);
    EXPECT_EQ(code, 2u);
    EXPECT_EQ(new_start, untouched);
    EXPECT_EQ(last_entry, 20u);
    EXPECT_EQ(file.bytes(), before);
    EXPECT_EQ(errors().back(),
              error("ERROR: No space to add header after getting somegood entries Cannot recover "
                    "file \n"));
  }
}

TEST_F(EhdrRecovery, what_was_repaired_in_front_of_a_lost_file_stays_repaired) {
  const log_file file = ring(7).entry(1024, 40).damage(8).entry(1025, 8).make();
  EXPECT_EQ(recover(file, 20, 116), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(file.picture(), "!E1024/40 ~8 E1025/8 start=20 end=116");
  EXPECT_EQ(
      logged(),
      (log_lines{error("eheader recovery start 20 end 116 max 8192.\n"),
                 error("Updating eheader at 20 with size 20\n"),
                 error("ERROR: Bad ehdr at offset 80\n"), error("ERROR: Bad ehdr at offset 84\n"),
                 error("ERROR: No space to add header after getting somegood entries Cannot "
                       "recover file \n")}));
}

// --- damage at the start ---

TEST_F(EhdrRecovery, eight_bytes_of_damage_at_the_start_move_it_by_eight) {
  const log_file file =
      ring(7).damage(8).entry(linked(1024, 8, 20)).entry(linked(1025, 8, 8)).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(recover(file, 20, 84), 0);
  EXPECT_EQ(new_start, 28u);
  EXPECT_EQ(last_entry, 56u);
  EXPECT_EQ(code, untouched);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(faults.journal(), looks_at({20, 24, 28, 56}));
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 84 max 8192.\n"),
                                 error("ERROR: Bad ehdr at offset 20\n"),
                                 error("ERROR: Bad ehdr at offset 24\n"),
                                 trace("TRACE:Adjusting start pointer to 28 from 20\n")}));
}

TEST_F(EhdrRecovery, first_good_header_behind_damage_at_the_start_is_told_twenty) {
  const log_file file = ring(7).damage(40).entry(1024, 8).make();
  fault_plan faults;
  EXPECT_EQ(recover(file, 20, 88), 0);
  EXPECT_EQ(new_start, 60u);
  EXPECT_EQ(contents(file), "~40 !E1024/8");
  EXPECT_EQ(file.hex(70, 2), "00 14");
  EXPECT_EQ(faults.count(call::gettimeofday), 0u);
  EXPECT_EQ(errors().back(), error("Updating eheader at 60 with size 20\n"));
}

TEST_F(EhdrRecovery, damage_behind_a_moved_start_is_covered_like_any_other) {
  const log_file file = ring(7)
                            .damage(8)
                            .entry(linked(1024, 8, 20))  // 28
                            .damage(24)                  // 56
                            .entry(linked(1025, 8, 8))   // 80
                            .make();
  EXPECT_EQ(recover(file, 20, 108), 0);
  EXPECT_EQ(new_start, 28u);
  EXPECT_EQ(last_entry, 80u);
  EXPECT_EQ(contents(file), "~8 E1024/8 N/4 !E1025/8");
}

TEST_F(EhdrRecovery, moved_start_is_handed_out_though_the_file_is_lost) {
  const log_file file = ring(7).damage(8).entry(1024, 8).damage(8).entry(1025, 8).make();
  EXPECT_EQ(recover(file, 20, 92), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(new_start, 28u);
  EXPECT_EQ(last_entry, 28u);
}

// --- damage up to the ring's end ---

// Headers at 8100 and, over the ring's end, at 20; `damage` bytes in front of the ring's end.
ring wrapped_with_damage_at_the_rings_end(uint32_t damage) {
  const auto size = static_cast<uint16_t>(8192 - 8100 - 20 - damage);
  return ring(7)
      .entry(linked(1026, 8, 20))
      .end_here()
      .damage_to(8100)
      .start_here()
      .entry(linked(1024, size, 20))
      .damage(damage);
}

TEST_F(EhdrRecovery, damage_up_to_the_rings_end_is_covered_and_the_walk_goes_on_at_the_first_slot) {
  const log_file file = wrapped_with_damage_at_the_rings_end(64).make();
  fault_plan faults;
  faults.clock(clock_now, 5);
  EXPECT_EQ(recover(file, 8100, 48), 0);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(file.picture(), "E1024/8 N/44 | E1026/8 start=8100 end=48");
  // 0125 + 002c + 0008 + 6000 + 0005 = 615e; 9ea1 completes it.
  EXPECT_EQ(file.hex(8128, 20), "01 25 00 00  00 2c 9e a1  00 00 00 08  60 00 00 00  00 00 00 05");
  EXPECT_EQ(file.size(), 8192u);
  EXPECT_EQ(faults.journal(),
            looks_at({8100, 8128, 8132, 8136, 8140, 8144, 8148, 8152, 8156, 8160, 8164, 8168}) +
                ", gettimeofday, lseek 8128, write 20, write 44, " + looks_at({20}));
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 8100 end 48 max 8192.\n")} +
                       bad_headers(8128, 8168) +
                       log_lines{error("Adding null entries to 8128 with size 44\n")}));
}

// The header that might lie exactly 20 bytes in front of the ring's end is not looked at.
TEST_F(EhdrRecovery, damage_of_twenty_four_bytes_at_the_rings_end_is_covered) {
  const log_file file = wrapped_with_damage_at_the_rings_end(24).make();
  fault_plan faults;
  EXPECT_EQ(recover(file, 8100, 48), 0);
  EXPECT_EQ(file.picture(), "E1024/48 N/4 | E1026/8 start=8100 end=48");
  EXPECT_EQ(
      faults.journal(),
      looks_at({8100, 8168}) + ", gettimeofday, lseek 8168, write 20, write 4, " + looks_at({20}));
}

TEST_F(EhdrRecovery, damage_of_twenty_bytes_at_the_rings_end_loses_the_file) {
  const log_file file = wrapped_with_damage_at_the_rings_end(20).make();
  fault_plan faults;
  EXPECT_EQ(recover(file, 8100, 48), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(last_entry, 8100u);
  EXPECT_EQ(faults.count(call::write), 0u);
  EXPECT_EQ(errors(), (log_lines{error("eheader recovery start 8100 end 48 max 8192.\n"),
                                 error("ERROR: Bad ehdr at offset 8172\n"),
                                 error("ERROR: No space to add hdr Can't recover file \n")}));
}

TEST_F(EhdrRecovery, end_in_the_first_slot_ends_the_walk_behind_covered_damage) {
  const log_file file = wrapped_with_damage_at_the_rings_end(64).make();
  EXPECT_EQ(recover(file, 8100, 20), 0);
  EXPECT_EQ(last_entry, 8100u);
  EXPECT_EQ(new_start, untouched);
}

TEST_F(EhdrRecovery, damage_on_both_sides_of_the_rings_end_is_two_stretches) {
  const log_file file = ring(7)
                            .damage(24)
                            .entry(linked(1026, 8, 20))  // 44
                            .end_here()                  // 72
                            .damage_to(8100)
                            .start_here()
                            .entry(linked(1024, 8, 20))
                            .damage(64)
                            .make();
  EXPECT_EQ(recover(file, 8100, 72), 0);
  EXPECT_EQ(last_entry, 44u);
  EXPECT_EQ(file.picture(), "E1024/8 N/44 | N/4 !E1026/8 start=8100 end=72");
  EXPECT_EQ(file.hex(30, 2), "00 14");  // behind the ring's end no entry is known
  EXPECT_EQ(file.hex(54, 2), "00 04");
}

// Everything from the start on is lost, and the ring begins anew in the first slot.
TEST_F(EhdrRecovery, damage_from_the_start_to_the_rings_end_moves_the_start_to_the_first_slot) {
  const log_file file =
      ring(7).entry(linked(1026, 8, 20)).end_here().damage_to(8192).start(8100).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(recover(file, 8100, 48), 0);
  EXPECT_EQ(new_start, 20u);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(faults.count(call::read), 18u + 1u);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 8100 end 48 max 8192.\n")} +
                       bad_headers(8100, 8168)));
}

TEST_F(EhdrRecovery, damage_from_the_start_to_an_end_in_the_first_slot_leaves_an_empty_ring) {
  const log_file file = ring(7).damage_to(8192).start(8164).end(20).make();
  fault_plan faults;
  EXPECT_EQ(recover(file, 8164, 20), 0);
  EXPECT_EQ(new_start, 20u);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(faults.journal(), looks_at({8164, 8168}));
}

// No good header was met yet, so that damage there is still damage at the start.
TEST_F(EhdrRecovery, damage_from_the_start_over_the_rings_end_moves_the_start_behind_it) {
  const log_file file = ring(7)
                            .damage(8)
                            .entry(linked(1026, 8, 20))  // 28
                            .end_here()                  // 56
                            .damage_to(8192)
                            .start(8164)
                            .make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(recover(file, 8164, 56), 0);
  EXPECT_EQ(new_start, 28u);
  EXPECT_EQ(last_entry, 28u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 8164 end 56 max 8192.\n"),
                                 error("ERROR: Bad ehdr at offset 8164\n"),
                                 error("ERROR: Bad ehdr at offset 8168\n"),
                                 error("ERROR: Bad ehdr at offset 20\n"),
                                 error("ERROR: Bad ehdr at offset 24\n"),
                                 trace("TRACE:Adjusting start pointer to 28 from 8164\n")}));
}

// --- how much damage is tolerated ---

TEST_F(EhdrRecovery, damage_of_8192_bytes_in_all_is_tolerated) {
  const log_file file = ring(6)
                            .damage(8)
                            .entry(linked(1024, 8, 20))  // 28
                            .damage(4092)                // 56
                            .entry(linked(1025, 8, 8))   // 4148
                            .damage(4092)                // 4176
                            .entry(linked(1026, 8, 8))   // 8268
                            .make();
  EXPECT_EQ(recover(file, 20, 8296, 0x20000), 0);
  EXPECT_EQ(new_start, 28u);
  EXPECT_EQ(last_entry, 8268u);
  EXPECT_EQ(contents(file), "~8 E1024/8 N/4072 !E1025/8 N/4072 !E1026/8");
}

TEST_F(EhdrRecovery, damage_of_8196_bytes_in_all_is_not_and_says_no_more) {
  const log_file file = ring(6)
                            .damage(8)
                            .entry(linked(1024, 8, 20))  // 28
                            .damage(4092)                // 56
                            .entry(linked(1025, 8, 8))   // 4148
                            .damage(4096)                // 4176
                            .entry(linked(1026, 8, 8))
                            .make();
  EXPECT_EQ(recover(file, 20, 8300, 0x20000), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(new_start, 28u);
  EXPECT_EQ(last_entry, 4148u);
  EXPECT_EQ(contents(file), "~8 E1024/8 N/4072 !E1025/8 ~4096 E1026/8");
  EXPECT_EQ(errors().back(), error("ERROR: Bad ehdr at offset 8268\n"));
}

TEST_F(EhdrRecovery, damage_of_8192_bytes_at_the_start_is_tolerated) {
  const log_file file = ring(6).damage(8192).entry(linked(1024, 8, 20)).make();
  EXPECT_EQ(recover(file, 20, 8240, 0x20000), 0);
  EXPECT_EQ(new_start, 8212u);
}

TEST_F(EhdrRecovery, damage_of_8196_bytes_at_the_start_is_not) {
  const log_file file = ring(6).damage(8196).entry(linked(1024, 8, 20)).make();
  EXPECT_EQ(recover(file, 20, 8244, 0x20000), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 8244 max 131072.\n")} +
                       bad_headers(20, 8212)));
}

// --- damage up to the end ---

TEST_F(EhdrRecovery, damage_that_ends_exactly_at_the_end_loses_the_file) {
  for (const uint32_t gap : {4u, 24u}) {
    SCOPED_TRACE(gap);
    platform.forget();
    code = untouched;
    const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(60).make();
    const std::vector<uint8_t> before = file.bytes();
    EXPECT_EQ(recover(file, 20, 80 + gap), -1);
    EXPECT_EQ(code, 2u);
    EXPECT_EQ(last_entry, 20u);
    EXPECT_EQ(file.bytes(), before);
    EXPECT_EQ(errors().back(), bad_headers(80, 76 + gap).back());
  }
}

TEST_F(EhdrRecovery, damage_from_the_start_to_the_end_loses_the_file) {
  const log_file file = ring(7).damage(60).make();
  EXPECT_EQ(recover(file, 20, 28), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 28 max 8192.\n"),
                                 error("ERROR: Bad ehdr at offset 20\n"),
                                 error("ERROR: Bad ehdr at offset 24\n")}));
}

// Where the file ends with the ring there are no twenty bytes left to read before that.
TEST_F(EhdrRecovery, damage_that_reaches_the_end_of_the_file_is_a_read_failure) {
  const log_file file = ring(7).entry(linked(1024, 40, 20)).damage(24).make();
  EXPECT_EQ(recover(file, 20, 104), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 104 max 8192.\n"),
                                 error("ERROR: Bad ehdr at offset 80\n"),
                                 error("ERROR: Bad ehdr at offset 84\n"),
                                 error("ERROR: ehdr read failed errno 33\n")}));
}

// --- an end that the chain never lands on ---

TEST_F(EhdrRecovery, chain_that_never_reaches_the_end_loses_the_file_at_its_second_lap) {
  const log_file file = ring(7).entry(linked(1024, 20, 20)).entry(linked(1025, 8, 20)).make();
  fault_plan faults;
  EXPECT_EQ(recover(file, 60, 50, 88), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 60u);
  EXPECT_EQ(faults.journal(), looks_at({60, 20, 60}));
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 60 end 50 max 88.\n"),
                                 error("ERROR: entry chain never reaches end 50")}));
}

TEST_F(EhdrRecovery, rewrites_that_fail_do_not_earn_the_walk_another_lap) {
  const log_file file = ring(7).entries(2, 8).make();
  fault_plan faults;
  faults.fail(call::write, from(1), returns{-1}, with{ENOSPC});
  EXPECT_EQ(recover(file, 20, 50, 76), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(faults.count(call::write), 4u);
  EXPECT_EQ(errors().back(), error("ERROR: entry chain never reaches end 50"));
}

// The first lap tells the entry at 48 that it is the first, the second that it is not. That costs
// it its sum, and only the lap behind that one finds the damage and covers it.
TEST_F(EhdrRecovery, rewrite_that_succeeds_earns_the_walk_another_lap) {
  const log_file file = ring(7).entry(linked(1024, 8, 20)).entry(lasting(1025, 8, 8)).make();
  EXPECT_EQ(recover(file, 48, 50, 76), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(contents(file), "E1024/8 N/8");
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 48 end 50 max 76.\n"),
                                 error("Updating eheader at 48 with size 20\n"),
                                 error("Updating eheader at 48 with size 8\n"),
                                 error("ERROR: Bad ehdr at offset 48\n"),
                                 error("ERROR: Bad ehdr at offset 52\n"),
                                 error("Adding null entries to 48 with size 8\n"),
                                 error("ERROR: entry chain never reaches end 50")}));
}

// Headers at 20, 72 and 112 with damage from 48 on; the ring's end is at 140. A walk from 112 meets
// the damage in its second lap.
ring damaged_in_the_second_lap(const entry_fields &behind) {
  return ring(7).entry(linked(1024, 8, 20)).damage(24).entry(behind).entry(linked(1026, 8, 20));
}

TEST_F(EhdrRecovery, walk_that_has_repaired_something_goes_round_once_more) {
  const log_file file = damaged_in_the_second_lap(lasting(1025, 20, 8)).make();
  fault_plan faults;
  EXPECT_EQ(recover(file, 112, 50, 140), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(last_entry, 112u);
  EXPECT_EQ(faults.journal(), looks_at({112}) + ", " + looks_at({20, 48, 52, 56, 60, 64, 68, 72}) +
                                  ", gettimeofday, lseek 48, write 20, write 4"
                                  ", lseek 72, read 20, lseek 72, write 20, " +
                                  looks_at({112}) + ", " + looks_at({20, 48, 72, 112}));
  EXPECT_EQ(contents(file), "E1024/8 N/4 E1025/20 E1026/8");
  EXPECT_EQ(errors().back(), error("ERROR: entry chain never reaches end 50"));
}

// With no rewrite that succeeds, the third lap comes of the damage alone, and is the last.
TEST_F(EhdrRecovery, damage_stepped_over_earns_the_walk_another_lap) {
  const log_file file = damaged_in_the_second_lap(linked(1025, 20, 8)).make();
  fault_plan faults;
  faults.fail(call::write, from(3), returns{-1}, with{ENOSPC});
  EXPECT_EQ(recover(file, 112, 50, 140), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(faults.journal(), looks_at({112}) + ", " + looks_at({20, 48, 52, 56, 60, 64, 68, 72}) +
                                  ", gettimeofday, lseek 48, write 20, write 4"
                                  ", lseek 72, read 20, lseek 72, write 20, " +
                                  looks_at({112}) + ", " + looks_at({20, 48, 72}) +
                                  ", lseek 72, read 20, lseek 72, write 20, " + looks_at({112}));
  EXPECT_EQ(errors().back(), error("ERROR: entry chain never reaches end 50"));
}

// --- system calls that fail ---

TEST_F(EhdrRecovery, seek_that_fails_is_told) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(recover(file, 20, 104), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(new_start, untouched);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(faults.journal(), "lseek 20, read 20, lseek 48");
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 104 max 8192.\n"),
                                 error("ERROR: lseek failed to seek 48, errno = 5\n")}));
}

TEST_F(EhdrRecovery, offsets_of_two_gigabytes_are_refused) {
  const log_file file = three_linked_entries().make();
  EXPECT_EQ(recover(file, 0x80000000, 20, 0xFFFFFFFF), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start -2147483648 end 20 max -1.\n"),
                                 error("ERROR: lseek failed to seek -2147483648, errno = 22\n")}));
}

TEST_F(EhdrRecovery, short_read_is_told) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.shorten(call::read, nth(3), only{19}, with{ENXIO});
  EXPECT_EQ(recover(file, 20, 104), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(last_entry, 48u);
  EXPECT_EQ(remounts(), 0u);
  EXPECT_EQ(errors().back(), error("ERROR: ehdr read failed errno 6\n"));
}

TEST_F(EhdrRecovery, io_error_remounts_and_is_still_told) {
  const log_file file = three_linked_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(recover(file, 20, 104), -1);
  EXPECT_EQ(code, 1u);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 104 max 8192.\n"),
                                 trace("TRACE:going to remount filesystem \n"),
                                 error("ERROR: ehdr read failed errno 5\n")}));
}

TEST_F(EhdrRecovery, clock_that_fails_in_front_of_a_null_entry_loses_the_file) {
  const log_file file = damaged_at_80(24).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  faults.fail(call::gettimeofday, nth(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(recover(file, 20, 132), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(last_entry, 20u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 20 end 132 max 8192.\n")} +
                       bad_headers(80, 100) +
                       log_lines{error("Adding NULL entry at 80 with size 4 \n"),
                                 error("ERROR: gettimeofday() failed with errno 14."),
                                 error("ERROR: Adding null block failed.\n")}));
}

TEST_F(EhdrRecovery, write_that_fails_in_a_null_entry_loses_the_file) {
  const log_file file = damaged_at_80(24).make();
  fault_plan faults;
  faults.shorten(call::write, nth(1), only{19}, with{ENOSPC});
  EXPECT_EQ(recover(file, 20, 132), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(faults.count(call::write), 1u);
  const log_lines found = errors();
  EXPECT_EQ(found[found.size() - 2],
            error("ERROR: Write failed ret 19 ehdr entry type 0. errno 28."));
  EXPECT_EQ(found.back(), error("ERROR: Adding null block failed.\n"));
}

TEST_F(EhdrRecovery, null_entry_that_fails_at_the_rings_end_loses_the_file) {
  const log_file file = wrapped_with_damage_at_the_rings_end(24).make();
  fault_plan faults;
  faults.fail(call::write, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(recover(file, 8100, 48), -1);
  EXPECT_EQ(code, 2u);
  EXPECT_EQ(last_entry, 8100u);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(logged(), (log_lines{error("eheader recovery start 8100 end 48 max 8192.\n"),
                                 error("ERROR: Bad ehdr at offset 8168\n"),
                                 error("Adding null entries to 8168 with size 4\n"),
                                 trace("TRACE:going to remount filesystem \n"),
                                 error("ERROR: Write failed etype 0 len 4 errno 5."),
                                 error("ERROR: Adding null block failed.\n")}));
}

}  // namespace
}  // namespace vesk::test
