#include "daemon/vesk_start.h"

#include <algorithm>
#include <cerrno>

#include "daemon/vesk_debug.h"
#include "daemon/vesk_flash_control.h"
#include "daemon/vesk_mount_check.h"
#include "daemon/vesk_send.h"
#include "daemon/vesk_timer.h"
#include "store/vesk_state.h"
#include "tests/support/faults.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

namespace {

const lines signals = {"sigaction(SIGTERM, vesk_sigterm_handler, empty mask, 0)",
                       "signal(SIGCHLD, SIG_IGN)", "100 TRACE:Registered Signal Handlers.\n"};
const lines bind = {"ipq_bind(1, 1016, \"Sup Persitent Logging Daemon\")"};
const lines bound = signals + bind + lines{"100 TRACE:Ipq Bind Done Queue 7.\n"};
const lines registered =
    bound +
    lines{
        "dbgkit_dbg_init(7, \"vesk_sup\", \"Sup Persitent Logging Daemon\", 2, "
        "{\"trace\", \"error\"}, 0, 0, 0)",
        "dbgkit_sys_init_helper(7, \"vesk_sup\", \"Sup Persitent Logging Daemon\", 1680, 0, 0, "
        "0)",
        "dbgkit_hist_init(16384)",
        "dbgkit_hist_init_for_uuid(115, 16384)",
        "dbgkit_hist_set_event_subtype(0x00730000, 101, 1)",
        "runctl_handshake(7, 293)",
        "100 TRACE:runctl handshake done.\n",
        "runctl_last_pid_get()"};

// Up to the timer, as a first start or as a restart of process `pid`.
lines managed(int pid) {
  return registered + lines{"100 TRACE:Vesk Restarted " + std::to_string(pid) + ".\n"};
}

const lines timers = {"tg_create_group(\"Vesk Timers\")", "tg_create_timer(31, 1, 0, 1)",
                      "tg_start_timer(32, {5, 0})"};
const lines heartbeat = {"runctl_heartbeat(0)"};
const lines timers_done = {"100 TRACE:Timer Creation Successful.\n", "card_get_slot_num()"};
const lines slot_done = {"100 TRACE:Got card slot num 5\n",
                         "100 TRACE:Initialize vesk_file_state data.\n"};
const lines before_loop = {"100 TRACE:Going to infinite loop \n"};

const lines migration = {
    "exec_cmd_with_files_print(\"/bin/mv /mnt/qvd/vesk/* /mnt/vesk/\", 0, \"/dev/null\", "
    "\"/dev/null\", 0)",
    "rmdir(/mnt/qvd/vesk/)", "sync()"};

// All that a good start tells and asks for before it looks at the log directory.
lines good_start(int pid) {
  return managed(pid) + timers + up_sent + heartbeat + timers_done + slot_done;
}

}  // namespace

struct Start : daemon_test {
  void SetUp() override {
    daemon_test::SetUp();
    ipq_q = 0;
    platform.slot = 5;
  }

  // Most tests start again after process 4711, since a first start goes on to look at every file.
  void restart() { platform.always("runctl_last_pid_get", 4711); }

  void expect_ends(int32_t status, const lines &journal) {
    EXPECT_EQ(vesk_start_up(), status);
    EXPECT_EQ(platform.journal, journal);
  }
};

// The good start.

TEST_F(Start, a_restart_does_all_this_in_this_order) {
  restart();
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(platform.journal, good_start(4711) + before_loop + up_sent);
  EXPECT_EQ(platform.bind_block, (std::array<uint32_t, 6>{1, 1, 400, 293, 0, 15}));
}

// What lies between the two parts is the look at every file.
TEST_F(Start, a_first_start_begins_and_ends_like_a_restart) {
  EXPECT_EQ(vesk_start_up(), 0);
  const lines begin = good_start(0);
  const lines end = before_loop + up_sent;
  ASSERT_GE(platform.journal.size(), begin.size() + end.size());
  EXPECT_TRUE(std::equal(begin.begin(), begin.end(), platform.journal.begin()))
      << ::testing::PrintToString(platform.journal);
  EXPECT_TRUE(std::equal(end.rbegin(), end.rend(), platform.journal.rbegin()))
      << ::testing::PrintToString(platform.journal);
}

TEST_F(Start, a_first_start_without_files_looks_at_them_without_a_word) {
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(platform.journal, good_start(0) + before_loop + up_sent);
}

