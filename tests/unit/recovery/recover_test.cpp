#include "recovery/vesk_recover.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "store/vesk_state.h"
#include "tests/unit/recovery/recovery_test.h"

namespace vesk::test {
namespace {

class Recover : public RecoveryTest {
 protected:
  // Sweeps over a file of type 7 with this mark.
  static int32_t sweep(uint32_t mark) {
    vesk_file_sanity[7] = mark;
    return vesk_recover_corrupted_files();
  }
};

const lines removed = {"execute_program_and_let_go(/bin/rm, FILE)",
                       "100 TRACE: result of delete operation for file FILE is 0\n",
                       "101 ERROR: Removing file FILE.\n"};

// What a sweep over one file logs and calls, between its two heartbeats.
lines between_heartbeats(lines middle) {
  middle.insert(middle.begin(), "runctl_heartbeat(1)");
  middle.push_back("runctl_heartbeat(0)");
  return middle;
}

// Headers at 20, 48 and 76; the file ends at 104.
ring three_entries() {
  return ring(7).entry(linked(1024, 8, 20)).entry(linked(1025, 8, 8)).entry(linked(1026, 8, 8));
}

// --- the sweep itself ---

TEST_F(Recover, failed_flash_is_left_alone) {
  const log_file file = three_entries().make();
  bootflash_failure_flag = 1;
  vesk_file_sanity.fill(1);
  fault_plan faults;
  EXPECT_EQ(sweep(3), -1);
  EXPECT_EQ(journal(faults), "");
  EXPECT_EQ(journal(), lines({"101 ERROR: Cannot recover vesk file due to bootflash failure.\n"}));
  EXPECT_EQ(vesk_file_sanity[7], 3u);
  EXPECT_EQ(vesk_file_sanity[0], 1u);
  EXPECT_EQ(vesk_file_sanity[63], 1u);
}

TEST_F(Recover, without_marks_nothing_is_looked_at) {
  const log_file file = three_entries().make();
  fault_plan faults;
  EXPECT_EQ(vesk_recover_corrupted_files(), 0);
  EXPECT_EQ(journal(faults), "");
  EXPECT_EQ(journal(), between_heartbeats({}));
}

TEST_F(Recover, mark_of_a_missing_type_or_file_is_cleared_and_nothing_is_removed) {
  for (const uint32_t type : {0u, 7u, 9u, 63u}) vesk_file_sanity[type] = 3;
  fault_plan faults;
  EXPECT_EQ(vesk_recover_corrupted_files(), 0);
  EXPECT_EQ(journal(faults), "stat FILE");
  EXPECT_EQ(journal(),
            between_heartbeats({"101 ERROR: construct filename failed for file type 0\n",
                                "101 ERROR: construct filename failed for file type 7\n",
                                "101 ERROR: construct filename failed for file type 9\n",
                                "101 ERROR: construct filename failed for file type 63\n"}));
  for (uint32_t type = 0; type < 64; ++type) EXPECT_EQ(vesk_file_sanity[type], 0u) << type;
}

TEST_F(Recover, status_that_fails_with_an_io_error_remounts_and_clears_the_mark) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::stat, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: construct filename failed for file type 7\n")}));
}

TEST_F(Recover, other_types_are_swept_though_one_is_given_up) {
  const log_file third = ring(3).damage(8).entry(1024, 8).make();
  const log_file seventh = three_entries().make();
  vesk_file_sanity[3] = 3;
  EXPECT_EQ(sweep(2), 0);
  EXPECT_EQ(
      errors(),
      (log_lines{error("gheader recovery start first phase  20 end 56 max 131072 \n"),
                 error("ERROR: Bad ehdr at offset 20\n"), error("ERROR: Bad ehdr at offset 24\n"),
                 error("ERROR: No space 8 to add header 20 Remove file. \n"),
                 error("ERROR: vesk_ghdr_recovery_first_pass returned error 2for "
                       "/mnt/vesk/kyte.log \n"),
                 error("ERROR: Removing file /mnt/vesk/kyte.log.\n"),
                 error("eheader recovery start 20 end 104 max 8192.\n")}));
  EXPECT_EQ(vesk_file_sanity[3], 0u);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

// --- files that are given up ---

TEST_F(Recover, file_that_cannot_be_opened_is_removed) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::open, nth(1), returns{-1}, with{EACCES});
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(journal(faults), "stat FILE, open FILE");
  EXPECT_EQ(journal(),
            between_heartbeats({"101 ERROR: Open of FILE failed with errno 13.\n",
                                "execute_program_and_let_go(/bin/rm, FILE)",
                                "100 TRACE: result of delete operation for file FILE is 0\n"}));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Recover, header_that_cannot_be_sought_gives_the_file_up) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(journal(faults), "stat FILE, open FILE, lseek 0, close");
  EXPECT_EQ(journal(),
            between_heartbeats(lines{"101 ERROR: lseek failed to seek at  0, errno = 5\n",
                                     "101 ERROR: could not get gheader entries for FILE\n"} +
                               removed));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Recover, header_that_is_read_short_gives_the_file_up) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.shorten(call::read, nth(1), only{19}, with{ENXIO});
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(journal(faults), "stat FILE, open FILE, lseek 0, read 20, close");
  EXPECT_EQ(journal(),
            between_heartbeats(lines{"101 ERROR: ghdr read fails errno 6.\n",
                                     "101 ERROR: could not get gheader entries for FILE\n"} +
                               removed));
}

