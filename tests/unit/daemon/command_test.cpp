#include "daemon/vesk_command.h"

#include <cerrno>

#include "daemon/vesk_flash_control.h"
#include "store/vesk_state.h"
#include "tests/support/faults.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

namespace {

const lines removal = {"execute_program_and_let_go(/bin/rm, /mnt/vesk/vesk.log)",
                       "100 TRACE: result of delete operation for file /mnt/vesk/vesk.log is 0\n"};

}  // namespace

struct Command : daemon_test {
  static constexpr uint16_t enable = 1, disable = 2, clear = 3;

  void SetUp() override {
    daemon_test::SetUp();
    vesk_module_id = 6;
    vesk_file_state.fill(VESK_LOGGING_ENABLED);
    vesk_uuid_stat_table.fill({3, 96});
  }

  int32_t command(uint16_t number, uint16_t file_type) {
    return vesk_do_vesk_command(platform.message(1153, host16(number) + host16(file_type)));
  }

  void expect_answer(uint16_t number, uint16_t file_type, int32_t result) const {
    EXPECT_EQ(platform.sent,
              std::vector<sent_message>(
                  {{0xFE000000, 0,
                    host16(number) + host16(file_type) + host32(static_cast<uint32_t>(result))}}));
  }

  // All 64 types are in this state, except the one named.
  static void expect_states(uint8_t state, uint32_t but_type = 64, uint8_t but_state = 0) {
    for (uint32_t t = 0; t < 64; ++t) {
      EXPECT_EQ(vesk_file_state.slots[t], t == but_type ? but_state : state) << "type " << t;
    }
  }
  static void expect_statistics_kept() {
    for (const vesk_uuid_stat &row : vesk_uuid_stat_table) {
      ASSERT_TRUE(row.entry_count == 3 && row.byte_count == 96);
    }
  }
  static void expect_statistics_reset() {
    EXPECT_EQ(vesk_uuid_stat_table[0].entry_count, 3u);
    EXPECT_EQ(vesk_uuid_stat_table[0].byte_count, 96u);
    for (size_t uuid = 1; uuid <= 2736; ++uuid) {
      ASSERT_EQ(vesk_uuid_stat_table[uuid].entry_count, 0u) << uuid;
      ASSERT_EQ(vesk_uuid_stat_table[uuid].byte_count, 0u) << uuid;
    }
  }
};

// Enable and disable.

TEST_F(Command, disables_one_type) {
  EXPECT_EQ(command(disable, 5), 0);
  expect_states(1, 5, 2);
  expect_answer(disable, 5, 0);
  EXPECT_EQ(platform.journal, lines({"100 TRACE:req file type 5\n",
                                     "100 TRACE:VESK_DISABLE_LOGGING module 6 filetype 5\n",
                                     "ipq_send(7, 0xFE000000, 0, 0, payload, 8, null, msg 1, 0)",
                                     "dbgkit_hist_ipq_event(4, msg 1, 0, 0)"}));
}

TEST_F(Command, enables_one_type) {
  vesk_file_state.fill(VESK_LOGGING_DISABLED);
  EXPECT_EQ(command(enable, 5), 0);
  expect_states(2, 5, 1);
  expect_answer(enable, 5, 0);
  EXPECT_EQ(platform.history,
            log_lines({trace("TRACE:req file type 5\n"),
                       trace("TRACE:VESK_ENABLE_LOGGING module 6 filetype 5\n")}));
}

TEST_F(Command, disables_every_type_in_ascending_order) {
  EXPECT_EQ(command(disable, 0), 0);
  expect_states(2);
  expect_answer(disable, 0, 0);
  EXPECT_EQ(platform.history,
            log_lines({trace("TRACE:req file type 0\n")}) +
                numbered(64, trace("TRACE:VESK_DISABLE_LOGGING module 6 filetype %\n")));
}

TEST_F(Command, enables_every_type) {
  vesk_file_state.fill(VESK_LOGGING_DISABLED);
  EXPECT_EQ(command(enable, 0), 0);
  expect_states(1);
  expect_answer(enable, 0, 0);
  EXPECT_EQ(platform.history,
            log_lines({trace("TRACE:req file type 0\n")}) +
                numbered(64, trace("TRACE:VESK_ENABLE_LOGGING module 6 filetype %\n")));
}

TEST_F(Command, a_failed_flash_refuses_to_enable) {
  bootflash_failure_flag = 1;
  vesk_file_state.fill(VESK_LOGGING_DISABLED);
  EXPECT_EQ(command(enable, 5), -1);
  expect_states(2);
  expect_answer(enable, 5, -1);
  EXPECT_EQ(platform.history,
            log_lines({trace("TRACE:req file type 5\n"),
                       trace("TRACE:VESK_ENABLE_LOGGING module 6 filetype 5\n"),
                       error("ERROR: Cannot enable logging for filetype 5 due to bootflash "
                             "failure.\n")}));
}

