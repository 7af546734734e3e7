// The main job: a record is sent, answered, kept, and shown.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>

#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

using Records = daemon_test;

TEST_F(Records, is_answered_and_shown) {
  const reply got = sender.request({{.uuid = 77,
                                     .type = 1024,
                                     .len = 5,
                                     .secs = 1600000000,
                                     .usecs = 42,
                                     .file_type = 5,
                                     .sync = 1,
                                     .data = "hello"}});
  EXPECT_EQ(got.header.flags, VESK_WIRE_ANSWER);
  EXPECT_EQ(got.payload.size(), 4u);
  EXPECT_EQ(got.word(), 1u);

  const ended shown = run({"veskshow", "--utc", "vesk"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(shown.output(), "2020-09-13 12:26:40.000042 vesk 77[1024]: hello\n");
}

TEST_F(Records, is_kept_to_the_byte) {
  ASSERT_TRUE(stores(sender, {{.uuid = 0x0102,
                               .type = 0x0403,
                               .len = 5,
                               .flags = 0xA5,
                               .secs = 0x11223344,
                               .usecs = 0x00055667,
                               .file_type = 25,
                               .sync = 1,
                               .instance = 9,
                               .data = "hello"}}));
  const std::string expected{
      "vesk\x01\x00\x14\xDB\x00\x10\x00\x00\x00\x00\x00\x14\x00\x00\x00\x30"
      "\x01\x02\x04\x03\x00\x08\xBB\x1F\xA5\x00\x00\x00\x11\x22\x33\x44\x00\x05\x56\x67"
      "hello\0\0\0",
      48};
  EXPECT_EQ(contents_of("/mnt/vesk/platform.log"), expected);
}

TEST_F(Records, without_sync_gets_a_receipt_only_if_it_asks) {
  const record quiet({.len = 4, .file_type = 5, .sync = 0});
  EXPECT_EQ(sender.request(quiet).header.flags, VESK_WIRE_RECEIPT);
  const record strange({.len = 4, .file_type = 5, .sync = 3});
  EXPECT_EQ(sender.request(strange).header.flags, VESK_WIRE_RECEIPT);
  const uint32_t unasked = sender.send(1151, quiet.bytes(), 0);
  const uint32_t later = sender.send(1152, {});
  EXPECT_EQ(sender.receive().value_or(reply{}).header.sequence, later) << "not " << unasked;
  EXPECT_EQ(shown_data("vesk").size(), 3u);
}

TEST_F(Records, asked_to_be_synchronous_is_logged_with_the_open_flags) {
  ASSERT_TRUE(stores(sender, {{.len = 4, .file_type = 5, .sync = 2}}));
  EXPECT_TRUE(daemon.prints("ERROR: For /mnt/vesk/vesk.log resp needed with SYNC flags 1042."));
}

TEST_F(Records, come_from_veskctl_one_a_line) {
  const ended sent = run({"veskctl", "send", "--file", "kernel", "--uuid", "510"},
                         {.input = "first line\nsecond line\nthird line\n"});
  EXPECT_EQ(sent.status, 0);
  EXPECT_EQ(sent.output(), "3 accepted, 0 refused, 0 unanswered\n");
  EXPECT_EQ(shown_data("kernel"),
            (std::vector<std::string>{"first line", "second line", "third line"}));
}

TEST_F(Records, marked_as_an_update_replaces_its_entry) {
  record_fields fields{.uuid = 80, .type = 2000, .len = 8, .file_type = 1, .sync = 1};
  fields.data = "value 01";
  ASSERT_TRUE(stores(sender, record(fields)));
  ASSERT_TRUE(stores(sender, good_record("behind", 1)));
  fields.data = "value 02";
  fields.update = 1;
  ASSERT_TRUE(stores(sender, record(fields)));
  EXPECT_EQ(shown_data("exception"), (std::vector<std::string>{"value 02", "behind"}));
}

TEST_F(Records, survive_a_kill) {
  ASSERT_TRUE(stores(sender, good_record("before the kill")));
  EXPECT_EQ(daemon.stop(SIGKILL), 128 + SIGKILL);
  daemon.start();
  ASSERT_TRUE(stores(sender, good_record("after the kill")));
  EXPECT_EQ(shown_data("vesk"), (std::vector<std::string>{"before the kill", "after the kill"}));
}

TEST_F(Records, survive_an_orderly_end) {
  ASSERT_TRUE(stores(sender, good_record("before the end")));
  EXPECT_EQ(daemon.stop(SIGTERM), 3);
  EXPECT_TRUE(contains(daemon.printed(), "ERROR: vesk_sigterm_handler. signo 15\n"));
  daemon.start();
  ASSERT_TRUE(stores(sender, good_record("after the end")));
  EXPECT_EQ(shown_data("vesk"), (std::vector<std::string>{"before the end", "after the end"}));
}

TEST_F(Records, are_dropped_unanswered_while_the_flash_is_not_mounted) {
  ASSERT_EQ(unlink("/kyte_mounted"), 0);
  const reply got = sender.request(good_record("lost"));
  EXPECT_EQ(got.header.flags, VESK_WIRE_RECEIPT);
  EXPECT_TRUE(got.payload.empty());
  EXPECT_FALSE(exists("/mnt/vesk/vesk.log"));
  const ended sent = run({"veskctl", "send", "--file", "5", "--uuid", "25", "lost as well"});
  EXPECT_EQ(sent.status, 1);
  EXPECT_TRUE(contains(sent.out, "0 accepted, 0 refused, 1 unanswered\n")) << sent;

  std::ofstream("/kyte_mounted").close();
  EXPECT_TRUE(stores(sender, good_record("kept")));
  EXPECT_EQ(shown_data("vesk"), std::vector<std::string>{"kept"});
}

}  // namespace

}  // namespace vesk::test
