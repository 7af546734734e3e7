#include "daemon/vesk_flash_control.h"

#include <sys/stat.h>

#include <cerrno>

#include "format/vesk_catalogue.h"
#include "store/vesk_state.h"
#include "tests/support/faults.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

namespace {

const lines exception_calls = {"ipq_send(7, 0xFE000001, 0, 7000, payload, 330, handle, null, 0)",
                               "ipq_drop(7, handle)"};

}  // namespace

// The status of a file.

struct Stat : daemon_test {
  struct stat st {};
  int left_in_errno = 0;

  int32_t stat_of(const char *path) {
    errno = 0;
    const int32_t result = vesk_stat_fs(path, &st);
    left_in_errno = errno;
    return result;
  }
};

TEST_F(Stat, gives_the_status_of_a_file_that_is_there) {
  write_file("/mnt/vesk/vesk.log", zeros(33));
  EXPECT_EQ(stat_of("/mnt/vesk/vesk.log"), 0);
  EXPECT_EQ(st.st_size, 33);
  EXPECT_EQ(platform.journal, lines());
}

TEST_F(Stat, a_missing_file_is_no_reason_to_remount) {
  EXPECT_EQ(stat_of("/mnt/vesk/vesk.log"), -1);
  EXPECT_EQ(left_in_errno, ENOENT);
  EXPECT_EQ(platform.journal, lines());
}

TEST_F(Stat, any_failure_but_an_io_error_is_no_reason_to_remount) {
  fault_plan plan;
  plan.fail(call::stat, nth(1), returns{-1}, with{EACCES});
  EXPECT_EQ(stat_of("/mnt/vesk/vesk.log"), -1);
  EXPECT_EQ(left_in_errno, EACCES);
  EXPECT_EQ(platform.journal, lines());
}