// Unlike at the start-up validation, a read that returns -1 is no complete read here.
TEST_F(Recover, header_read_that_fails_remounts_and_gives_the_file_up) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(sweep(2), 0);
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: ghdr read fails errno 5.\n"),
                                 error("ERROR: could not get gheader entries for FILE\n"),
                                 error("ERROR: Removing file FILE.\n")}));
}

TEST_F(Recover, wrong_magic_or_sum_gives_the_file_up) {
  for (const uint32_t at : {0u, 3u, 6u, 19u}) {
    SCOPED_TRACE(at);
    platform.forget();
    const log_file file = three_entries().patch(at, {0xAA}).make();
    fault_plan faults;
    faults.shorten(call::read, nth(1), only{20}, with{ENXIO});
    EXPECT_EQ(sweep(3), 0);
    EXPECT_EQ(journal(faults), "stat FILE, open FILE, lseek 0, read 20, close");
    EXPECT_EQ(journal(),
              between_heartbeats(lines{"101 ERROR: ghdr may be corrupt 6\n",
                                       "101 ERROR: could not get gheader entries for FILE\n"} +
                                 removed));
  }
}

TEST_F(Recover, wrong_magic_with_a_sum_that_holds_gives_the_file_up) {
  // 7665 becomes 6665, and 0xf506 makes up for it as 0x0507; 736b and the rest stay.
  const log_file file = ring(7).patch(0, {0x66}).patch(6, {0x05, 0x07}).make();
  EXPECT_TRUE(sum_holds(file.bytes().data()));
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(errors().back(), error("ERROR: Removing file FILE.\n"));
  EXPECT_EQ(errors().size(), 3u);
}

TEST_F(Recover, capacity_that_is_not_the_catalogues_gives_the_file_up) {
  const log_file file = three_entries().max(8188).make();
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(journal(),
            between_heartbeats(lines{"101 ERROR: Max file size 1ffc is not equal to the max "
                                     "allowed size 2000 fname FILE"} +
                               removed));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Recover, wrapped_file_that_is_not_full_is_given_up) {
  const log_file file = three_entries().start(76).end(48).make();
  EXPECT_EQ(sweep(2), 0);
  EXPECT_EQ(journal(),
            between_heartbeats(lines{"101 ERROR: File already wrapped but file size 104 is not "
                                     "equal to the max size 8192 start 76 end 48 fname FILE"} +
                               removed));
}

