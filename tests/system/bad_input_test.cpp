// What is refused, by whom, and that nothing suffers from it.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "tests/support/poll.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

// After each test the daemon must still store a record, and find its files whole.
class BadInput : public daemon_test {
 protected:
  void TearDown() override {
    EXPECT_TRUE(stores(sender, good_record("still at work")));
    EXPECT_EQ(shown_data("vesk").back(), "still at work");
    const ended listed = run({"veskshow", "--list"});
    EXPECT_EQ(listed.status, 0) << listed;
    daemon_test::TearDown();
  }

  void expect_refused(const record &sent) {
    const reply got = sender.request(sent);
    EXPECT_EQ(got.header.flags, VESK_WIRE_ANSWER);
    EXPECT_EQ(got.payload.size(), 4u);
    EXPECT_EQ(got.word(), 0u);
  }

  void expect_printed(const std::string &text) {
    EXPECT_TRUE(daemon.prints(text)) << text << " is not in:\n" << daemon.printed();
  }

  void expect_host_refuses(const vesk_wire_header &header, std::span<const uint8_t> payload,
                           uint32_t reason) {
    ASSERT_TRUE(sender.send_raw(message(header, payload)));
    const reply got = sender.receive().value_or(reply{});
    EXPECT_EQ(got.header.flags, VESK_WIRE_REFUSED);
    EXPECT_EQ(got.header.sequence, header.sequence);
    EXPECT_EQ(got.word(), reason);
  }
};

TEST_F(BadInput, record_of_length_zero) {
  expect_refused({{.type = 1024, .len = 0, .file_type = 5, .sync = 1}});
  expect_printed("ERROR: Zero length for obj 1024");
}

TEST_F(BadInput, object_types_below_1024) {
  expect_refused({{.type = 1023, .len = 4, .file_type = 5, .sync = 1}});
  expect_printed("ERROR: Unknown object type 1023 requested.");
}

TEST_F(BadInput, uuids_out_of_range) {
  expect_refused({{.uuid = 0, .len = 4, .file_type = 5, .sync = 1}});
  expect_refused({{.uuid = 2737, .len = 4, .file_type = 5, .sync = 1}});
  expect_printed("ERROR:  UUID out of range cannot get file name ");
  EXPECT_TRUE(stores(sender, {{.uuid = 2736, .len = 4, .file_type = 5, .sync = 1}}));
}

TEST_F(BadInput, file_types_out_of_range) {
  expect_refused({{.len = 4, .file_type = 0, .sync = 1}});
  expect_printed("ERROR: Not a valid file type 0");
  expect_refused({{.len = 4, .file_type = 39, .sync = 1}});
  expect_printed("ERROR: Not a valid file type 39");
  expect_refused({{.len = 4, .file_type = 65535, .sync = 1}});
  expect_printed("ERROR: Not a valid file type 65535");
}

TEST_F(BadInput, file_type_without_a_file_is_refused_without_a_word) {
  const std::string before = daemon.printed();
  expect_refused({{.len = 4, .file_type = 38, .sync = 1}});
  EXPECT_EQ(daemon.printed(), before);
}

TEST_F(BadInput, record_that_can_never_fit_its_file) {
  ASSERT_TRUE(stores(sender, good_record("small", 7)));
  const std::string before = contents_of("/mnt/vesk/temperature_err.log");
  expect_refused({{.len = 65535, .file_type = 7, .sync = 1}});
  expect_printed("ERROR: Record of 65535 bytes can't fit in file type 7 of 8192 bytes");
  EXPECT_EQ(contents_of("/mnt/vesk/temperature_err.log"), before);
}

TEST_F(BadInput, payload_cut_before_the_data_reads_as_zeros) {
  record cut({.len = 50, .file_type = 1, .sync = 1, .data = "ten bytes."});
  ASSERT_TRUE(stores(sender, cut));
  EXPECT_EQ(contents_of("/mnt/vesk/exception.log").substr(40), "ten bytes." + std::string(42, 0));
}

TEST_F(BadInput, payloads_cut_within_the_head) {
  const std::vector<uint8_t> whole = record({.len = 4, .file_type = 5, .sync = 1}).bytes();
  for (size_t length = 0; length < 24; ++length) {
    // Up to offset 18 even the wish for an answer is cut off; what is left still makes a record.
    const reply got = sender.request(1151, std::span(whole).first(length));
    EXPECT_EQ(got.header.flags, length <= 18 ? VESK_WIRE_RECEIPT : VESK_WIRE_ANSWER) << length;
  }
  for (uint32_t opcode : {1153u, 1155u, 6024u}) {
    EXPECT_NE(sender.request(opcode, {}).header.flags, 0) << opcode;
  }
  EXPECT_EQ(run({"veskctl", "enable", "all"}).status, 0);
}