TEST_F(Command, a_refused_enable_leaves_every_state_as_it_was) {
  bootflash_failure_flag = 1;
  vesk_file_state[9] = VESK_LOGGING_DISABLED;
  EXPECT_EQ(command(enable, 0), -1);
  expect_states(1, 9, 2);
  expect_answer(enable, 0, -1);
  EXPECT_EQ(platform.history.size(), 1u + 2 * 64);
  EXPECT_EQ(platform.history.back(),
            error("ERROR: Cannot enable logging for filetype 63 due to bootflash failure.\n"));
}

TEST_F(Command, a_failed_flash_does_not_refuse_to_disable) {
  bootflash_failure_flag = 1;
  EXPECT_EQ(command(disable, 5), 0);
  expect_states(1, 5, 2);
  expect_answer(disable, 5, 0);
}

TEST_F(Command, the_last_type_is_63) {
  EXPECT_EQ(command(disable, 63), 0);
  expect_states(1, 63, 2);
}

TEST_F(Command, types_beyond_the_table_are_answered_and_land_nowhere) {
  for (const uint16_t file_type : each<uint16_t>{64, 65, 1000, 65534}) {
    platform.forget();
    vesk_file_sanity.fill(0);
    EXPECT_EQ(command(disable, file_type), 0);
    expect_states(1);
    for (const uint32_t mark : vesk_file_sanity.slots) EXPECT_EQ(mark, 0u);
    expect_answer(disable, file_type, 0);
  }
}

TEST_F(Command, type_65535_is_handled_and_answered_once) {
  EXPECT_EQ(command(disable, 65535), 0);
  expect_states(1);
  expect_answer(disable, 65535, 0);
  EXPECT_EQ(platform.history,
            log_lines({trace("TRACE:req file type 65535\n"),
                       trace("TRACE:VESK_DISABLE_LOGGING module 6 filetype 65535\n")}));
}

// Unknown commands.

TEST_F(Command, an_unknown_command_is_answered_with_a_failure_and_returns_0) {
  for (const uint16_t number : each<uint16_t>{0, 4, 65535}) {
    platform.forget();
    EXPECT_EQ(command(number, 5), 0);
    expect_states(1);
    expect_answer(number, 5, -1);
    EXPECT_EQ(platform.history,
              log_lines({trace("TRACE:req file type 5\n"),
                         error("ERROR: req->command is not correct  returning error \n")}));
  }
  expect_statistics_kept();
}

TEST_F(Command, an_unknown_command_for_all_types_complains_64_times) {
  EXPECT_EQ(command(7, 0), 0);
  expect_answer(7, 0, -1);
  EXPECT_EQ(platform.history,
            log_lines({trace("TRACE:req file type 0\n")}) +
                log_lines(64, error("ERROR: req->command is not correct  returning error \n")));
}

// Clear.

TEST_F(Command, clears_a_file_and_the_statistics_but_row_0) {
  write_file("/mnt/vesk/vesk.log", zeros(20));
  vesk_file_state[5] = VESK_LOGGING_DISABLED;
  EXPECT_EQ(command(clear, 5), 0);
  expect_answer(clear, 5, 0);
  EXPECT_EQ(platform.journal,
            lines({"100 TRACE:req file type 5\n"}) + removal +
                lines({"100 TRACE:VESK_CLEAR_LOGGING result 0 module 6 filetype 5 \n",
                       "ipq_send(7, 0xFE000000, 0, 0, payload, 8, null, msg 1, 0)",
                       "dbgkit_hist_ipq_event(4, msg 1, 0, 0)"}));
  expect_statistics_reset();
  expect_states(1, 5, 2);  // clearing leaves the state alone
}

TEST_F(Command, the_statistics_are_reset_before_the_answer) {
  uint32_t at_answer = 1;
  platform.on_call = [&](const std::string &call) {
    if (call.starts_with("ipq_send")) at_answer = vesk_uuid_stat_table[2736].entry_count;
  };
  command(clear, 5);
  EXPECT_EQ(at_answer, 0u);
}

TEST_F(Command, clearing_a_file_that_is_not_there_succeeds) {
  EXPECT_EQ(command(clear, 5), 0);
  expect_answer(clear, 5, 0);
  EXPECT_EQ(platform.history,
            log_lines({trace("TRACE:req file type 5\n"),
                       trace("TRACE:VESK_CLEAR_LOGGING result 0 module 6 filetype 5 \n")}));
  expect_statistics_reset();
}

TEST_F(Command, clearing_a_type_without_a_file_fails_in_the_answer_alone) {
  for (const uint16_t file_type : each<uint16_t>{8, 64, 65535}) {
    const std::string number = std::to_string(file_type);
    platform.forget();
    EXPECT_EQ(command(clear, file_type), 0);
    expect_answer(clear, file_type, -1);
    EXPECT_EQ(platform.history,
              log_lines({trace("TRACE:req file type " + number + "\n"),
                         error("ERROR: couldn't get filename for file type " + number),
                         trace("TRACE:VESK_CLEAR_LOGGING result -1 module 6 filetype " + number +
                               " \n")}));
  }
  expect_statistics_kept();
}

