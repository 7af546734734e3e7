#include "recovery/vesk_validate.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "store/vesk_state.h"
#include "tests/unit/recovery/recovery_test.h"

namespace vesk::test {
namespace {

// What the corruption check answers, where a test does not want it to look.
struct check_answer {
  int32_t result;
  std::optional<uint32_t> reason = {};
};
std::optional<check_answer> checked;

// A mark that nobody else sets.
constexpr uint32_t old_mark = 9;

class Validate : public RecoveryTest {
 protected:
  Validate() {
    checked.reset();
    vesk_file_sanity.fill(old_mark);
  }

  // With a failed flash the sweep refuses, and the marks that validation has set can be seen.
  static void without_sweep() { bootflash_failure_flag = 1; }

  // What was logged and called by a validation.
  static lines validation() {
    EXPECT_EQ(vesk_validate_files(), 0);
    return journal();
  }
};

const lines removal = {"execute_program_and_let_go(/bin/rm, FILE)",
                       "100 TRACE: result of delete operation for file FILE is 0\n"};
const lines no_sweep = {"101 ERROR: Cannot recover vesk file due to bootflash failure.\n"};

// The system is asked about every file; about one that is there and sound, it is asked all this.
const std::string others_before =
    "stat /mnt/vesk/exception.log, stat /mnt/vesk/nruda.log, stat /mnt/vesk/kyte.log, "
    "stat /mnt/vesk/dev_log_sup.log, stat /mnt/vesk/vesk.log, "
    "stat /mnt/vesk/temperature_history.log, ";
const std::string others_behind =
    ", stat /mnt/vesk/kernel.log, stat /mnt/vesk/kernel_big.log, stat /mnt/vesk/platform.log, "
    "stat /mnt/vesk/ferro_tovik.log, stat /mnt/vesk/ferro_marun.log, "
    "stat /mnt/vesk/ferro_belquist.log, stat /mnt/vesk/trident.log, stat /mnt/vesk/bcm_usd.log, "
    "stat /mnt/vesk/btcm.log";

const lines sound_and_empty = {
    "100 TRACE:Going to check if file is corruptedFILE.\n",
    "100 TRACE:vesk_check_file_corrupted start 20 end 20 max 8192 \n",
    "100 TRACE:checking  100 entries from start 20\n",
    "101 ERROR: vesk_check_file_corrupted start 20 end 20 max 8192 \n",
    "100 TRACE:File FILE isn't corrupted\n",
};

// Headers at 20, 48 and 76; the file ends at 104.
ring three_entries() {
  return ring(7).entries(3, 8);
}

// --- files that are not there, or sound ---

TEST_F(Validate, without_files_every_type_is_clean_and_nothing_is_swept) {
  fault_plan faults;
  EXPECT_EQ(validation(), lines());
  EXPECT_EQ(journal(faults), others_before + "stat FILE" + others_behind);
  for (uint32_t type = 0; type < 64; ++type) EXPECT_EQ(vesk_file_sanity[type], 0u) << type;
}

TEST_F(Validate, file_that_vanishes_in_between_is_clean) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::stat, nth(8), returns{-1}, with{ENOENT});
  EXPECT_EQ(validation(), lines());
  EXPECT_EQ(journal(faults), others_before + "stat FILE, stat FILE" + others_behind);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Validate, status_that_fails_with_an_io_error_remounts_and_is_clean) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::stat, nth(8), returns{-1}, with{EIO});
  EXPECT_EQ(validation(), (lines{"100 TRACE:going to remount filesystem \n",
                                 "execute_program_and_wait(/bin/rm, /kyte_mounted)",
                                 "execute_program_and_wait(/bin/umount, /mnt/vesk/)",
                                 "execute_program_and_let_go(/vamo/bin/kytemount)"}));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(faults.count(call::open), 0u);
}

TEST_F(Validate, empty_file_of_twenty_bytes_is_sound) {
  const log_file file = ring(7).make();
  fault_plan faults;
  EXPECT_EQ(validation(), sound_and_empty);
  EXPECT_EQ(
      journal(faults),
      others_before + "stat FILE, stat FILE, open FILE, lseek 0, read 20, close" + others_behind);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(file.size(), 20u);
}