TEST_F(Recover, file_that_is_shorter_than_its_end_is_given_up) {
  const log_file file = three_entries().end(108).make();
  EXPECT_EQ(sweep(2), 0);
  EXPECT_EQ(journal(),
            between_heartbeats(lines{"101 ERROR: start 20 or end 108 is greater than file size 104 "
                                     "for fname FILE. \n"} +
                               removed));
}

TEST_F(Recover, full_file_that_is_shorter_than_its_start_is_given_up) {
  const log_file file = three_entries().damage_to(8192).start(8196).end(104).make();
  EXPECT_EQ(sweep(2), 0);
  EXPECT_EQ(journal(),
            between_heartbeats(lines{"101 ERROR: start 8196 or end 104 is greater than file size "
                                     "8192 for fname FILE. \n"} +
                               removed));
}

TEST_F(Recover, file_is_closed_before_it_is_removed) {
  const log_file file = three_entries().max(8188).make();
  fault_plan faults;
  uint32_t closed = untouched;
  platform.on_call = [&](const std::string &call) {
    if (call.starts_with("execute_program_and_let_go(/bin/rm")) closed = faults.count(call::close);
  };
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(closed, 1u);
}

TEST_F(Recover, removal_that_does_not_start_is_told_and_clears_the_mark) {
  const log_file file = three_entries().max(8188).make();
  platform.next("execute_program_and_let_go", -1);
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(journal()[3], "100 TRACE: result of delete operation for file FILE is -1\n");
  EXPECT_EQ(journal()[4], "101 ERROR: Removing file FILE.\n");
}

// --- rebuilding the global header ---

TEST_F(Recover, global_header_is_rebuilt_from_the_entries) {
  const log_file file = three_entries().end(48).make();
  fault_plan faults;
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 E1026/8 start=20 end=104");
  // 7665 + 736b + 0100 + 2000 + 0014 + 0068 = 10b4c, folded 0b4d; f4b2 completes it to ffff.
  EXPECT_EQ(file.hex(0, 20), "76 65 73 6b  01 00 f4 b2  00 00 20 00  00 00 00 14  00 00 00 68");
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(journal(faults), "stat FILE, open FILE, lseek 0, read 20, " + looks_at({20, 48, 76}) +
                                 ", " + looks_at({20, 48, 76}) + ", lseek 0, write 20, close");
  EXPECT_EQ(journal(),
            between_heartbeats({"100 TRACE:Going to recover corrupted file FILE.\n",
                                "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                                "101 gheader recovery start first phase  20 end 104 max 8192 \n",
                                "100 TRACE:Got num entries 3. going for 2nd pass FILE \n",
                                "101 gheader recovery second pass start 20 end 104 max 8192 \n",
                                "100 TRACE: reason 0 entry_count 3 \n",
                                "100 TRACE:File FILE ghdr recovery was successful \n",
                                "101 Updating gheader start 20 end 104 max 8192.\n"}));
}

// Recovery gives the entries their previous size, and with that their sums are gone: the second
// pass finds no chain, and an empty ring is left. The bytes are all there.
TEST_F(Recover, appended_entries_are_lost_to_their_own_repair) {
  const log_file file = ring(7).entries(3, 8).make();
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(file.picture(), "start=20 end=20");
  EXPECT_EQ(contents(file), "!E1024/8 !E1025/8 !E1026/8");
  EXPECT_EQ(
      journal(),
      between_heartbeats({"100 TRACE:Going to recover corrupted file FILE.\n",
                          "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                          "101 gheader recovery start first phase  20 end 104 max 8192 \n",
                          "101 Updating eheader at 20 with size 20\n",
                          "101 Updating eheader at 48 with size 8\n",
                          "101 Updating eheader at 76 with size 8\n",
                          "100 TRACE:Got num entries 3. going for 2nd pass FILE \n",
                          "101 gheader recovery second pass start 20 end 104 max 8192 \n",
                          "100 TRACE: reason 1 entry_count 0 \n", "100 TRACE:New end for file 20\n",
                          "100 TRACE:File FILE ghdr recovery was successful \n",
                          "101 Updating gheader start 20 end 20 max 8192.\n"}));
}