TEST_F(Stat, an_io_error_remounts_and_is_still_reported) {
  write_file("/mnt/vesk/vesk.log", zeros(33));
  fault_plan plan;
  plan.fail(call::stat, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(stat_of("/mnt/vesk/vesk.log"), -1);
  EXPECT_EQ(left_in_errno, EIO);
  EXPECT_EQ(platform.journal, remount);
  EXPECT_EQ(plan.journal(), "stat /mnt/vesk/vesk.log, stat /kyte_mounted");
}

TEST_F(Stat, an_io_error_while_the_flash_is_not_mounted_does_not_remount) {
  unmount();
  fault_plan plan;
  plan.fail(call::stat, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(stat_of("/mnt/vesk/vesk.log"), -1);
  EXPECT_EQ(left_in_errno, EIO);
  EXPECT_EQ(platform.journal, lines());
  EXPECT_EQ(remount_count, 0);
}

TEST_F(Stat, a_success_with_a_stale_io_error_does_not_remount) {
  write_file("/mnt/vesk/vesk.log", zeros(33));
  errno = EIO;
  EXPECT_EQ(vesk_stat_fs("/mnt/vesk/vesk.log", &st), 0);
  EXPECT_EQ(platform.journal, lines());
}

// The remount.

struct Remount : daemon_test {};

TEST_F(Remount, unmounts_and_starts_the_mount_program) {
  EXPECT_EQ(vesk_remount_fs(), 0);
  EXPECT_EQ(platform.journal, remount);
  EXPECT_EQ(remount_count, 1);
}

TEST_F(Remount, returns_what_starting_the_mount_program_returned) {
  for (const int32_t result : {-1, 5}) {
    platform.next("execute_program_and_let_go", result);
    EXPECT_EQ(vesk_remount_fs(), result);
  }
}

TEST_F(Remount, goes_on_when_removing_the_marker_and_unmounting_fail) {
  platform.next("execute_program_and_wait", -1);
  platform.next("execute_program_and_wait", 32);
  EXPECT_EQ(vesk_remount_fs(), 0);
  EXPECT_EQ(platform.journal, remount);
}

TEST_F(Remount, does_nothing_without_the_marker_of_a_mounted_flash) {
  unmount();
  EXPECT_EQ(vesk_remount_fs(), -1);
  EXPECT_EQ(platform.journal, lines());
  EXPECT_EQ(remount_count, 0);
}

TEST_F(Remount, keeps_errno) {
  errno = EIO;
  vesk_remount_fs();
  EXPECT_EQ(errno, EIO);

  unmount();
  errno = EIO;
  vesk_remount_fs();
  EXPECT_EQ(errno, EIO);
}

TEST_F(Remount, the_first_three_are_silent_and_each_later_one_is_reported_first) {
  for (int i = 0; i < 3; ++i) vesk_remount_fs();
  EXPECT_EQ(platform.journal, remount + remount + remount);
  EXPECT_EQ(remount_count, 3);

  for (int number = 4; number <= 6; ++number) {
    platform.forget();
    vesk_remount_fs();
    EXPECT_EQ(platform.journal, exception_calls + remount);
    EXPECT_EQ(remount_count, number);
  }
}

TEST_F(Remount, remounts_that_the_missing_marker_forbids_do_not_count) {
  unmount();
  for (int i = 0; i < 10; ++i) vesk_remount_fs();
  write_file(VESK_MOUNT_MARKER, {});
  for (int i = 0; i < 3; ++i) vesk_remount_fs();
  EXPECT_EQ(platform.sent, std::vector<sent_message>());
}

TEST_F(Remount, the_report_names_the_flash) {
  remount_count = 3;
  fault_plan plan;
  plan.clock(0x5F000001, 0x000186A0);
  vesk_remount_fs();
  bytes expected = zeros(330);
  put(expected, 0, host32(0x40C90000));
  put(expected, 4, host16(48));
  put(expected, 6, {1});
  put(expected, 7, host32(0x40C90000));
  put(expected, 11, {'a'});
  put(expected, 24, host32(293));
  const std::string text = "Not able to mount filesystem on KYTE flash";
  put(expected, 28, bytes(text.begin(), text.end()));
  put(expected, 161, hex("5F 00 00 01 00 01 86 A0"));
  EXPECT_EQ(platform.sent, std::vector<sent_message>({{0xFE000001, 7000, expected}}));
}

// The exception report.

struct Exception : daemon_test {
  // The record's text field, all 127 bytes of it and the 6 unused ones behind.
  std::string text_field() const {
    const bytes &record = platform.sent.at(0).payload;
    return std::string(record.begin() + 28, record.begin() + 161);
  }
};

TEST_F(Exception, is_built_byte_for_byte) {
  fault_plan plan;
  plan.clock(0x01020304, 0x05060708);
  EXPECT_EQ(vesk_send_exception(9, 0x11223344, "ab"), 0);
  bytes expected = zeros(330);
  put(expected, 0, host32(0x11223344));
  put(expected, 4, host16(48));
  put(expected, 6, {9});
  put(expected, 7, host32(0x11223344));
  put(expected, 11, {0x61});
  put(expected, 24, host32(293));
  put(expected, 28, {'a', 'b'});
  put(expected, 161, hex("01 02 03 04 05 06 07 08"));
  EXPECT_EQ(platform.sent, std::vector<sent_message>({{0xFE000001, 7000, expected}}));
}

TEST_F(Exception, is_sent_past_the_event_history_and_its_handle_given_back) {
  vesk_send_exception(1, 2, "x");
  EXPECT_EQ(platform.journal, exception_calls);
}

TEST_F(Exception, that_cannot_be_sent_is_nobodys_failure) {
  platform.next("ipq_send", -1);
  platform.next("ipq_drop", -1);
  EXPECT_EQ(vesk_send_exception(1, 2, "x"), 0);
  EXPECT_EQ(platform.journal, exception_calls);
}

TEST_F(Exception, without_a_clock_carries_no_time) {
  fault_plan plan;
  plan.fail(call::gettimeofday, from(1), returns{-1}, with{EFAULT});
  EXPECT_EQ(vesk_send_exception(1, 2, "x"), 0);
  const bytes &record = platform.sent.at(0).payload;
  EXPECT_EQ(bytes(record.begin() + 161, record.end()), zeros(169));
}

TEST_F(Exception, without_a_text_carries_zeros) {
  vesk_send_exception(1, 2, nullptr);
  EXPECT_EQ(text_field(), std::string(133, '\0'));
}

TEST_F(Exception, text_of_126_characters_fits) {
  vesk_send_exception(1, 2, std::string(126, 'x').c_str());
  EXPECT_EQ(text_field(), std::string(126, 'x') + std::string(7, '\0'));
}

TEST_F(Exception, text_of_127_characters_fills_its_field) {
  vesk_send_exception(1, 2, std::string(127, 'x').c_str());
  EXPECT_EQ(text_field(), std::string(127, 'x') + std::string(6, '\0'));
}

TEST_F(Exception, longer_text_is_cut_at_127_characters) {
  vesk_send_exception(1, 2, (std::string(127, 'x') + "yyyyyyyyyy").c_str());
  EXPECT_EQ(text_field(), std::string(127, 'x') + std::string(6, '\0'));
}

// The removal of a log file.

struct Remove : daemon_test {};

TEST_F(Remove, is_started_and_traced) {
  vesk_remove_file("/mnt/vesk/vesk.log");
  EXPECT_EQ(platform.journal,
            lines({"execute_program_and_let_go(/bin/rm, /mnt/vesk/vesk.log)",
                   "100 TRACE: result of delete operation for file /mnt/vesk/vesk.log is 0\n"}));
}

TEST_F(Remove, a_failed_start_shows_in_the_trace_alone) {
  platform.next("execute_program_and_let_go", -1);
  vesk_remove_file("/mnt/vesk/btcm.log");
  EXPECT_EQ(
      platform.history,
      log_lines({trace("TRACE: result of delete operation for file /mnt/vesk/btcm.log is -1\n")}));
}

// The notice that the flash has failed.

struct FailNotice : daemon_test {
  void SetUp() override {
    daemon_test::SetUp();
    platform.slot = 5;
    vesk_module_id = 9;  // the slot is asked for again, not taken from here
    vesk_file_state.fill(VESK_LOGGING_ENABLED);
  }

  int32_t notice(const bytes &payload) {
    return vesk_ipq_hdlr_ruda_fail_notice(platform.message(6024, payload));
  }

  void expect_untouched() const {
    EXPECT_EQ(bootflash_failure_flag, 0u);
    for (const uint8_t state : vesk_file_state.slots) EXPECT_EQ(state, 1);
    for (const uint32_t mark : vesk_file_sanity.slots) EXPECT_EQ(mark, 0u);
  }
  void expect_flash_failed() const {
    EXPECT_EQ(bootflash_failure_flag, 1u);
    for (const uint8_t state : vesk_file_state.slots) EXPECT_EQ(state, 2);
    for (const uint32_t mark : vesk_file_sanity.slots) EXPECT_EQ(mark, 1u);
  }
};

TEST_F(FailNotice, for_the_flash_of_this_slot_disables_all_file_types) {
  EXPECT_EQ(notice(hex("00 00 00 03 00 00 00 05")), 0);
  expect_flash_failed();
  EXPECT_EQ(platform.journal, lines({"card_get_slot_num()"}));
}

TEST_F(FailNotice, overrides_pending_integrity_work) {
  vesk_file_sanity.fill(VESK_SANITY_CORRUPT);
  notice(hex("00 00 00 03 00 00 00 05"));
  expect_flash_failed();
}

TEST_F(FailNotice, for_another_slot_is_ignored) {
  EXPECT_EQ(notice(hex("00 00 00 03 00 00 00 06")), 0);
  EXPECT_EQ(notice(hex("00 00 00 03 00 00 00 09")), 0);
  expect_untouched();
}

TEST_F(FailNotice, for_a_slot_that_agrees_in_its_lowest_byte_only_is_ignored) {
  EXPECT_EQ(notice(hex("00 00 00 03 00 00 01 05")), 0);
  expect_untouched();
}

TEST_F(FailNotice, of_another_kind_is_ignored) {
  EXPECT_EQ(notice(hex("00 00 00 02 00 00 00 05")), 0);
  EXPECT_EQ(notice(hex("00 00 00 04 00 00 00 05")), 0);
  EXPECT_EQ(notice(hex("01 00 00 03 00 00 00 05")), 0);
  expect_untouched();
}

TEST_F(FailNotice, in_the_wrong_byte_order_is_ignored) {
  EXPECT_EQ(notice(hex("03 00 00 00 05 00 00 00")), 0);
  expect_untouched();
}

TEST_F(FailNotice, cut_short_is_ignored) {
  EXPECT_EQ(notice(hex("00 00 00 03")), 0);
  EXPECT_EQ(notice({}), 0);
  expect_untouched();
}

TEST_F(FailNotice, without_a_payload_is_refused) {
  EXPECT_EQ(vesk_ipq_hdlr_ruda_fail_notice(platform.message_without_payload(6024)), -1);
  expect_untouched();
  EXPECT_EQ(platform.journal,
            lines({"101 ERROR: vesk_ipq_hdlr_ruda_fail_notice ipq_payload_get failed\n"}));
}

TEST_F(FailNotice, a_slot_that_cannot_be_read_counts_as_0) {
  platform.always("card_get_slot_num", -1);
  EXPECT_EQ(notice(hex("00 00 00 03 00 00 00 05")), 0);
  expect_untouched();
  EXPECT_EQ(notice(hex("00 00 00 03 00 00 00 00")), 0);
  expect_flash_failed();
}

TEST_F(FailNotice, the_flag_outlives_any_later_notice) {
  notice(hex("00 00 00 03 00 00 00 05"));
  notice(hex("00 00 00 00 00 00 00 05"));
  expect_flash_failed();
}

}  // namespace vesk::test
