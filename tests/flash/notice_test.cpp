// The platform gives notice that the flash has failed: the daemon lets it alone until it is
// restarted.
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <cstring>

#include "tests/flash/flash_test.h"

namespace vesk::test {

namespace {

constexpr uint16_t enable = 1;
constexpr uint16_t disable = 2;
constexpr uint16_t clear = 3;

// Both words are big-endian.
std::vector<uint8_t> notice(uint8_t kind, uint8_t slot) {
  return {0, 0, 0, kind, 0, 0, 0, slot};
}

// Configuration data in which every file type of every module is enabled.
std::vector<uint8_t> everything_enabled() {
  return std::vector<uint8_t>(256 * 65, 1);
}

class FailureNotice : public used_flash_test {
 protected:
  // The daemon runs in slot 3.
  void give_notice(uint8_t kind = 3, uint8_t slot = 3) {
    EXPECT_EQ(sender.request(6024, notice(kind, slot)).header.flags, VESK_WIRE_RECEIPT);
  }

  // The result in the answer to a command.
  int32_t command(uint16_t what, uint16_t file_type) {
    const reply got = sender.request(1153, half_words({what, file_type}));
    int32_t result = 99;
    if (got.payload.size() == 8) std::memcpy(&result, &got.payload[4], sizeof result);
    return result;
  }
};

TEST_F(FailureNotice, stops_everything) {
  give_notice();
  const uint32_t calls = flash.calls();
  EXPECT_EQ(send("refused"), response::refused);
  EXPECT_EQ(send("refused", 21), response::refused);
  EXPECT_EQ(send_synchronous("refused"), response::refused);
  EXPECT_EQ(command(enable, 5), -1);
  EXPECT_EQ(command(enable, 0), -1);
  EXPECT_EQ(command(clear, 5), -1);
  sender.request(1155, everything_enabled());
  sender.request(1158, words({5, 0}));
  EXPECT_EQ(send("still refused"), response::refused);
  EXPECT_EQ(flash.calls(), calls) << "the flash was touched";
  EXPECT_EQ(flash.on_chip("vesk.log"), before_);
}

TEST_F(FailureNotice, is_the_reason_that_is_given) {
  give_notice();
  command(enable, 5);
  command(clear, 5);
  sender.request(1155, everything_enabled());
  sender.request(1158, words({5, 0}));
  EXPECT_TRUE(
      daemon.prints("ERROR: Cannot enable logging for filetype 5 due to bootflash failure.\n"));
  EXPECT_TRUE(
      daemon.prints("ERROR: Couldn't clear /mnt/vesk/vesk.log due to bootflash failure.\n"));
  EXPECT_TRUE(
      daemon.prints("ERROR: Can't enable logging for file type 63 due to bootflash failure.\n"));
  EXPECT_TRUE(daemon.prints("ERROR: Cannot recover vesk file due to bootflash failure.\n"));
}

TEST_F(FailureNotice, leaves_what_needs_no_flash) {
  give_notice();
  EXPECT_EQ(sender.request(1152, {}).payload.size(), 21896u);
  EXPECT_EQ(command(disable, 5), 0);
  EXPECT_EQ(sender.request(60004, {}).header.flags, VESK_WIRE_ANSWER);
}

TEST_F(FailureNotice, keeps_a_flash_that_reports_errors_from_being_mounted_anew) {
  give_notice();
  for (const flash_call call : {flash_call::status, flash_call::open, flash_call::write}) {
    flash.will({.call = call, .error = EIO, .times = always});
  }
  EXPECT_EQ(send("refused"), response::refused);
  EXPECT_EQ(command(clear, 5), -1);
  EXPECT_TRUE(exists(mount_marker));
  EXPECT_EQ(flash.mounts_begun(), 1u);
}

TEST_F(FailureNotice, of_another_slot_or_another_kind_changes_nothing) {
  give_notice(3, 4);
  give_notice(2, 3);
  EXPECT_EQ(send("after"), response::stored);
  EXPECT_EQ(command(enable, 5), 0);
}

TEST_F(FailureNotice, is_forgotten_by_the_next_daemon) {
  give_notice();
  ASSERT_EQ(daemon.stop(SIGTERM), 3);
  daemon.start();
  EXPECT_EQ(send("after"), response::stored);
  EXPECT_EQ(shown_data("vesk"), (texts{"before", "after"}));
}

}  // namespace

}  // namespace vesk::test