TEST_F(BadInput, lengths_that_lie) {
  const record sent = good_record("honest data");
  for (uint32_t lie : {0u, 1u, 34u, 36u, 65559u, 65560u, 0x80000000u, 0xFFFFFFFFu}) {
    vesk_wire_header header = header_for(1151, 0, 1000 + lie);
    header.length = lie;
    expect_host_refuses(header, sent.bytes(), VESK_WIRE_BAD_LENGTH);
  }
  EXPECT_FALSE(exists("/mnt/vesk/vesk.log"));
}

TEST_F(BadInput, payload_beyond_the_largest_record) {
  const std::vector<uint8_t> large(65560, 0x41);
  expect_host_refuses(header_for(1151, large.size(), 7), large, VESK_WIRE_BAD_LENGTH);
}

TEST_F(BadInput, other_versions_of_the_wire_format) {
  for (const uint8_t version : std::array<uint8_t, 3>{0, 2, 255}) {
    vesk_wire_header header = header_for(1151, 0, 20u + version);
    header.version = version;
    expect_host_refuses(header, {}, VESK_WIRE_BAD_VERSION);
  }
}

TEST_F(BadInput, datagrams_that_are_no_messages_get_nothing) {
  vesk_wire_header stranger = header_for(1151, 0, 1);
  stranger.magic = 0x12345678;
  ASSERT_TRUE(sender.send_raw(message(stranger, {})));
  const std::vector<uint8_t> short_one(7, 0x4B);
  ASSERT_TRUE(sender.send_raw(short_one));
  ASSERT_TRUE(sender.send_raw({}));
  const uint32_t sequence = sender.send(1162, {});
  EXPECT_EQ(sender.receive().value_or(reply{}).header.sequence, sequence);
}

TEST_F(BadInput, header_cut_short) {
  const std::vector<uint8_t> whole = message(header_for(1151, 0, 1), {});
  ASSERT_TRUE(sender.send_raw(std::span(whole).first(23)));
  const reply got = sender.receive().value_or(reply{});
  EXPECT_EQ(got.header.flags, VESK_WIRE_REFUSED);
  EXPECT_EQ(got.word(), VESK_WIRE_BAD_LENGTH);
}

TEST_F(BadInput, unknown_opcodes_are_named_and_dropped) {
  const std::vector<uint8_t> payload(40, 0x5A);
  for (uint32_t opcode : {0u, 1150u, 1154u, 1156u, 1157u, 7000u, 0xDEADBEEFu}) {
    EXPECT_EQ(sender.request(opcode, payload).header.flags, VESK_WIRE_RECEIPT) << opcode;
  }
  expect_printed("ERROR: Unknown message 0xdeadbeef. dropping.");
}

TEST_F(BadInput, command_for_file_type_65535_is_answered_once) {
  for (const uint16_t command : std::array<uint16_t, 4>{1, 2, 3, 7}) {
    const uint32_t asked = sender.send(1153, half_words({command, 65535}));
    const uint32_t behind = sender.send(1162, {});
    const reply first = sender.receive().value_or(reply{});
    EXPECT_EQ(first.header.sequence, asked);
    EXPECT_EQ(first.payload.size(), 8u);
    EXPECT_EQ(sender.receive().value_or(reply{}).header.sequence, behind);
  }
}

TEST_F(BadInput, configuration_shorter_than_this_slots_record_disables_all) {
  EXPECT_EQ(sender.request(1155, std::vector<uint8_t>(10, 1)).header.flags, VESK_WIRE_RECEIPT);
  expect_refused(good_record("disabled"));
  EXPECT_EQ(run({"veskctl", "enable", "all"}).status, 0);
}

TEST_F(BadInput, answers_and_refusals_are_never_answered) {
  for (uint16_t flag : {VESK_WIRE_ANSWER, VESK_WIRE_RECEIPT, VESK_WIRE_REFUSED}) {
    vesk_wire_header header = header_for(1151, 0, 1);
    header.flags = static_cast<uint16_t>(flag | VESK_WIRE_WANT_RECEIPT);
    header.version = 9;
    ASSERT_TRUE(sender.send_raw(message(header, {})));
  }
  const uint32_t sequence = sender.send(1162, {});
  EXPECT_EQ(sender.receive().value_or(reply{}).header.sequence, sequence);
}

}  // namespace

}  // namespace vesk::test
