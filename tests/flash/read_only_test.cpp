// A flash that can only be read.
#include <gtest/gtest.h>

#include "tests/flash/flash_test.h"

namespace vesk::test {

namespace {

class ReadOnlyFlash : public used_flash_test {
 protected:
  void SetUp() override {
    used_flash_test::SetUp();
    if (!ready()) return;
    ASSERT_TRUE(flash.turn_read_only());
  }
};

TEST_F(ReadOnlyFlash, refuses_records_and_keeps_the_file) {
  EXPECT_EQ(send("refused"), response::refused);
  EXPECT_EQ(send_synchronous("refused"), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: Open of /mnt/vesk/vesk.log failed with errno 30."));
  EXPECT_EQ(flash.on_chip("vesk.log"), before_);
  EXPECT_EQ(shown_data("vesk"), texts{"before"});
}

TEST_F(ReadOnlyFlash, gets_no_new_file) {
  EXPECT_EQ(send("refused", 25), response::refused);
  EXPECT_TRUE(daemon.prints("ERROR: Error acquiring status for /mnt/vesk/platform.log, errno 2"));
  EXPECT_TRUE(daemon.prints("ERROR: Open of /mnt/vesk/platform.log failed with errno 30."));
  EXPECT_FALSE(flash.has("platform.log"));
}

TEST_F(ReadOnlyFlash, is_not_mounted_anew) {
  EXPECT_EQ(send("refused"), response::refused);
  EXPECT_TRUE(exists(mount_marker));
  EXPECT_EQ(flash.mounts_begun(), 1u);
}

// Nobody waits for the removal, so the answer tells only that it was started.
TEST_F(ReadOnlyFlash, keeps_a_file_of_which_a_clear_says_that_it_is_gone) {
  const reply cleared = sender.request(1153, half_words({3, 5}));
  EXPECT_EQ(cleared.payload, (std::vector<uint8_t>{3, 0, 5, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(daemon.prints("rm: cannot remove '/mnt/vesk/vesk.log': Read-only file system"));
  EXPECT_EQ(flash.on_chip("vesk.log"), before_);
}

// A start wants to open each file for writing, and to remove those that it cannot open.
TEST_F(ReadOnlyFlash, survives_a_start) {
  boot();
  EXPECT_TRUE(daemon.prints("ERROR: Open of /mnt/vesk/vesk.log failed with errno 30.\n"));
  EXPECT_TRUE(daemon.prints("rm: cannot remove '/mnt/vesk/vesk.log': Read-only file system"));
  EXPECT_EQ(flash.on_chip("vesk.log"), before_);
  EXPECT_EQ(send("refused"), response::refused);
}

}  // namespace

}  // namespace vesk::test