TEST_F(Validate, file_with_a_sound_chain_is_left_alone) {
  const log_file file = headers(ring(7), 3).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  EXPECT_EQ(validation(), (lines{"100 TRACE:Going to check if file is corruptedFILE.\n",
                                 "100 TRACE:vesk_check_file_corrupted start 20 end 80 max 8192 \n",
                                 "100 TRACE:checking  100 entries from start 20\n",
                                 "101 ERROR: vesk_check_file_corrupted start 20 end 80 max 8192 \n",
                                 "100 TRACE:checking entry at end 80\n",
                                 "100 TRACE:File FILE isn't corrupted\n"}));
  EXPECT_EQ(journal(faults), others_before + "stat FILE, stat FILE, open FILE, lseek 0, read 20, " +
                                 looks_at({20, 40, 60, 60}) + ", close" + others_behind);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

// --- files that are no log files ---

TEST_F(Validate, directory_in_place_of_a_file_is_left_alone) {
  ASSERT_EQ(mkdir("/mnt/vesk/temperature_err.log", 0755), 0);
  fault_plan faults;
  EXPECT_EQ(validation(), (lines{"101 ERROR: FILE exists, but not a regular file.\n"}));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(faults.count(call::open), 0u);
  EXPECT_EQ(rmdir("/mnt/vesk/temperature_err.log"), 0);
}

TEST_F(Validate, file_shorter_than_a_header_is_removed_unopened) {
  for (const off_t size : {0, 1, 19}) {
    SCOPED_TRACE(size);
    platform.forget();
    vesk_file_sanity[7] = old_mark;
    const log_file file = ring(7).make();
    ASSERT_EQ(truncate(file.path().c_str(), size), 0);
    fault_plan faults;
    EXPECT_EQ(validation(),
              lines{"101 ERROR: FILE exists, but size is less than Gheader size.\n"} + removal);
    EXPECT_EQ(vesk_file_sanity[7], 0u);
    EXPECT_EQ(faults.count(call::open), 0u);
  }
}

TEST_F(Validate, file_that_cannot_be_opened_is_removed) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::open, nth(1), returns{-1}, with{EACCES});
  EXPECT_EQ(validation(), lines{"101 ERROR: Open of FILE failed with errno 13.\n"} + removal);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(faults.count(call::close), 0u);
}

TEST_F(Validate, header_that_cannot_be_sought_removes_the_file) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.fail(call::lseek, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(validation(), lines{"101 ERROR: lseek failed to seek 0, errno = 5\n"} + removal);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(journal(faults),
            others_before + "stat FILE, stat FILE, open FILE, lseek 0, close" + others_behind);
}

TEST_F(Validate, header_that_is_read_short_removes_the_file) {
  for (const size_t count : {size_t{0}, size_t{19}}) {
    SCOPED_TRACE(count);
    platform.forget();
    vesk_file_sanity[7] = old_mark;
    const log_file file = three_entries().make();
    fault_plan faults;
    faults.shorten(call::read, nth(1), only{count}, with{ENXIO});
    EXPECT_EQ(validation(), lines{"101 ERROR: ghdr read fails errno 6.\n"} + removal);
    EXPECT_EQ(vesk_file_sanity[7], 0u);
    EXPECT_EQ(
        journal(faults),
        others_before + "stat FILE, stat FILE, open FILE, lseek 0, read 20, close" + others_behind);
  }
}

TEST_F(Validate, short_read_with_an_io_error_remounts_and_removes_the_file) {
  const log_file file = three_entries().make();
  fault_plan faults;
  faults.shorten(call::read, nth(1), only{19}, with{EIO});
  EXPECT_EQ(validation().back(), removal.back());
  EXPECT_EQ(remounts(), 1u);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: ghdr read fails errno 5.\n")}));
}

// -1 is a large number, and the buffer begins as the header of an empty file: a flash that cannot
// be read for a moment costs no log.
TEST_F(Validate, read_that_fails_counts_as_complete_and_leaves_the_file_alone) {
  const log_file file = three_entries().version(2).end(9999).make();
  const std::vector<uint8_t> before = file.bytes();
  fault_plan faults;
  faults.fail(call::read, nth(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(validation(), sound_and_empty);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(faults.count(call::close), 1u);
}

TEST_F(Validate, read_that_fails_with_an_io_error_remounts_too) {
  const log_file file = three_entries().damage(8).make();
  fault_plan faults;
  faults.fail(call::read, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(validation(), (lines{"100 TRACE:going to remount filesystem \n",
                                 "execute_program_and_wait(/bin/rm, /kyte_mounted)",
                                 "execute_program_and_wait(/bin/umount, /mnt/vesk/)",
                                 "execute_program_and_let_go(/vamo/bin/kytemount)"} +
                           sound_and_empty));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Validate, buffer_of_a_read_that_fails_is_not_the_header_of_the_file_before) {
  const log_file third = ring(3).version(2).make();
  const log_file seventh = three_entries().make();
  fault_plan faults;
  faults.fail(call::read, nth(2), returns{-1}, with{EFAULT});
  EXPECT_EQ(vesk_validate_files(), 0);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: Version mismatch in gheader, deleting the file "
                                       "/mnt/vesk/kyte.log\n"),
                                 error("ERROR: vesk_check_file_corrupted start 20 end 20 max "
                                       "8192 \n")}));
}

