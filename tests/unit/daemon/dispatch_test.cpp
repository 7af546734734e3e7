#include "daemon/vesk_dispatch.h"

#include "daemon/vesk_flash_control.h"
#include "daemon/vesk_mount_check.h"
#include "format/vesk_catalogue.h"
#include "protocol/vesk_messages.h"
#include "store/vesk_state.h"
#include "tests/support/faults.h"
#include "tests/support/log_file.h"
#include "tests/support/record.h"
#include "tests/support/ring_builder.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

namespace {

const lines received = {"ipq_recv(7)", "dbgkit_hist_ipq_event(3, msg 1, 0, 0)"};
const lines offered = {"runctl_dispatch(msg 1)", "100 TRACE:Runctl did not handle ipq message\n"};
const lines arrived = received + offered;
const lines dropped = {"ipq_drop(7, msg 1)"};

lines answered(uint32_t length) {
  return {"ipq_send(7, 0xFE000000, 0, 0, payload, " + std::to_string(length) + ", null, msg 1, 0)",
          "dbgkit_hist_ipq_event(4, msg 1, 0, 0)"};
}

}  // namespace

struct Dispatch : daemon_test {
  void SetUp() override {
    daemon_test::SetUp();
    mount_check_pending = 0;
    vesk_file_state.fill(VESK_LOGGING_ENABLED);
  }

  int32_t dispatch(uint32_t opcode, const bytes &payload = {}) {
    platform.receive(opcode, payload);
    return vesk_dispatch_msg();
  }
  int32_t dispatch_without_payload(uint32_t opcode) {
    platform.receive_without_payload(opcode);
    return vesk_dispatch_msg();
  }
};

// Receiving.

TEST_F(Dispatch, receives_one_message_with_these_options) {
  platform.receive(1162, {});
  dispatch(1162);
  EXPECT_EQ(platform.recv_options, (std::array<uint32_t, 10>{1, 1}));
  EXPECT_EQ(platform.waiting.size(), 1u);
}

TEST_F(Dispatch, a_failed_receive_is_logged_with_the_services_own_error) {
  platform.next("ipq_recv", -1);
  platform.always("ipq_errno_get", 104);
  EXPECT_EQ(vesk_dispatch_msg(), -1);
  EXPECT_EQ(platform.history, log_lines({error("ERROR: vesk main ipq_recv failed 104\n")}));
  EXPECT_EQ(platform.calls[0], "ipq_recv(7)");
  for (size_t i = 1; i < platform.calls.size(); ++i) {
    EXPECT_EQ(platform.calls[i], "ipq_errno_get(7)");
  }
}

TEST_F(Dispatch, a_result_of_0_or_more_is_a_message) {
  platform.next("ipq_recv", 12);
  EXPECT_EQ(dispatch(1162), 0);
  EXPECT_EQ(platform.journal, arrived + dropped);
}

// The flash is not mounted.

TEST_F(Dispatch, without_the_marker_a_message_is_dropped_unseen) {
  unmount();
  EXPECT_EQ(dispatch(1151, record({.len = 5, .file_type = 5, .sync = 1}).bytes()), 0);
  EXPECT_EQ(platform.journal, received + dropped);
  EXPECT_FALSE(exists("/mnt/vesk/vesk.log"));
}

TEST_F(Dispatch, without_the_marker_even_a_failed_drop_is_silent) {
  unmount();
  platform.next("ipq_drop", -1);
  EXPECT_EQ(dispatch(1162), 0);
  EXPECT_EQ(platform.history, log_lines());
}

TEST_F(Dispatch, the_marker_is_looked_for_at_every_message) {
  unmount();
  dispatch(1162);
  write_file(VESK_MOUNT_MARKER, {});
  platform.forget();
  dispatch(1162);
  EXPECT_EQ(platform.calls[2], "runctl_dispatch(msg 2)");
}

TEST_F(Dispatch, the_mount_check_is_made_even_without_the_marker) {
  unmount();
  mount_check_pending = 1;
  issu_seen = 1;
  EXPECT_EQ(dispatch(1162), 0);
  EXPECT_EQ(platform.journal, received + mount_after_upgrade + dropped);
}

// The system manager comes first.