TEST_F(Recover, version_is_not_looked_at_and_becomes_one) {
  const log_file file = three_entries().version(2).make();
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(file.hex(4, 2), "01 00");
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 E1026/8 start=20 end=104");
}

TEST_F(Recover, start_that_was_predicted_is_written) {
  // Full, and the null entry in front of the oldest is the youngest of all.
  const log_file file =
      ring(7)
          .entry({.type = 1026, .size = 8, .prev_size = 20, .secs = 300})
          .entry({.uuid = 293, .type = 0, .size = 8032, .prev_size = 8, .secs = 400})
          .entry({.type = 1024, .size = 8, .prev_size = 8032, .secs = 100})
          .entry({.type = 1025, .size = 44, .prev_size = 8, .secs = 200})
          .make();
  EXPECT_EQ(file.size(), 8192u);
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(file.picture(), "E1024/8 E1025/44 | E1026/8 start=8100 end=48");
  EXPECT_EQ(errors().back(), error("Updating gheader start 8100 end 48 max 8192.\n"));
}

// A header that cannot be read for a moment ends the chain in the middle of a full file, and the
// ring begins behind it.
TEST_F(Recover, start_that_the_second_pass_moved_is_written) {
  const log_file file = ring(7)
                            .entry({.type = 1024, .size = 8, .prev_size = 20, .secs = 300})
                            .entry({.type = 1025, .size = 8, .prev_size = 8, .secs = 100})
                            .entry({.type = 1026, .size = 8, .prev_size = 8, .secs = 200})
                            .entry({.type = 1027, .size = 8068, .prev_size = 8, .secs = 250})
                            .make();
  EXPECT_EQ(file.size(), 8192u);
  fault_plan faults;
  faults.fail(call::read, nth(7), returns{-1}, with{EFAULT});
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(journal(faults), "stat FILE, open FILE, lseek 0, read 20, " +
                                 looks_at({20, 48, 76, 104}) + ", " + looks_at({48, 76}) + ", " +
                                 looks_at({48, 76}) + ", lseek 0, write 20, close");
  EXPECT_EQ(file.picture(), "E1027/8068 | E1024/8 E1025/8 start=104 end=76");
  EXPECT_EQ(errors(),
            (log_lines{error("gheader recovery start first phase  20 end 8192 max 8192 "
                             "\n"),
                       error("gheader recovery second pass start 48 end 8192 max 8192 \n"),
                       error("ERROR: ehdr read failed at 76 errno 14\n"),
                       error("Updating gheader start 104 end 76 max 8192.\n")}));
}

TEST_F(Recover, first_pass_that_breaks_off_is_told_and_the_second_is_made) {
  const log_file file = three_entries().damage(24).make();
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 E1026/8 start=20 end=104");
  EXPECT_EQ(contents(file), "E1024/8 E1025/8 E1026/8 ~24");
  EXPECT_EQ(journal(),
            between_heartbeats(
                {"100 TRACE:Going to recover corrupted file FILE.\n",
                 "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                 "101 gheader recovery start first phase  20 end 128 max 8192 \n",
                 "101 ERROR: Bad ehdr at offset 104\n", "101 ERROR: Bad ehdr at offset 108\n",
                 "101 ERROR: ehdr read failed errno 33 seek 112\n",
                 "101 ERROR: vesk_ghdr_recovery_first_pass returned error 1for FILE \n",
                 "100 TRACE:Got num entries 3. going for 2nd pass FILE \n",
                 "101 gheader recovery second pass start 20 end 128 max 8192 \n",
                 "100 TRACE: reason 0 entry_count 3 \n",
                 "100 TRACE:File FILE ghdr recovery was successful \n",
                 "101 Updating gheader start 20 end 104 max 8192.\n"}));
}