// --- global headers that do not hold ---

TEST_F(Validate, wrong_version_removes_the_file) {
  for (const uint8_t version : {uint8_t{0}, uint8_t{2}, uint8_t{255}}) {
    SCOPED_TRACE(int{version});
    platform.forget();
    vesk_file_sanity[7] = old_mark;
    const log_file file = three_entries().version(version).make();
    fault_plan faults;
    EXPECT_EQ(validation(),
              lines{"101 ERROR: Version mismatch in gheader, deleting the file FILE\n"} + removal);
    EXPECT_EQ(vesk_file_sanity[7], 0u);
    EXPECT_EQ(
        journal(faults),
        others_before + "stat FILE, stat FILE, open FILE, lseek 0, read 20, close" + others_behind);
  }
}

// So that a header of arbitrary bytes is removed and not repaired.
TEST_F(Validate, version_is_looked_at_before_magic_and_sum) {
  const log_file file = three_entries().patch(0, {0xDA, 0x4A, 0x6E, 0xD1, 0xDA, 0x4A}).make();
  EXPECT_EQ(validation(),
            lines{"101 ERROR: Version mismatch in gheader, deleting the file FILE\n"} + removal);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Validate, wrong_magic_or_sum_marks_the_file_and_keeps_it) {
  for (const uint32_t at : {0u, 3u, 6u, 19u}) {
    SCOPED_TRACE(at);
    platform.reset();
    without_sweep();
    const log_file file = three_entries().patch(at, {0xAA}).make();
    fault_plan faults;
    faults.shorten(call::read, nth(1), only{20}, with{ENXIO});
    EXPECT_EQ(validation(), lines{"101 ERROR: ghdr may be corrupt 6\n"} + no_sweep);
    EXPECT_EQ(vesk_file_sanity[7], 3u);
    EXPECT_EQ(
        journal(faults),
        others_before + "stat FILE, stat FILE, open FILE, lseek 0, read 20, close" + others_behind);
  }
}

// What that line prints is whatever errno holds: here what the file before left at its close.
TEST_F(Validate, close_that_fails_shows_in_the_line_about_the_next_file) {
  const log_file sixth = ring(6).make();
  const log_file seventh = three_entries().patch(6, {0xAA}).make();
  without_sweep();
  fault_plan faults;
  faults.fail(call::close, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_validate_files(), 0);
  EXPECT_EQ(errors()[1], error("ERROR: ghdr may be corrupt 5\n"));
}

// --- global headers that cannot be ---

TEST_F(Validate, capacity_that_is_not_the_catalogues_marks_the_file) {
  const log_file file = ring(7).max(8188).make();
  without_sweep();
  fault_plan faults;
  EXPECT_EQ(validation(), lines{"101 ERROR: max 8188 is greater than file max 8192end 20 is "
                                "greater than maxstart 20 is greater than max"} +
                              no_sweep);
  EXPECT_EQ(vesk_file_sanity[7], 3u);
  EXPECT_EQ(faults.count(call::close), 1u);
}

TEST_F(Validate, end_beyond_the_capacity_marks_the_file) {
  const log_file file = three_entries().end(8193).make();
  without_sweep();
  EXPECT_EQ(validation(), lines{"101 ERROR: max 8192 is greater than file max 8192end 8193 is "
                                "greater than maxstart 20 is greater than max"} +
                              no_sweep);
  EXPECT_EQ(vesk_file_sanity[7], 3u);
}

TEST_F(Validate, end_at_the_capacity_is_possible) {
  const log_file file = ring(7).entry(1024, 8152).make();
  EXPECT_EQ(file.size(), 8192u);
  EXPECT_EQ(validation().back(), "100 TRACE:File FILE isn't corrupted\n");
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Validate, start_beyond_the_capacity_marks_the_file) {
  const log_file file = three_entries().start(8196).make();
  without_sweep();
  EXPECT_EQ(validation(), lines{"101 ERROR: max 8192 is greater than file max 8192end 104 is "
                                "greater than maxstart 8196 is greater than max"} +
                              no_sweep);
  EXPECT_EQ(vesk_file_sanity[7], 3u);
}