TEST_F(Dispatch, a_message_of_the_system_manager_is_dropped_at_its_wish) {
  platform.next("runctl_dispatch", 0);
  EXPECT_EQ(dispatch(1152), 0);
  EXPECT_EQ(platform.journal,
            received + lines({"runctl_dispatch(msg 1)", "100 TRACE:Runctl got the msg, drop\n"}) +
                dropped);
}

TEST_F(Dispatch, a_message_that_the_system_manager_keeps_is_not_dropped) {
  platform.next("runctl_dispatch", 1);
  EXPECT_EQ(dispatch(1152), 0);
  EXPECT_EQ(platform.journal, received + lines({"runctl_dispatch(msg 1)",
                                                "100 TRACE:Runctl got the msg, cannot drop\n"}));
}

TEST_F(Dispatch, with_any_other_answer_the_message_is_the_daemons) {
  for (const int32_t answer : {2, -1, 100}) {
    SetUp();
    platform.next("runctl_dispatch", answer);
    EXPECT_EQ(dispatch(1162), 0);
    EXPECT_EQ(platform.journal, arrived + dropped);
  }
}

// Log records.

TEST_F(Dispatch, a_stored_record_is_answered_with_1_before_it_is_dropped) {
  EXPECT_EQ(dispatch(1151, record({.len = 5, .file_type = 5, .sync = 1}).bytes()), 0);
  EXPECT_EQ(
      platform.journal,
      arrived +
          lines({"100 TRACE:Got an entry update message\n",
                 "101 ERROR: Error acquiring status for /mnt/vesk/vesk.log, errno 2",
                 "100 TRACE:Before: start 20 end 20 max 1048576 lastentry 20 space 49 file_type "
                 "5\n",
                 "100 TRACE:After: start 20 end 48 max 1048576 lastentry 20 space 49 file_type "
                 "5\n"}) +
          answered(4) + dropped);
  EXPECT_EQ(platform.sent, std::vector<sent_message>({{0xFE000000, 0, host32(1)}}));
}

TEST_F(Dispatch, a_refused_record_is_answered_with_0) {
  EXPECT_EQ(dispatch(1151, record({.len = 5, .file_type = 39, .sync = 1}).bytes()), -1);
  EXPECT_EQ(platform.journal, arrived +
                                  lines({"100 TRACE:Got an entry update message\n",
                                         "101 ERROR: Not a valid file type 39"}) +
                                  answered(4) + dropped);
  EXPECT_EQ(platform.sent, std::vector<sent_message>({{0xFE000000, 0, host32(0)}}));
}

TEST_F(Dispatch, only_sync_1_and_2_are_answered) {
  for (int sync = 0; sync < 256; ++sync) {
    platform.forget();
    dispatch(1151, record({.len = 5, .file_type = 5, .sync = static_cast<uint8_t>(sync)}).bytes());
    EXPECT_EQ(platform.sent.size(), sync == 1 || sync == 2 ? 1u : 0u) << "sync " << sync;
  }
}

TEST_F(Dispatch, a_record_without_an_answer_is_stored_all_the_same) {
  EXPECT_EQ(dispatch(1151, record({.len = 5, .file_type = 5, .sync = 3}).bytes()), 0);
  EXPECT_EQ(log_file("/mnt/vesk/vesk.log").picture(), "E1024/8 start=20 end=48");
}

TEST_F(Dispatch, an_answer_to_a_record_that_cannot_be_sent_is_not_logged) {
  platform.next("ipq_send", -1);
  dispatch(1151, record({.len = 5, .file_type = 39, .sync = 1}).bytes());
  EXPECT_EQ(platform.journal, arrived +
                                  lines({"100 TRACE:Got an entry update message\n",
                                         "101 ERROR: Not a valid file type 39", answered(4)[0]}) +
                                  dropped);
}

TEST_F(Dispatch, a_record_message_without_a_payload_is_dropped) {
  EXPECT_EQ(dispatch_without_payload(1151), 0);
  EXPECT_EQ(platform.journal, arrived +
                                  lines({"100 TRACE:Got an entry update message\n",
                                         "101 ERROR: vesk_main ipq_payload_get failed\n"}) +
                                  dropped);
}

TEST_F(Dispatch, a_record_cut_in_its_head_reads_as_zeros) {
  EXPECT_EQ(dispatch(1151, hex("00 19 04 00 00")), -1);
  EXPECT_EQ(platform.history.back(), error("ERROR: Not a valid file type 0"));
  EXPECT_EQ(platform.sent, std::vector<sent_message>());
}