TEST_F(Start, a_first_start_judges_the_files_behind_the_log_directory_and_before_up) {
  write_file("/mnt/vesk/vesk.log", zeros(19));
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(
      platform.journal,
      good_start(0) +
          lines({"101 ERROR: /mnt/vesk/vesk.log exists, but size is less than Gheader size.\n",
                 "execute_program_and_let_go(/bin/rm, /mnt/vesk/vesk.log)",
                 "100 TRACE: result of delete operation for file /mnt/vesk/vesk.log is 0\n"}) +
          before_loop + up_sent);
}

TEST_F(Start, a_restart_trusts_the_files_as_they_are) {
  restart();
  write_file("/mnt/vesk/vesk.log", zeros(19));
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(platform.journal, good_start(4711) + before_loop + up_sent);
}

TEST_F(Start, keeps_what_the_platform_told) {
  restart();
  platform.always("runctl_handshake", 99);
  vesk_start_up();
  EXPECT_EQ(ipq_q, 7);
  EXPECT_EQ(vesk_sys_state, 99u);
  EXPECT_EQ(vesk_restarted, 4711u);
  EXPECT_EQ(vesk_tg_handle, 31u);
  EXPECT_EQ(vesk_module_id, 5);
  EXPECT_EQ(vesk_ctrl, 0u);
}

TEST_F(Start, enables_every_type_and_clears_every_mark_even_on_a_restart) {
  restart();
  vesk_file_state.fill(VESK_LOGGING_DISABLED);
  vesk_file_sanity.fill(VESK_SANITY_CORRUPT);
  vesk_start_up();
  for (const uint8_t state : vesk_file_state.slots) EXPECT_EQ(state, 1);
  for (const uint32_t mark : vesk_file_sanity.slots) EXPECT_EQ(mark, 0u);
}

TEST_F(Start, sends_up_twice_when_all_goes_well) {
  restart();
  vesk_start_up();
  EXPECT_EQ(platform.sent, std::vector<sent_message>(2, {0xFE000001, 1156, {}}));
  EXPECT_EQ(vesk_up_sent, 1);
  EXPECT_EQ(vesk_up_sent_retry_count, 0);
}

TEST_F(Start, the_first_tick_makes_the_mount_check) {
  restart();
  issu_seen = 1;
  vesk_start_up();
  EXPECT_EQ(platform.journal, managed(4711) + timers + up_sent + heartbeat + mount_after_upgrade +
                                  timers_done + slot_done + before_loop + up_sent);
}

// The steps that end it.

TEST_F(Start, without_its_sigterm_handler_it_ends_with_2) {
  platform.next("sigaction", -1, EINVAL);
  expect_ends(2, {signals[0], "101 ERROR: Failed sigaction for signal SIGTERM\n"});
}

TEST_F(Start, a_failed_ignore_of_sigchld_does_not_end_it) {
  restart();
  platform.next("signal", -1);
  EXPECT_EQ(vesk_start_up(), 0);
}

TEST_F(Start, without_its_access_point_it_ends_with_4) {
  platform.next("ipq_bind", -1);
  expect_ends(4, signals + bind + lines{"101 ERROR: Failed to bind IPQ SAP.\n"});
  EXPECT_EQ(ipq_q, -1);
}

TEST_F(Start, queue_0_is_bound) {
  restart();
  platform.next("ipq_bind", 0);
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(ipq_q, 0);
}

TEST_F(Start, without_the_debug_wrapper_it_ends_with_5_and_no_message) {
  platform.next("dbgkit_dbg_init", 1);
  expect_ends(5, lines(registered.begin(), registered.begin() + 6));
}

TEST_F(Start, without_syslog_it_ends_with_5_and_no_message) {
  platform.next("dbgkit_sys_init_helper", 1);
  expect_ends(5, lines(registered.begin(), registered.begin() + 7));
}

TEST_F(Start, without_a_timer_group_it_ends_with_6) {
  platform.next("tg_create_group", 0);
  expect_ends(6, managed(0) + lines{timers[0], "101 ERROR: Failed to create timer group\n"});
}

TEST_F(Start, without_a_timer_it_ends_with_6) {
  platform.next("tg_create_timer", 0);
  expect_ends(
      6, managed(0) + lines{timers[0], timers[1], "101 ERROR: Failed to create timer group\n"});
}

TEST_F(Start, a_timer_that_does_not_start_is_destroyed_and_ends_it_with_6) {
  for (const int32_t result : {0, 2, -1}) {
    platform.forget();
    platform.next("tg_start_timer", result);
    EXPECT_EQ(vesk_start_up(), 6);
    EXPECT_EQ(lines(platform.calls.end() - 4, platform.calls.end()),
              timers + lines{"tg_destroy_timer(32)"});
    EXPECT_EQ(platform.history.back(), error("ERROR: Failed to create timer group\n"));
  }
}