TEST_F(Validate, start_one_header_in_front_of_the_capacity_marks_the_file) {
  const log_file file = ring(7).entry(1024, 8).damage_to(8172).start_here().null(0).end(48).make();
  without_sweep();
  EXPECT_EQ(validation(), lines{"101 ERROR: max 8192 is greater than file max 8192end 48 is "
                                "greater than maxstart 8172 is greater than max"} +
                              no_sweep);
  EXPECT_EQ(vesk_file_sanity[7], 3u);
}

TEST_F(Validate, start_four_bytes_further_in_front_is_possible) {
  const log_file file = ring(7).entry(1024, 8).damage_to(8168).start_here().null(4).end(48).make();
  EXPECT_EQ(file.picture(), "N/4 | E1024/8 start=8168 end=48");
  EXPECT_EQ(validation().back(), "100 TRACE:File FILE isn't corrupted\n");
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Validate, file_that_is_shorter_than_its_end_is_removed) {
  const log_file file = three_entries().end(105).make();
  EXPECT_EQ(
      validation(),
      lines{"101 ERROR: start 20 or end 105 is greater than file size 104 for fname FILE.\n"} +
          removal);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Validate, file_that_is_shorter_than_an_empty_ring_elsewhere_is_removed) {
  const log_file file = three_entries().start(108).end(108).make();
  EXPECT_EQ(
      validation(),
      lines{"101 ERROR: start 108 or end 108 is greater than file size 104 for fname FILE.\n"} +
          removal);
}

TEST_F(Validate, wrapped_file_that_is_not_full_is_removed) {
  const log_file file = three_entries().start(76).end(48).make();
  fault_plan faults;
  EXPECT_EQ(validation(), lines{"101 ERROR: File already wrapped but file size 104 is not equal to "
                                "the max size 8192 start 76 end 48 fname FILE"} +
                              removal);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(faults.count(call::close), 1u);
}

TEST_F(Validate, wrapped_file_that_is_more_than_full_is_removed_too) {
  const log_file file = three_entries().damage_to(8196).start(76).end(48).make();
  EXPECT_EQ(validation(), lines{"101 ERROR: File already wrapped but file size 8196 is not equal "
                                "to the max size 8192 start 76 end 48 fname FILE"} +
                              removal);
}

TEST_F(Validate, file_beyond_4_gib_is_as_long_as_can_be_said) {
  for (const uint64_t size : {uint64_t{0x100000000}, uint64_t{0x100000014}}) {
    SCOPED_TRACE(size);
    platform.forget();
    const log_file file = headers(ring(7), 3).make();
    if (!file.extend_to(size)) GTEST_SKIP() << "file offsets of 32 bits end at 2 GiB";
    EXPECT_EQ(validation().back(), "100 TRACE:File FILE isn't corrupted\n");
    EXPECT_EQ(vesk_file_sanity[7], 0u);
  }
}

TEST_F(Validate, file_is_closed_before_it_is_removed) {
  const log_file file = three_entries().version(2).make();
  fault_plan faults;
  uint32_t closed = untouched;
  platform.on_call = [&](const std::string &call) {
    if (call.starts_with("execute_program_and_let_go(/bin/rm")) closed = faults.count(call::close);
  };
  EXPECT_EQ(vesk_validate_files(), 0);
  EXPECT_EQ(closed, 1u);
}

// --- kernel logs ---

TEST_F(Validate, kernel_logs_are_never_walked) {
  for (const uint32_t type : {21u, 22u}) {
    SCOPED_TRACE(type);
    platform.forget();
    vesk_file_sanity.fill(old_mark);
    const log_file file = ring(type).entry(1024, 8).damage(8).entry(1025, 8).make();
    const std::vector<uint8_t> before = file.bytes();
    fault_plan faults;
    EXPECT_EQ(validation(), (lines{"100 TRACE:No corruption check for kernel logs\n"}));
    EXPECT_EQ(vesk_file_sanity[type], 0u);
    EXPECT_EQ(faults.count(call::read), 1u);
    EXPECT_EQ(faults.count(call::close), 1u);
    EXPECT_EQ(file.bytes(), before);
  }
}