TEST_F(Recover, first_pass_that_loses_the_file_gives_it_up) {
  const log_file file = three_entries().damage(8).entry(1027, 8).make();
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(journal(),
            between_heartbeats(
                lines{"100 TRACE:Going to recover corrupted file FILE.\n",
                      "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                      "101 gheader recovery start first phase  20 end 140 max 8192 \n",
                      "101 ERROR: Bad ehdr at offset 104\n", "101 ERROR: Bad ehdr at offset 108\n",
                      "101 ERROR: No space 8 to add header 104 Remove file. \n",
                      "101 ERROR: vesk_ghdr_recovery_first_pass returned error 2for FILE \n"} +
                removed));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Recover, file_without_entries_is_given_up_without_another_word) {
  const log_file file = ring(7).entry({.uuid = 293, .type = 0, .size = 8, .prev_size = 20}).make();
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(journal(), between_heartbeats(
                           lines{"100 TRACE:Going to recover corrupted file FILE.\n",
                                 "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                                 "101 gheader recovery start first phase  20 end 48 max 8192 \n"} +
                           removed));
}

TEST_F(Recover, empty_file_is_given_up_too) {
  const log_file file = ring(7).make();
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(errors(), (log_lines{error("gheader recovery start first phase  20 end 20 max 8192 \n"),
                                 error("ERROR: Removing file FILE.\n")}));
}

// A full file with the oldest entry at 48. The chain from there breaks at an entry that the first
// pass has rewritten, and behind a start elsewhere that is not forgiven.
TEST_F(Recover, second_pass_that_fails_gives_the_file_up) {
  const log_file file = ring(7)
                            .entry({.type = 1024, .size = 8, .prev_size = 20, .secs = 300})
                            .entry({.type = 1025, .size = 8, .prev_size = 8, .secs = 100})
                            .entry({.type = 1026, .size = 8096, .prev_size = 0, .secs = 200})
                            .make();
  EXPECT_EQ(file.size(), 8192u);
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(journal(),
            between_heartbeats(
                lines{"100 TRACE:Going to recover corrupted file FILE.\n",
                      "100 TRACE:Going to for first pass ghdr recovery FILE.\n",
                      "101 gheader recovery start first phase  20 end 8192 max 8192 \n",
                      "100 TRACE:secs LT Predict start moved to 48\n",
                      "101 Updating eheader at 76 with size 8\n",
                      "100 TRACE:Got num entries 3. going for 2nd pass FILE \n",
                      "101 gheader recovery second pass start 48 end 8192 max 8192 \n",
                      "100 TRACE: reason 1 entry_count 1 \n", "100 TRACE:New end for file 76\n",
                      "101 ERROR: ehdr checksum failed at 76 \n",
                      "101 ERROR: vesk_ghdr_recovery_second_pass returned error 2for FILE \n"} +
                removed));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Recover, global_header_that_cannot_be_written_is_ignored) {
  const log_file file = three_entries().end(48).make();
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{19}, with{ENOSPC});
  EXPECT_EQ(sweep(3), 0);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(faults.count(call::close), 1u);
  EXPECT_EQ(file.picture(), "E1024/8 start=20 end=48");
  EXPECT_EQ(errors().back(), error("ERROR: Writing the gheader failed. errno 28."));
}

// --- repairing the entry headers ---

