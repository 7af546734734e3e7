// What the answer to a synchronous record is worth when a write of it fails. In its file the record
// takes four writes: header, data, padding, and the global header.
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/flash/flash_test.h"

namespace vesk::test {

namespace {

constexpr uint32_t header = 0;
constexpr uint32_t data = 1;
constexpr uint32_t padding = 2;
constexpr uint32_t global_header = 3;

class SynchronousRecord : public used_flash_test {
 protected:
  // One write fails with an I/O error, and those behind it succeed; after `keep` bytes of it.
  void fail_write(uint32_t which, uint32_t keep = 0) {
    flash.hold_mount_program();
    flash.will({.call = flash_call::write, .error = EIO, .skip = which, .keep = keep});
  }

  // The remount that the failure began is over.
  void wait_for_remount() {
    EXPECT_FALSE(exists(mount_marker));
    EXPECT_TRUE(flash.let_mount_program_go());
  }

  // The first line of what veskshow predicts of vesk.log.
  static std::string predicted() {
    return lines_of(run({"veskshow", "--verify", "vesk"}).out).at(0);
  }
};

TEST_F(SynchronousRecord, is_refused_when_no_write_succeeds) {
  flash.will({.call = flash_call::write, .error = EIO, .times = always});
  EXPECT_EQ(send_synchronous("fiver"), response::refused);
}

TEST_F(SynchronousRecord, is_refused_when_no_write_into_a_new_file_succeeds) {
  ASSERT_EQ(run({"veskctl", "clear", "vesk"}).status, 0);
  ASSERT_TRUE(eventually([&] { return !flash.has("vesk.log"); }));
  flash.will({.call = flash_call::write, .error = EIO, .times = always});
  EXPECT_EQ(send_synchronous("fiver"), response::refused);
}

TEST_F(SynchronousRecord, is_refused_when_its_data_cannot_be_written) {
  fail_write(data);
  EXPECT_EQ(send_synchronous("fiver"), response::refused);
}

TEST_F(SynchronousRecord, is_refused_when_the_write_of_its_data_is_torn) {
  for (const uint32_t keep : {1u, 4u, 5u}) {
    fail_write(data, keep);
    EXPECT_EQ(send_synchronous("fiver"), response::refused) << keep;
    wait_for_remount();
    ASSERT_TRUE(eventually([&] { return !flash.has("vesk.log"); }));
    ASSERT_EQ(send("before"), response::stored);
  }
}

TEST_F(SynchronousRecord, is_refused_when_the_file_cannot_be_read_or_opened) {
  flash.will({.call = flash_call::open, .error = EIO});
  EXPECT_EQ(send_synchronous("fiver"), response::refused);
  ASSERT_TRUE(eventually([] { return exists(mount_marker); }));
  flash.will({.call = flash_call::read, .error = EIO});
  EXPECT_EQ(send_synchronous("fiver"), response::refused);
}

// A write that fails altogether passes for a complete one, except that of the data. So for these
// three the answer promises more than there is.

TEST_F(SynchronousRecord, is_answered_with_success_although_its_padding_is_missing) {
  fail_write(padding);
  EXPECT_EQ(send_synchronous("fiver"), response::stored);
  wait_for_remount();
  EXPECT_EQ(flash.on_chip("vesk.log").size(), 48u + 20 + 5);
  ASSERT_EQ(send("after"), response::stored);
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "fiver", "after"}));
}

TEST_F(SynchronousRecord, is_answered_with_success_although_the_log_does_not_lead_to_it) {
  fail_write(global_header);
  EXPECT_EQ(send_synchronous("fiver"), response::stored);
  wait_for_remount();
  EXPECT_EQ(shown_data("vesk"), texts{"before"});
  EXPECT_EQ(predicted(), "vesk.log: sound; the next first start would keep it as it is");
}

// The data take the place of the header, and the log ends behind the end of its file: a start
// removes it.
TEST_F(SynchronousRecord, is_answered_with_success_although_its_header_is_missing) {
  fail_write(header);
  EXPECT_EQ(send_synchronous("fiver"), response::stored);
  wait_for_remount();
  EXPECT_EQ(flash.on_chip("vesk.log").substr(48), std::string("fiver\0\0\0", 8));
  EXPECT_EQ(predicted(), "vesk.log: damaged; the next first start would remove it");
  boot();
  EXPECT_TRUE(eventually([&] { return !flash.has("vesk.log"); }));
}

TEST_F(SynchronousRecord, is_refused_when_a_part_of_its_header_has_no_room) {
  flash.leave_room(19);
  EXPECT_EQ(send_synchronous("fiver"), response::refused);
  EXPECT_EQ(shown_data("vesk"), texts{"before"});
}

}  // namespace

}  // namespace vesk::test