TEST_F(Start, without_its_slot_it_ends_with_8) {
  platform.next("card_get_slot_num", -1, ENODEV);
  expect_ends(8, managed(0) + timers + up_sent + heartbeat + timers_done +
                     lines{"101 ERROR: Failed to get card slot num  errno 19\n"});
}

TEST_F(Start, any_result_but_0_means_that_the_slot_is_unknown) {
  platform.next("card_get_slot_num", 1, ENODEV);
  EXPECT_EQ(vesk_start_up(), 8);
}

// The log directory.

TEST_F(Start, an_old_log_directory_is_moved_into_the_new_one) {
  restart();
  make_dir("/mnt/qvd/vesk");
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(platform.journal, good_start(4711) + migration + before_loop + up_sent);
}

TEST_F(Start, results_of_the_move_are_ignored) {
  restart();
  make_dir("/mnt/qvd/vesk");
  platform.next("exec_cmd_with_files_print", -1);
  platform.next("rmdir", -1, ENOTEMPTY);
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(platform.journal, good_start(4711) + migration + before_loop + up_sent);
}

TEST_F(Start, a_missing_log_directory_is_logged_and_nothing_is_moved) {
  restart();
  remove_all("/mnt/vesk");
  make_dir("/mnt/qvd/vesk");
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(platform.journal, good_start(4711) +
                                  lines{"101 ERROR: Failed to stat dir /mnt/vesk/ 2\n"} +
                                  before_loop + up_sent);
  EXPECT_EQ(vesk_ctrl, 1u);
}

// The first look at the file system is the mount check's.
TEST_F(Start, any_other_failure_at_the_log_directory_is_passed_over) {
  restart();
  make_dir("/mnt/qvd/vesk");
  fault_plan plan;
  plan.fail(call::stat, nth(2), returns{-1}, with{EACCES});
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(platform.journal, good_start(4711) + before_loop + up_sent);
  EXPECT_EQ(plan.journal(), "stat /vamo-upgrade/vamo.bin, stat /mnt/vesk/");
  EXPECT_EQ(vesk_ctrl, 0u);
}

TEST_F(Start, an_io_error_at_the_log_directory_remounts_and_is_passed_over) {
  restart();
  fault_plan plan;
  plan.fail(call::stat, nth(2), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(platform.journal, good_start(4711) + remount + before_loop + up_sent);
  EXPECT_EQ(vesk_ctrl, 0u);
}

TEST_F(Start, an_io_error_at_the_old_directory_remounts_and_moves_nothing) {
  restart();
  make_dir("/mnt/qvd/vesk");
  fault_plan plan;
  plan.fail(call::stat, nth(3), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(plan.journal(),
            "stat /vamo-upgrade/vamo.bin, stat /mnt/vesk/, stat /mnt/qvd/vesk/, "
            "stat /kyte_mounted");
  EXPECT_EQ(remount_count, 1);
  EXPECT_EQ(std::count(platform.calls.begin(), platform.calls.end(), migration[0]), 0);
}

// UP that cannot be sent.

TEST_F(Start, up_is_tried_twice_and_both_failures_count) {
  restart();
  platform.always("ipq_send", -1, 11);
  EXPECT_EQ(vesk_start_up(), 0);
  EXPECT_EQ(platform.journal, managed(4711) + timers + up_failed + heartbeat + timers_done +
                                  slot_done + before_loop + up_failed);
  EXPECT_EQ(vesk_up_sent_retry_count, 2);
  EXPECT_EQ(vesk_up_sent, 0);
}

TEST_F(Start, the_ticks_after_it_try_up_four_times_more) {
  restart();
  platform.always("ipq_send", -1, 11);
  vesk_start_up();
  for (int i = 0; i < 10; ++i) vesk_handle_timer(VESK_HEARTBEAT_TIMER);
  EXPECT_EQ(platform.sent.size(), 6u);
}

TEST_F(Start, up_that_succeeds_at_the_second_attempt_is_not_sent_again) {
  restart();
  platform.next("ipq_send", -1, 11);
  vesk_start_up();
  EXPECT_EQ(vesk_up_sent, 1);
  EXPECT_EQ(vesk_up_sent_retry_count, 1);
  vesk_handle_timer(VESK_HEARTBEAT_TIMER);
  EXPECT_EQ(platform.sent.size(), 2u);
}

}  // namespace vesk::test