TEST_F(Validate, kernel_logs_have_their_global_header_examined_like_any_other) {
  const log_file small = ring(21).patch(6, {0, 0}).make();
  const log_file big = ring(22).entry(1024, 8).end(52).make();
  without_sweep();
  EXPECT_EQ(vesk_validate_files(), 0);
  EXPECT_EQ(vesk_file_sanity[21], 3u);
  EXPECT_EQ(vesk_file_sanity[22], 0u);
  EXPECT_EQ(platform.calls,
            (lines{"execute_program_and_let_go(/bin/rm, /mnt/vesk/kernel_big.log)"}));
}

// --- what the corruption check finds ---

TEST_F(Validate, broken_chain_marks_the_file) {
  const log_file file = ring(7).entry(1024, 8).damage(24).entry(1025, 8).make();
  const std::vector<uint8_t> before = file.bytes();
  without_sweep();
  fault_plan faults;
  EXPECT_EQ(validation(),
            lines({"100 TRACE:Going to check if file is corruptedFILE.\n",
                   "100 TRACE:vesk_check_file_corrupted start 20 end 100 max 8192 \n",
                   "100 TRACE:checking  100 entries from start 20\n",
                   "101 ERROR: vesk_check_file_corrupted start 20 end 100 max 8192 \n",
                   "101 ERROR: Bad ehdr at offset at start 48 entry count 1\n",
                   "101 ERROR: File FILE had internal error or is corrupted 2.\n"}) +
                no_sweep);
  EXPECT_EQ(vesk_file_sanity[7], 3u);
  EXPECT_EQ(file.bytes(), before);
  EXPECT_EQ(faults.count(call::close), 1u);
}

TEST_F(Validate, entry_that_cannot_be_read_marks_the_file) {
  const log_file file = three_entries().make();
  without_sweep();
  fault_plan faults;
  faults.fail(call::lseek, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_validate_files(), 0);
  EXPECT_EQ(vesk_file_sanity[7], 3u);
  EXPECT_EQ(errors(), (log_lines{error("ERROR: vesk_check_file_corrupted start 20 end 104 max 8192 "
                                       "\n"),
                                 error("ERROR: lseek failed to seek at start 20, errno = 5\n"),
                                 error("ERROR: File FILE had internal error or is corrupted 3.\n"),
                                 error("ERROR: Cannot recover vesk file due to bootflash "
                                       "failure.\n")}));
}

TEST_F(Validate, empty_ring_elsewhere_marks_the_file) {
  const log_file file = three_entries().start(48).end(48).make();
  without_sweep();
  EXPECT_EQ(vesk_validate_files(), 0);
  EXPECT_EQ(vesk_file_sanity[7], 3u);
  EXPECT_EQ(errors()[1], error("ERROR: File FILE had internal error or is corrupted 2.\n"));
}

TEST_F(Validate, unreadable_first_slot_removes_the_file_without_another_word) {
  const log_file file = headers(ring(7).entry({.type = 2000, .usecs = 1}).start_here(), 1).make();
  fault_plan faults;
  faults.fail(call::read, nth(3), returns{-1}, with{EFAULT});
  EXPECT_EQ(validation(), lines({"100 TRACE:Going to check if file is corruptedFILE.\n",
                                 "100 TRACE:vesk_check_file_corrupted start 40 end 60 max 8192 \n",
                                 "100 TRACE:checking  100 entries from start 40\n",
                                 "101 ERROR: vesk_check_file_corrupted start 40 end 60 max 8192 \n",
                                 "100 TRACE:checking  entries from beginning 20\n",
                                 "101 ERROR: ehdr read at beginning 20 failed errno 14\n"}) +
                              removal);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(faults.count(call::close), 1u);
}

TEST_F(Validate, one_two_and_three_are_the_reasons_that_set_a_mark) {
  for (const uint32_t reason : {1u, 2u, 3u}) {
    SCOPED_TRACE(reason);
    platform.reset();
    without_sweep();
    vesk_file_sanity[7] = old_mark;
    checked = {.result = -1, .reason = reason};
    const log_file file = three_entries().make();
    EXPECT_EQ(vesk_validate_files(), 0);
    EXPECT_EQ(vesk_file_sanity[7], reason == 1 ? 0u : 3u);
    EXPECT_EQ(platform.calls.size(), reason == 1 ? 1u : 0u);
    EXPECT_EQ(errors().size(), reason == 1 ? 0u : 2u);
  }
}