TEST_F(Dispatch, a_record_whose_length_lies_is_filled_up_with_zeros) {
  bytes payload = record({.len = 8, .file_type = 5, .data = "hello"}).bytes();
  EXPECT_EQ(dispatch(1151, payload), 0);
  EXPECT_EQ(log_file("/mnt/vesk/vesk.log").hex(40, 8), "68 65 6c 6c  6f 00 00 00");
}

TEST_F(Dispatch, the_longest_record_is_stored_whole) {
  EXPECT_EQ(dispatch(1151, record({.len = 65535, .file_type = 5}).bytes()), 0);
  const log_file file("/mnt/vesk/vesk.log");
  EXPECT_EQ(file.size(), 20u + 20 + 65536);
  EXPECT_EQ(file.text(40, 65535), alphabet(65535));
}

// Statistics.

TEST_F(Dispatch, statistics_are_answered_with_the_whole_table) {
  vesk_uuid_stat_table[0] = {1, 2};
  vesk_uuid_stat_table[25] = {0x01020304, 0x05060708};
  vesk_uuid_stat_table[2736] = {3, 4};
  EXPECT_EQ(dispatch(1152), 0);
  EXPECT_EQ(platform.journal, arrived + lines({"100 TRACE:Got an get statistics message\n"}) +
                                  answered(21896) + dropped);
  bytes expected = zeros(21896);
  put(expected, 0, host32(1) + host32(2));
  put(expected, 200, host32(0x01020304) + host32(0x05060708));
  put(expected, 21888, host32(3) + host32(4));
  EXPECT_EQ(platform.sent, std::vector<sent_message>({{0xFE000000, 0, expected}}));
}

TEST_F(Dispatch, statistics_need_no_payload) {
  EXPECT_EQ(dispatch_without_payload(1152), 0);
  EXPECT_EQ(platform.sent.size(), 1u);
}

TEST_F(Dispatch, statistics_count_what_was_stored) {
  dispatch(1151, record({.uuid = 80, .len = 5, .file_type = 5}).bytes());
  dispatch(1151, record({.uuid = 80, .len = 8, .file_type = 5}).bytes());
  dispatch(1152);
  const bytes &table = platform.sent.at(0).payload;
  EXPECT_EQ(bytes(table.begin() + 640, table.begin() + 648), host32(2) + host32(56));
}

// Commands and the failure notice.

TEST_F(Dispatch, a_command_is_answered_before_it_is_dropped) {
  EXPECT_EQ(dispatch(1153, host16(2) + host16(5)), 0);
  EXPECT_EQ(platform.journal,
            arrived +
                lines({"100 TRACE:Got an VESK Command message\n", "100 TRACE:req file type 5\n",
                       "100 TRACE:VESK_DISABLE_LOGGING module 0 filetype 5\n"}) +
                answered(8) + dropped);
}

TEST_F(Dispatch, the_result_of_a_command_is_handed_back) {
  bootflash_failure_flag = 1;
  EXPECT_EQ(dispatch(1153, host16(1) + host16(5)), -1);
}

TEST_F(Dispatch, a_command_for_type_65535_is_answered_once) {
  EXPECT_EQ(dispatch(1153, host16(2) + host16(65535)), 0);
  EXPECT_EQ(platform.sent.size(), 1u);
}

TEST_F(Dispatch, a_failure_notice_disables_every_type_without_a_word) {
  platform.slot = 3;
  EXPECT_EQ(dispatch(6024, hex("00 00 00 03 00 00 00 03")), 0);
  EXPECT_EQ(platform.journal, arrived + lines({"card_get_slot_num()"}) + dropped);
  EXPECT_EQ(vesk_file_state[63], 2);
}

TEST_F(Dispatch, the_result_of_a_failure_notice_is_handed_back) {
  EXPECT_EQ(dispatch_without_payload(6024), -1);
  EXPECT_EQ(platform.journal.back(), dropped[0]);
}

// Configuration.

TEST_F(Dispatch, configuration_is_read_at_this_modules_slot) {
  vesk_module_id = 2;
  bytes payload = bytes(65, 1) + bytes(65, 0) + bytes(65, 1) + bytes(65, 0);
  payload[2 * 65 + 1 + 5] = 0;
  EXPECT_EQ(dispatch(1155, payload), 0);
  for (uint32_t t = 0; t < 64; ++t) EXPECT_EQ(vesk_file_state[t], t == 5 ? 2 : 1);
  EXPECT_EQ(platform.sent, std::vector<sent_message>());
}

