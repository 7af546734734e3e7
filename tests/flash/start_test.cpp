// A flash that misbehaves while the daemon starts.
#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>

#include "tests/flash/flash_test.h"

namespace vesk::test {

namespace {

class StartUp : public used_flash_test {
 protected:
  void SetUp() override {
    used_flash_test::SetUp();
    if (ready()) daemon.stop(SIGKILL);
  }

  void expect_the_log_to_go_on() {
    EXPECT_TRUE(eventually([] { return exists(mount_marker); }));
    EXPECT_TRUE(is_mounted());
    EXPECT_EQ(flash.on_chip("vesk.log"), before_);
    EXPECT_EQ(send("after"), response::stored);
    EXPECT_EQ(shown_data("vesk"), (texts{"before", "after"}));
  }
};

TEST_F(StartUp, mounts_the_flash_anew_when_a_status_fails) {
  flash.will({.call = flash_call::status, .error = EIO});
  boot();
  EXPECT_EQ(flash.hits(flash_call::status), 1u);
  EXPECT_TRUE(eventually([&] { return flash.mounts_begun() == 2; }));
  expect_the_log_to_go_on();
}

TEST_F(StartUp, keeps_a_file_whose_header_cannot_be_read_for_a_moment) {
  flash.will({.call = flash_call::read, .error = EIO});
  boot();
  EXPECT_EQ(flash.hits(flash_call::read), 1u);
  EXPECT_TRUE(eventually([&] { return flash.mounts_begun() == 2; }));
  expect_the_log_to_go_on();
}

// It cannot be checked, so it cannot be trusted.
TEST_F(StartUp, removes_a_file_that_cannot_be_opened) {
  flash.will({.call = flash_call::open, .error = EIO});
  boot();
  EXPECT_TRUE(daemon.prints("ERROR: Open of /mnt/vesk/vesk.log failed with errno 5.\n"));
  EXPECT_TRUE(eventually([&] { return !flash.has("vesk.log"); }));
  EXPECT_EQ(flash.mounts_begun(), 1u);
}

TEST_F(StartUp, waits_for_a_slow_flash) {
  using namespace std::chrono_literals;
  flash.will({.call = flash_call::read, .times = always, .stay = 50ms});
  boot();
  EXPECT_GE(flash.hits(flash_call::read), 2u);
  flash.heal();
  expect_the_log_to_go_on();
}

TEST_F(StartUp, touches_no_file_at_a_restart) {
  const uint32_t calls = flash.calls();
  daemon.start();
  EXPECT_EQ(flash.calls(), calls);
  expect_the_log_to_go_on();
}

}  // namespace

}  // namespace vesk::test
