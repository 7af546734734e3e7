// What an operator does: statistics, logging per file, configuration, the failure notice,
// debugging.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

using Commands = daemon_test;

// The answer to a control command: the command and the file type come back, then the result.
void expect_answer(const reply &got, uint16_t command, uint16_t file_type, int32_t result) {
  EXPECT_EQ(got.header.flags, VESK_WIRE_ANSWER);
  std::vector<uint8_t> expected = half_words({command, file_type});
  expected.resize(8);
  std::memcpy(expected.data() + 4, &result, sizeof result);
  EXPECT_EQ(got.payload, expected);
}

TEST_F(Commands, statistics_count_entries_and_their_bytes_by_sender) {
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(stores(sender, good_record("five.")));
  ASSERT_TRUE(stores(sender, {{.uuid = 2736, .len = 4, .file_type = 1, .sync = 1}}));
  const ended stats = run({"veskctl", "stats"});
  EXPECT_EQ(stats.status, 0);
  // Five bytes take eight, and each entry has a header of twenty.
  EXPECT_EQ(stats.output(),
            "  UUID      ENTRIES        BYTES\n"
            "    77            3           84\n"
            "  2736            1           24\n");
  EXPECT_EQ(sender.request(1152, {}).payload.size(), 21896u);
}

TEST_F(Commands, disable_and_enable_one_file_type) {
  expect_answer(sender.request(1153, half_words({2, 5})), 2, 5, 0);
  EXPECT_FALSE(stores(sender, good_record("to a disabled file")));
  EXPECT_TRUE(stores(sender, good_record("to another", 25)));
  expect_answer(sender.request(1153, half_words({1, 5})), 1, 5, 0);
  EXPECT_TRUE(stores(sender, good_record("to an enabled file")));
  EXPECT_EQ(shown_data("vesk"), std::vector<std::string>{"to an enabled file"});
}

TEST_F(Commands, disable_and_enable_all) {
  EXPECT_EQ(run({"veskctl", "disable", "all"}).status, 0);
  EXPECT_FALSE(stores(sender, good_record("disabled")));
  EXPECT_FALSE(stores(sender, good_record("disabled", 36)));
  EXPECT_EQ(run({"veskctl", "enable", "all"}).status, 0);
  EXPECT_TRUE(stores(sender, good_record("enabled")));
  EXPECT_TRUE(stores(sender, good_record("enabled", 36)));
}

TEST_F(Commands, clear_deletes_the_file_and_the_statistics) {
  ASSERT_TRUE(stores(sender, good_record("to be cleared")));
  ASSERT_TRUE(stores(sender, good_record("to stay", 25)));
  expect_answer(sender.request(1153, half_words({3, 5})), 3, 5, 0);
  EXPECT_TRUE(eventually([] { return !exists("/mnt/vesk/vesk.log"); }));
  EXPECT_EQ(shown_data("platform"), std::vector<std::string>{"to stay"});
  EXPECT_EQ(run({"veskctl", "stats"}).output(), "  UUID      ENTRIES        BYTES\n");
  EXPECT_TRUE(stores(sender, good_record("anew")));
  EXPECT_EQ(shown_data("vesk"), std::vector<std::string>{"anew"});
}

TEST_F(Commands, clear_of_all_types_answers_no_and_keeps_the_statistics) {
  ASSERT_TRUE(stores(sender, good_record("to be cleared")));
  ASSERT_TRUE(stores(sender, good_record("this too", 25)));
  expect_answer(sender.request(1153, half_words({3, 0})), 3, 0, -1);
  EXPECT_TRUE(eventually(
      [] { return !exists("/mnt/vesk/vesk.log") && !exists("/mnt/vesk/platform.log"); }));
  EXPECT_TRUE(contains(run({"veskctl", "stats"}).out, "    77            2 "));
}

TEST_F(Commands, clear_of_what_is_not_there) {
  expect_answer(sender.request(1153, half_words({3, 5})), 3, 5, 0);
  expect_answer(sender.request(1153, half_words({3, 8})), 3, 8, -1);
}

TEST_F(Commands, unknown_command_is_answered_no) {
  expect_answer(sender.request(1153, half_words({7, 5})), 7, 5, -1);
}

TEST_F(Commands, configuration_says_which_types_are_logged) {
  EXPECT_EQ(run({"veskctl", "config", "--slot", this_slot, "--enable", "platform"}).status, 0);
  EXPECT_FALSE(stores(sender, good_record("disabled")));
  EXPECT_TRUE(stores(sender, good_record("enabled", 25)));
  EXPECT_EQ(run({"veskctl", "config", "--slot", this_slot, "--enable", "all"}).status, 0);
  EXPECT_TRUE(stores(sender, good_record("enabled")));
}

TEST_F(Commands, failure_notice_for_this_slot_ends_all_logging) {
  EXPECT_EQ(run({"veskctl", "fail-notice", "--slot", "4"}).status, 0);
  EXPECT_TRUE(stores(sender, good_record("still fine")));
  EXPECT_EQ(run({"veskctl", "fail-notice", "--slot", this_slot, "--kind", "2"}).status, 0);
  EXPECT_TRUE(stores(sender, good_record("still fine")));

  EXPECT_EQ(run({"veskctl", "fail-notice", "--slot", this_slot}).status, 0);
  EXPECT_FALSE(stores(sender, good_record("disabled")));
  EXPECT_EQ(run({"veskctl", "enable", "all"}).status, 1);
  EXPECT_EQ(run({"veskctl", "clear", "vesk"}).status, 1);
  EXPECT_FALSE(stores(sender, good_record("disabled")));
  EXPECT_EQ(shown_data("vesk").size(), 2u);
}

TEST_F(Commands, history_tells_what_was_recorded) {
  ASSERT_EQ(run({"veskctl", "debug", "--record", "trace"}).status, 0);
  ASSERT_TRUE(stores(sender, good_record("traced")));
  ASSERT_FALSE(stores(sender, {{.type = 1023, .len = 4, .file_type = 5, .sync = 1}}));
  const ended history = run({"veskctl", "history"});
  EXPECT_EQ(history.status, 0);
  EXPECT_TRUE(contains(history.out, "received message 1151")) << history;
  EXPECT_TRUE(contains(history.out, "trace TRACE:Got an entry update message")) << history;
  EXPECT_TRUE(contains(history.out, "error ERROR: Unknown object type 1023 requested.")) << history;
}

TEST_F(Commands, debug_level_decides_what_is_printed) {
  constexpr char trace[] = "TRACE:Got an entry update message\n";
  ASSERT_EQ(run({"veskctl", "debug", "--print", "error"}).status, 0);
  ASSERT_TRUE(stores(sender, good_record("not traced")));
  EXPECT_FALSE(contains(daemon.printed(), trace));
  const ended answer = run({"veskctl", "debug", "--print", "trace"});
  EXPECT_EQ(answer.status, 0);
  EXPECT_EQ(lines_of(answer.out)[0], "print: trace");
  ASSERT_TRUE(stores(sender, good_record("traced")));
  EXPECT_TRUE(daemon.prints(trace));
}

TEST_F(Commands, tools_say_that_no_daemon_is_there) {
  ASSERT_EQ(daemon.stop(15), 3);
  for (const char *command : {"stats", "history", "debug"}) {
    const ended result = run({"veskctl", command});
    EXPECT_EQ(result.status, 1) << command;
    EXPECT_TRUE(contains(result.err, "is vesk_sup running?")) << result;
  }
  EXPECT_EQ(run({"veskctl", "no-such-command"}).status, 2);
}

}  // namespace

}  // namespace vesk::test