TEST_F(Dispatch, configuration_is_announced_and_dropped) {
  dispatch(1155, bytes(65, 1));
  EXPECT_EQ(lines(platform.journal.begin(), platform.journal.begin() + 6),
            arrived + lines({"100 TRACE:Handle KYTE Config Data\n",
                             "100 TRACE:vesk_config_data.vesk_enable = 1\n"}));
  EXPECT_EQ(platform.journal.back(), dropped[0]);
}

TEST_F(Dispatch, configuration_shorter_than_this_modules_record_disables_everything) {
  vesk_module_id = 3;
  EXPECT_EQ(dispatch(1155, bytes(3 * 65, 1)), 0);
  for (uint32_t t = 0; t < 64; ++t) EXPECT_EQ(vesk_file_state[t], 2);
}

TEST_F(Dispatch, configuration_cut_within_this_modules_record_disables_the_rest) {
  vesk_module_id = 1;
  EXPECT_EQ(dispatch(1155, bytes(65 + 1 + 10, 1)), 0);
  for (uint32_t t = 0; t < 64; ++t) EXPECT_EQ(vesk_file_state[t], t < 10 ? 1 : 2);
}

TEST_F(Dispatch, configuration_reaches_the_highest_slot) {
  vesk_module_id = 255;
  EXPECT_EQ(dispatch(1155, zeros(255 * 65) + bytes(65, 1)), 0);
  for (uint32_t t = 0; t < 64; ++t) EXPECT_EQ(vesk_file_state[t], 1);
}

TEST_F(Dispatch, configuration_that_the_failed_flash_refuses_hands_back_the_failure) {
  bootflash_failure_flag = 1;
  EXPECT_EQ(dispatch(1155, bytes(65, 1)), -1);
}

TEST_F(Dispatch, configuration_without_a_payload_is_refused) {
  EXPECT_EQ(dispatch_without_payload(1155), -1);
  EXPECT_EQ(platform.journal, arrived +
                                  lines({"100 TRACE:Handle KYTE Config Data\n",
                                         "101 ERROR: vesk_main ipq_payload_get failed\n"}) +
                                  dropped);
}

// Recovery requests.

const lines swept = {"runctl_heartbeat(1)", "runctl_heartbeat(0)"};

TEST_F(Dispatch, a_recovery_request_without_the_flag_rebuilds_the_global_header) {
  const log_file file = ring(7).entry(1024, 40).make();
  EXPECT_EQ(dispatch(1158, host32(7) + host32(0)), 0);
  const lines begun =
      arrived + lines({"100 TRACE:Handle Recover Corrupt file\n", "runctl_heartbeat(1)",
                       "100 TRACE:Going to recover corrupted file "
                       "/mnt/vesk/temperature_err.log.\n",
                       "100 TRACE:Going to for first pass ghdr recovery "
                       "/mnt/vesk/temperature_err.log.\n"});
  ASSERT_GE(platform.journal.size(), begun.size());
  EXPECT_EQ(lines(platform.journal.begin(),
                  platform.journal.begin() + static_cast<ptrdiff_t>(begun.size())),
            begun);
  EXPECT_EQ(platform.journal.back(), dropped[0]);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
  EXPECT_EQ(platform.sent, std::vector<sent_message>());
}

TEST_F(Dispatch, a_recovery_request_with_the_flag_repairs_the_entry_headers) {
  const log_file file = ring(7).entry({.size = 40, .prev_size = 20}).make();
  EXPECT_EQ(dispatch(1158, host32(7) + host32(0x100)), 0);
  EXPECT_EQ(platform.journal,
            arrived +
                lines({"100 TRACE:Handle Recover Corrupt file\n", "runctl_heartbeat(1)",
                       "100 TRACE:Going to recover corrupted file /mnt/vesk/temperature_err.log.\n",
                       "101 eheader recovery start 20 end 80 max 8192.\n",
                       "100 TRACE:File /mnt/vesk/temperature_err.log recovery was successful \n",
                       "runctl_heartbeat(0)"}) +
                dropped);
  EXPECT_EQ(vesk_file_sanity[7], 0u);
}