TEST_F(Recover, sound_entries_need_no_new_global_header) {
  for (const uint32_t mark : {1u, 2u, 4u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(mark);
    platform.forget();
    const log_file file = three_entries().make();
    const std::vector<uint8_t> before = file.bytes();
    fault_plan faults;
    EXPECT_EQ(sweep(mark), 0);
    EXPECT_EQ(file.bytes(), before);
    EXPECT_EQ(vesk_file_sanity[7], 0u);
    EXPECT_EQ(journal(faults),
              "stat FILE, open FILE, lseek 0, read 20, " + looks_at({20, 48, 76}) + ", close");
    EXPECT_EQ(journal(), between_heartbeats({"100 TRACE:Going to recover corrupted file FILE.\n",
                                             "101 eheader recovery start 20 end 104 max 8192.\n",
                                             "100 TRACE:File FILE recovery was successful \n"}));
  }
}

TEST_F(Recover, start_that_moved_is_written) {
  const log_file file =
      ring(7).damage(8).entry(linked(1024, 8, 20)).entry(linked(1025, 8, 8)).make();
  fault_plan faults;
  EXPECT_EQ(sweep(2), 0);
  EXPECT_EQ(file.picture(), "E1024/8 E1025/8 start=28 end=84");
  // 7665 + 736b + 0100 + 2000 + 001c + 0054 = 10b40, folded 0b41; f4be completes it.
  EXPECT_EQ(file.hex(0, 20), "76 65 73 6b  01 00 f4 be  00 00 20 00  00 00 00 1c  00 00 00 54");
  EXPECT_EQ(journal(faults), "stat FILE, open FILE, lseek 0, read 20, " +
                                 looks_at({20, 24, 28, 56}) + ", lseek 0, write 20, close");
  EXPECT_EQ(journal(), between_heartbeats({"100 TRACE:Going to recover corrupted file FILE.\n",
                                           "101 eheader recovery start 20 end 84 max 8192.\n",
                                           "101 ERROR: Bad ehdr at offset 20\n",
                                           "101 ERROR: Bad ehdr at offset 24\n",
                                           "100 TRACE:Adjusting start pointer to 28 from 20\n",
                                           "100 TRACE:File FILE recovery was successful \n",
                                           "101 Updating gheader start 28 end 84 max 8192.\n"}));
}

TEST_F(Recover, moved_start_that_cannot_be_written_is_ignored) {
  const log_file file =
      ring(7).damage(8).entry(linked(1024, 8, 20)).entry(linked(1025, 8, 8)).make();
  fault_plan faults;
  faults.fail(call::write, nth(1), returns{0}, with{ENOSPC});
  EXPECT_EQ(sweep(2), 0);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(faults.count(call::close), 1u);
  EXPECT_EQ(file.picture(), "~8 E1024/8 E1025/8 start=20 end=84");
}

TEST_F(Recover, entries_that_cannot_be_repaired_give_the_file_up) {
  const log_file file = three_entries().damage(8).entry(1027, 8).make();
  EXPECT_EQ(sweep(2), 0);
  EXPECT_EQ(journal(),
            between_heartbeats(
                lines{"100 TRACE:Going to recover corrupted file FILE.\n",
                      "101 eheader recovery start 20 end 140 max 8192.\n",
                      "101 ERROR: Bad ehdr at offset 104\n", "101 ERROR: Bad ehdr at offset 108\n",
                      "101 ERROR: No space to add header after getting somegood entries Cannot "
                      "recover file \n",
                      "101 ERROR: eheader file recovery returned error 2. for FILE\n"} +
                removed));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Recover, entries_that_cannot_be_read_give_the_file_up) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(3), returns{-1}, with{EFAULT});
  EXPECT_EQ(sweep(1), 0);
  EXPECT_EQ(faults.count(call::close), 1u);
  EXPECT_EQ(errors(), (log_lines{error("eheader recovery start 20 end 104 max 8192.\n"),
                                 error("ERROR: ehdr read failed errno 14\n"),
                                 error("ERROR: eheader file recovery returned error 1. for FILE\n"),
                                 error("ERROR: Removing file FILE.\n")}));
}

TEST_F(Recover, empty_ring_needs_no_repair) {
  const log_file file = ring(7).make();
  EXPECT_EQ(sweep(2), 0);
  EXPECT_EQ(errors(), (log_lines{error("eheader recovery start 20 end 20 max 8192.\n")}));
  EXPECT_EQ(platform.calls, between_heartbeats({}));
}

// --- kernel logs ---

// The descriptors on this file besides the test's own.
std::vector<int> others_on(const log_file &file) {
  struct stat wanted {};
  fstat(file.fd(), &wanted);
  std::vector<int> found;
  for (int fd = 3; fd < 256; ++fd) {
    struct stat st {};
    if (fd != file.fd() && fstat(fd, &st) == 0 && st.st_ino == wanted.st_ino &&
        st.st_dev == wanted.st_dev) {
      found.push_back(fd);
    }
  }
  return found;
}