TEST_F(Validate, any_other_reason_keeps_the_mark_that_was_there) {
  for (const uint32_t reason : {4u, 77u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(reason);
    platform.reset();
    without_sweep();
    vesk_file_sanity[7] = old_mark;
    checked = {.result = 1, .reason = reason};
    const log_file file = three_entries().make();
    EXPECT_EQ(validation(), lines({"100 TRACE:Going to check if file is corruptedFILE.\n",
                                   "101 ERROR: File FILE had internal error or is corrupted " +
                                       std::to_string(static_cast<int32_t>(reason)) + ".\n"}) +
                                no_sweep);
    EXPECT_EQ(vesk_file_sanity[7], old_mark);
  }
}

// The sweep is called all the same, and finds no mark.
TEST_F(Validate, any_other_reason_after_start_up_leaves_nothing_to_sweep) {
  vesk_file_sanity.fill(0);
  checked = {.result = -1, .reason = 4};
  const log_file file = three_entries().make();
  const std::vector<uint8_t> before = file.bytes();
  EXPECT_EQ(validation(), lines({"100 TRACE:Going to check if file is corruptedFILE.\n",
                                 "101 ERROR: File FILE had internal error or is corrupted 4.\n",
                                 "runctl_heartbeat(1)", "runctl_heartbeat(0)"}));
  EXPECT_EQ(file.bytes(), before);
}

TEST_F(Validate, sound_file_is_clean_whatever_the_reason_holds) {
  checked = {.result = 0, .reason = 2};
  const log_file file = three_entries().damage(8).make();
  EXPECT_EQ(validation(), (lines{"100 TRACE:Going to check if file is corruptedFILE.\n",
                                 "100 TRACE:File FILE isn't corrupted\n"}));
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

// --- the sweep at the end ---

TEST_F(Validate, sweep_runs_once_and_after_all_files_were_looked_at) {
  const log_file third = ring(3).entry(linked(1024, 8, 20)).max(0x1FFF0).make();
  const log_file seventh = three_entries().version(2).make();
  const log_file last = ring(36).entry(linked(1024, 8, 20)).max(0x3FFF0).make();
  EXPECT_EQ(vesk_validate_files(), 0);
  EXPECT_EQ(
      platform.calls,
      (lines{"execute_program_and_let_go(/bin/rm, "
             "/mnt/vesk/temperature_err.log)",
             "runctl_heartbeat(1)", "execute_program_and_let_go(/bin/rm, /mnt/vesk/kyte.log)",
             "execute_program_and_let_go(/bin/rm, /mnt/vesk/btcm.log)", "runctl_heartbeat(0)"}));
  EXPECT_EQ(errors(), (log_lines{error("ERROR: max 131056 is greater than file max 131072end 48 is "
                                       "greater than maxstart 20 is greater than max"),
                                 error("ERROR: Version mismatch in gheader, deleting the file "
                                       "FILE\n"),
                                 error("ERROR: max 262128 is greater than file max 262144end 48 is "
                                       "greater than maxstart 20 is greater than max"),
                                 error("ERROR: Max file size 1fff0 is not equal to the max allowed "
                                       "size 20000 fname /mnt/vesk/kyte.log"),
                                 error("ERROR: Removing file /mnt/vesk/kyte.log.\n"),
                                 error("ERROR: Max file size 3fff0 is not equal to the max allowed "
                                       "size 40000 fname /mnt/vesk/btcm.log"),
                                 error("ERROR: Removing file /mnt/vesk/btcm.log.\n")}));
  for (uint32_t type = 0; type < 64; ++type) EXPECT_EQ(vesk_file_sanity[type], 0u) << type;
}

TEST_F(Validate, removals_alone_are_no_reason_to_sweep) {
  const log_file third = ring(3).version(2).make();
  const log_file seventh = three_entries().end(108).make();
  EXPECT_EQ(vesk_validate_files(), 0);
  EXPECT_EQ(platform.calls,
            (lines{"execute_program_and_let_go(/bin/rm, /mnt/vesk/kyte.log)",
                   "execute_program_and_let_go(/bin/rm, /mnt/vesk/temperature_err.log)"}));
}

}  // namespace
}  // namespace vesk::test

extern "C" {

int32_t __real_vesk_check_file_corrupted(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                                         uint32_t *reason);

int32_t __wrap_vesk_check_file_corrupted(int32_t fd, uint32_t start, uint32_t end, uint32_t max,
                                         uint32_t *reason) {
  const auto &answer = vesk::test::checked;
  if (!answer) return __real_vesk_check_file_corrupted(fd, start, end, max, reason);
  if (answer->reason) *reason = *answer->reason;
  return answer->result;
}

}  // extern "C"
