// The flash reports an I/O error: the daemon has it mounted anew and goes on.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "base/vesk_fd.h"
#include "tests/flash/flash_test.h"

namespace vesk::test {

namespace {

constexpr uint16_t clear_logging = 3;

class Remount : public used_flash_test {
 protected:
  void SetUp() override {
    used_flash_test::SetUp();
    if (ready()) flash.hold_mount_program();
  }

  // The marker is gone, and the mount program was started once.
  void expect_a_remount_under_way() {
    EXPECT_FALSE(exists(mount_marker));
    EXPECT_TRUE(eventually([&] { return flash.mounts_begun() == 2; }));
  }

  // The mount program comes to its end, and the marker is back: records are stored again.
  void expect_service_to_resume() {
    EXPECT_TRUE(flash.let_mount_program_go());
    EXPECT_TRUE(is_mounted());
    EXPECT_EQ(send("after"), response::stored);
    EXPECT_EQ(flash.mounts_begun(), 2u) << "the mount program was started once more";
  }
};

TEST_F(Remount, follows_a_status_that_fails) {
  flash.will({.call = flash_call::status, .error = EIO});
  send("hit");
  EXPECT_TRUE(daemon.prints("ERROR: Error acquiring status for /mnt/vesk/vesk.log, errno 5"));
  EXPECT_FALSE(is_mounted());
  expect_a_remount_under_way();
  expect_service_to_resume();
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "after"}));
}

TEST_F(Remount, follows_an_open_that_fails) {
  flash.will({.call = flash_call::open, .error = EIO});
  EXPECT_EQ(send("hit"), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: Open of /mnt/vesk/vesk.log failed with errno 5."));
  EXPECT_FALSE(is_mounted());
  expect_a_remount_under_way();
  expect_service_to_resume();
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "after"}));
}

// The daemon's own descriptor keeps the flash busy, so that it stays mounted.
TEST_F(Remount, follows_a_read_that_fails) {
  flash.will({.call = flash_call::read, .error = EIO});
  EXPECT_EQ(send("hit"), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: ghdr read fails errno 5."));
  EXPECT_TRUE(daemon.prints("target is busy"));
  EXPECT_TRUE(is_mounted());
  expect_a_remount_under_way();
  expect_service_to_resume();
}

TEST_F(Remount, follows_a_write_that_fails) {
  flash.will({.call = flash_call::write, .error = EIO, .skip = 1});
  EXPECT_EQ(send("hit"), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: Write failed etype 1024 len 3 errno 5."));
  EXPECT_TRUE(daemon.prints("target is busy"));
  EXPECT_TRUE(is_mounted());
  expect_a_remount_under_way();
  expect_service_to_resume();
}

TEST_F(Remount, follows_no_other_error) {
  for (const int other : {ENOMEM, EACCES, ENXIO}) {
    flash.will({.call = flash_call::status, .error = other});
    EXPECT_EQ(send("hit"), response::refused);
    flash.will({.call = flash_call::open, .error = other});
    EXPECT_EQ(send("hit"), response::refused);
  }
  EXPECT_TRUE(exists(mount_marker));
  EXPECT_EQ(flash.mounts_begun(), 1u);
  EXPECT_EQ(shown_data("vesk"), texts{"before"});
}

// Every write of the record fails, and by the second one the marker is gone.
TEST_F(Remount, is_not_begun_again_while_the_marker_is_gone) {
  flash.will({.call = flash_call::write, .error = EIO, .times = always});
  EXPECT_EQ(send("hit"), response::refused);
  EXPECT_EQ(flash.hits(flash_call::write), 2u);
  expect_a_remount_under_way();
  flash.heal();
  expect_service_to_resume();
}

// The configuration and the notice would have stopped the daemon from storing anything.
TEST_F(Remount, drops_every_message_until_the_marker_is_back) {
  flash.will({.call = flash_call::open, .error = EIO});
  EXPECT_EQ(send("hit"), response::refused);
  const auto dropped = [&](uint32_t opcode, const std::vector<uint8_t> &payload) {
    const reply got = sender.request(opcode, payload);
    return got.header.flags == VESK_WIRE_RECEIPT && got.payload.empty();
  };
  EXPECT_EQ(send("dropped"), response::dropped);
  EXPECT_EQ(send_synchronous("dropped as well"), response::dropped);
  EXPECT_TRUE(dropped(1152, {}));
  EXPECT_TRUE(dropped(1153, half_words({clear_logging, 5})));
  EXPECT_TRUE(dropped(1155, std::vector<uint8_t>(65 * 4)));
  EXPECT_TRUE(dropped(1158, words({5, 0})));
  EXPECT_TRUE(dropped(6024, {0, 0, 0, 3, 0, 0, 0, 3}));
  EXPECT_EQ(sender.request(60004, {}).header.flags, VESK_WIRE_ANSWER) << "the host is still there";
  expect_service_to_resume();
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "after"}));
}

// What a remount costs. The daemon does what it is to do after an error; none of it brings back
// what the error was about.

TEST_F(Remount, costs_the_log_file_when_a_read_failed) {
  flash.will({.call = flash_call::read, .error = EIO});
  EXPECT_EQ(send("hit"), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: /mnt/vesk/vesk.log was removed due to errors"));
  EXPECT_TRUE(eventually([&] { return !flash.has("vesk.log"); }));
  expect_service_to_resume();
  EXPECT_EQ(shown_data("vesk"), texts{"after"});
}

TEST_F(Remount, costs_the_log_file_when_data_could_not_be_written) {
  flash.will({.call = flash_call::write, .error = EIO, .skip = 1});
  EXPECT_EQ(send("hit"), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: /mnt/vesk/vesk.log was removed due to errors"));
  EXPECT_TRUE(eventually([&] { return !flash.has("vesk.log"); }));
  expect_service_to_resume();
  EXPECT_EQ(shown_data("vesk"), texts{"after"});
}

// A file whose status fails counts as absent, so it is created: in the directory on which the flash
// was mounted a moment ago, and will be again.
TEST_F(Remount, hides_the_record_whose_status_failed) {
  flash.will({.call = flash_call::status, .error = EIO});
  EXPECT_EQ(send("hidden"), response::stored);
  EXPECT_EQ(shown_data("vesk"), texts{"hidden"});
  expect_service_to_resume();
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "after"}));
}

// Somebody reads the log, so the flash cannot be unmounted, and the file that counts as absent is
// given a new global header.
TEST_F(Remount, of_a_busy_flash_after_a_status_that_failed_costs_the_entries) {
  const unique_fd reader(open("/mnt/vesk/vesk.log", O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(reader);
  flash.will({.call = flash_call::status, .error = EIO});
  EXPECT_EQ(send("hit"), response::stored);
  EXPECT_TRUE(is_mounted());
  expect_a_remount_under_way();
  expect_service_to_resume();
  EXPECT_EQ(shown_data("vesk"), (texts{"hit", "after"}));
}

TEST_F(Remount, answers_a_clear_whose_status_failed_as_if_there_were_no_file) {
  flash.will({.call = flash_call::status, .error = EIO});
  const reply cleared = sender.request(1153, half_words({clear_logging, 5}));
  EXPECT_EQ(cleared.payload, (std::vector<uint8_t>{3, 0, 5, 0, 0, 0, 0, 0}));
  expect_a_remount_under_way();
  expect_service_to_resume();
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "after"}));
}

}  // namespace

}  // namespace vesk::test