TEST_F(Dispatch, a_recovery_request_for_a_type_without_a_file_clears_its_mark) {
  EXPECT_EQ(dispatch(1158, host32(63) + host32(1)), 0);
  EXPECT_EQ(platform.journal,
            arrived +
                lines({"100 TRACE:Handle Recover Corrupt file\n", "runctl_heartbeat(1)",
                       "101 ERROR: construct filename failed for file type 63\n",
                       "runctl_heartbeat(0)"}) +
                dropped);
  EXPECT_EQ(vesk_file_sanity[63], 0u);
}

// The type is an index that nobody checks; a stray one lands nowhere.
TEST_F(Dispatch, a_recovery_request_for_a_stray_type_harms_nothing) {
  for (const uint32_t type : {64u, 65536u, 0x40000000u, 0xFFFFFFFFu}) {
    platform.forget();
    EXPECT_EQ(dispatch(1158, host32(type) + host32(0)), 0);
    EXPECT_EQ(platform.journal.back().substr(0, 8), "ipq_drop");
    EXPECT_EQ(lines(platform.journal.end() - 3, platform.journal.end() - 1), swept);
    for (const uint32_t mark : vesk_file_sanity.slots) EXPECT_EQ(mark, 0u);
  }
}

TEST_F(Dispatch, a_recovery_request_is_refused_once_the_flash_has_failed) {
  bootflash_failure_flag = 1;
  const log_file file = ring(7).entry(1024, 40).make();
  EXPECT_EQ(dispatch(1158, host32(7) + host32(0)), 0);
  EXPECT_EQ(platform.journal,
            arrived +
                lines({"100 TRACE:Handle Recover Corrupt file\n",
                       "101 ERROR: Cannot recover vesk file due to bootflash failure.\n"}) +
                dropped);
  EXPECT_EQ(vesk_file_sanity[7], 3u);
}

TEST_F(Dispatch, a_recovery_request_without_a_payload_does_nothing_else) {
  EXPECT_EQ(dispatch_without_payload(1158), 0);
  EXPECT_EQ(platform.journal, arrived +
                                  lines({"100 TRACE:Handle Recover Corrupt file\n",
                                         "101 ERROR: vesk_main ipq_payload_get failed\n"}) +
                                  dropped);
}

// The rest.

TEST_F(Dispatch, two_opcodes_are_accepted_and_dropped) {
  for (const uint32_t opcode : {1162u, 1165u}) {
    SetUp();
    EXPECT_EQ(dispatch(opcode, {1, 2, 3, 4}), 0);
    EXPECT_EQ(platform.journal, arrived + dropped);
  }
}

TEST_F(Dispatch, any_other_message_is_offered_to_the_debug_wrapper) {
  EXPECT_EQ(dispatch(60001), 0);
  EXPECT_EQ(platform.journal, arrived + lines({"dbgkit_process_msg(7, msg 1)"}) + dropped);
}

TEST_F(Dispatch, what_the_debug_wrapper_refuses_is_logged_in_hexadecimal) {
  platform.always("dbgkit_process_msg", -1);
  EXPECT_EQ(dispatch(0xABCDEF), 0);
  EXPECT_EQ(platform.journal, arrived +
                                  lines({"dbgkit_process_msg(7, msg 1)",
                                         "101 ERROR: Unknown message 0xabcdef. dropping."}) +
                                  dropped);
}

TEST_F(Dispatch, neighbours_of_known_opcodes_and_up_itself_are_unknown) {
  platform.always("dbgkit_process_msg", 1);
  for (const uint32_t opcode : {0u, 1150u, 1154u, 1156u, 1157u, 1161u, 1166u, 6023u, 66687u}) {
    platform.forget();
    EXPECT_EQ(dispatch(opcode), 0);
    char text[64];
    std::snprintf(text, sizeof text, "ERROR: Unknown message 0x%x. dropping.", opcode);
    EXPECT_EQ(platform.history.back(), error(text));
  }
}

TEST_F(Dispatch, a_failed_drop_is_logged_and_the_result_stays) {
  platform.next("ipq_drop", -1);
  EXPECT_EQ(dispatch(1162), 0);
  EXPECT_EQ(platform.journal,
            arrived + dropped + lines({"101 ERROR: Failed to drop ipq message\n"}));

  platform.next("ipq_drop", -1);
  EXPECT_EQ(dispatch_without_payload(1155), -1);
  EXPECT_EQ(platform.history.back(), error("ERROR: Failed to drop ipq message\n"));
}

}  // namespace vesk::test