class KernelLog : public Recover, public ::testing::WithParamInterface<uint32_t> {};

TEST_P(KernelLog, with_a_sound_header_ends_the_sweep_and_stays_open_and_marked) {
  const log_file kernel = ring(GetParam()).entry(1024, 8).make();
  const log_file third = ring(3).entry(linked(1024, 8, 20)).make();
  const log_file platform_log = ring(25).entry(linked(1024, 8, 20)).make();
  for (const uint32_t type : {3u, GetParam(), 25u, 63u}) vesk_file_sanity[type] = 2;
  {
    fault_plan faults;
    EXPECT_EQ(vesk_recover_corrupted_files(), 0);
    EXPECT_EQ(faults.count(call::open), 2u);
    EXPECT_EQ(faults.count(call::close), 1u);
    EXPECT_TRUE(journal(faults).ends_with(", lseek 0, read 20")) << journal(faults);
  }
  EXPECT_EQ(journal(),
            between_heartbeats({"100 TRACE:Going to recover corrupted file /mnt/vesk/kyte.log.\n",
                                "101 eheader recovery start 20 end 48 max 131072.\n",
                                "100 TRACE:File /mnt/vesk/kyte.log recovery was successful \n"}));
  EXPECT_EQ(vesk_file_sanity[3], 0u);
  EXPECT_EQ(vesk_file_sanity[GetParam()], 2u);
  EXPECT_EQ(vesk_file_sanity[25], 2u);
  EXPECT_EQ(vesk_file_sanity[63], 2u);

  const std::vector<int> left_open = others_on(kernel);
  EXPECT_EQ(left_open.size(), 1u);
  for (const int fd : left_open) close(fd);
  EXPECT_EQ(others_on(third).size(), 0u);
  EXPECT_EQ(others_on(platform_log).size(), 0u);
}

TEST_P(KernelLog, is_never_walked) {
  const log_file kernel = ring(GetParam()).entry(1024, 8).damage(8).entry(1025, 8).make();
  const std::vector<uint8_t> before = kernel.bytes();
  vesk_file_sanity[GetParam()] = 3;
  fault_plan faults;
  EXPECT_EQ(vesk_recover_corrupted_files(), 0);
  EXPECT_EQ(faults.count(call::read), 1u);
  EXPECT_EQ(kernel.bytes(), before);
  EXPECT_EQ(vesk_file_sanity[GetParam()], 3u);
  EXPECT_EQ(journal(), between_heartbeats({}));
  for (const int fd : others_on(kernel)) close(fd);
}

TEST_P(KernelLog, without_a_sound_header_is_removed_and_the_sweep_goes_on) {
  const log_file kernel = ring(GetParam()).entry(1024, 8).patch(6, {0, 0}).make();
  const log_file platform_log = ring(25).entry(linked(1024, 8, 20)).make();
  vesk_file_sanity[GetParam()] = 3;
  vesk_file_sanity[25] = 2;
  EXPECT_EQ(vesk_recover_corrupted_files(), 0);
  EXPECT_EQ(vesk_file_sanity[GetParam()], 0u);
  EXPECT_EQ(vesk_file_sanity[25], 0u);
  EXPECT_EQ(others_on(kernel).size(), 0u);
  EXPECT_EQ(errors().back(), error("eheader recovery start 20 end 48 max 1048576.\n"));
}

TEST_P(KernelLog, with_an_impossible_header_is_removed_and_the_sweep_goes_on) {
  const log_file kernel = ring(GetParam()).entry(1024, 8).end(52).make();
  vesk_file_sanity[GetParam()] = 3;
  vesk_file_sanity[63] = 3;
  EXPECT_EQ(vesk_recover_corrupted_files(), 0);
  EXPECT_EQ(vesk_file_sanity[GetParam()], 0u);
  EXPECT_EQ(vesk_file_sanity[63], 0u);
  EXPECT_EQ(others_on(kernel).size(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Both, KernelLog, ::testing::Values(21u, 22u));

}  // namespace
}  // namespace vesk::test