TEST_F(Command, clearing_all_types_always_fails_and_keeps_the_statistics) {
  for (const char *name : {"exception.log", "vesk.log", "btcm.log"}) {
    write_file(std::string("/mnt/vesk/") + name, zeros(20));
  }
  EXPECT_EQ(command(clear, 0), 0);
  expect_answer(clear, 0, -1);
  expect_statistics_kept();

  lines launches;
  for (const std::string &call : platform.calls) {
    if (call.starts_with("execute")) launches.push_back(call);
  }
  EXPECT_EQ(launches, lines({"execute_program_and_let_go(/bin/rm, /mnt/vesk/exception.log)",
                             "execute_program_and_let_go(/bin/rm, /mnt/vesk/vesk.log)",
                             "execute_program_and_let_go(/bin/rm, /mnt/vesk/btcm.log)"}));
}

TEST_F(Command, clearing_all_types_traces_each_with_the_running_result) {
  command(clear, 0);
  const log_lines traces =
      numbered(64, trace("TRACE:VESK_CLEAR_LOGGING result -1 module 6 filetype % \n"));
  const std::set<size_t> with_file = {1, 2, 3, 4, 5, 6, 7, 21, 22, 25, 29, 30, 33, 34, 35, 36};
  log_lines expected = {trace("TRACE:req file type 0\n")};
  for (size_t t = 0; t < 64; ++t) {
    if (!with_file.contains(t)) {
      expected.push_back(error("ERROR: couldn't get filename for file type " + std::to_string(t)));
    }
    expected.push_back(traces[t]);
  }
  EXPECT_EQ(platform.history, expected);
}

TEST_F(Command, a_failed_flash_refuses_to_clear) {
  bootflash_failure_flag = 1;
  write_file("/mnt/vesk/vesk.log", zeros(20));
  EXPECT_EQ(command(clear, 5), 0);
  expect_answer(clear, 5, -1);
  EXPECT_EQ(platform.history,
            log_lines({trace("TRACE:req file type 5\n"),
                       error("ERROR: Couldn't clear /mnt/vesk/vesk.log due to bootflash "
                             "failure.\n"),
                       trace("TRACE:VESK_CLEAR_LOGGING result -1 module 6 filetype 5 \n")}));
  EXPECT_EQ(platform.calls.size(), 2u);  // the answer alone
  expect_statistics_kept();
}

TEST_F(Command, a_type_without_a_file_is_named_even_when_the_flash_has_failed) {
  bootflash_failure_flag = 1;
  EXPECT_EQ(vesk_clear_file(8), -1);
  EXPECT_EQ(platform.history, log_lines({error("ERROR: couldn't get filename for file type 8")}));
}

TEST_F(Command, what_is_not_a_regular_file_is_not_cleared) {
  make_dir("/mnt/vesk/vesk.log");
  EXPECT_EQ(vesk_clear_file(5), -1);
  EXPECT_EQ(platform.journal,
            lines({"101 ERROR: /mnt/vesk/vesk.log exists, but not a regular file."}));
}

TEST_F(Command, a_removal_that_could_not_be_started_still_counts_as_cleared) {
  write_file("/mnt/vesk/vesk.log", zeros(20));
  platform.next("execute_program_and_let_go", -1);
  EXPECT_EQ(vesk_clear_file(5), 0);
  EXPECT_EQ(platform.history,
            log_lines({trace("TRACE: result of delete operation for file /mnt/vesk/vesk.log is "
                             "-1\n")}));
}

TEST_F(Command, an_io_error_of_the_status_remounts_and_counts_as_cleared) {
  write_file("/mnt/vesk/vesk.log", zeros(20));
  fault_plan plan;
  plan.fail(call::stat, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_clear_file(5), 0);
  EXPECT_EQ(remount_count, 1);
  EXPECT_EQ(platform.history, log_lines({trace("TRACE:going to remount filesystem \n")}));
}

TEST_F(Command, only_a_clear_resets_the_statistics) {
  command(enable, 0);
  command(disable, 0);
  expect_statistics_kept();
}

// The message itself.

TEST_F(Command, without_a_payload_is_refused_without_an_answer) {
  EXPECT_EQ(vesk_do_vesk_command(platform.message_without_payload(1153)), -1);
  EXPECT_EQ(platform.journal, lines({"101 ERROR: vesk_main ipq_payload_get failed\n"}));
}

TEST_F(Command, a_command_cut_behind_its_number_is_for_all_types) {
  EXPECT_EQ(vesk_do_vesk_command(platform.message(1153, host16(disable))), 0);
  expect_states(2);
}

TEST_F(Command, an_answer_that_cannot_be_sent_is_logged_alone) {
  platform.next("ipq_send", -1);
  EXPECT_EQ(command(disable, 5), 0);
  EXPECT_EQ(platform.history.back(),
            error("ERROR: Failed to snd response to KYTE for IPQ_OPC_VESK_COMMAND\n"));

  bootflash_failure_flag = 1;
  platform.next("ipq_send", -1);
  EXPECT_EQ(command(enable, 5), -1);
}

}  // namespace vesk::test
