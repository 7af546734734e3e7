// The flash itself: it does what its plan says, and nothing else.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>

#include "base/vesk_fd.h"
#include "tests/flash/broken_flash.h"
#include "tests/flash/mount_point.h"
#include "tests/support/poll.h"
#include "tests/support/process.h"
#include "tests/support/program.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

constexpr char path[] = "/mnt/vesk/file";

class FlashProgram : public ::testing::Test {
 protected:
  void SetUp() override {
    flash.mount_new();
    if (IsSkipped() || HasFatalFailure()) return;
    file_ = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(file_, 0);
  }

  void TearDown() override { close(file_); }

  // What a call returned, or its negative error.
  static int result(ssize_t returned) { return static_cast<int>(returned < 0 ? -errno : returned); }
  int writes(const std::string &text) { return result(write(file_, text.data(), text.size())); }
  int reads() {
    char byte = 0;
    return result(pread(file_, &byte, 1, 0));
  }
  static int status() {
    struct stat st {};
    return result(stat(path, &st));
  }
  static int opens() {
    const unique_fd file(open(path, O_RDONLY | O_CLOEXEC));
    return file ? 0 : -errno;
  }

  broken_flash flash;
  int file_ = -1;
};

TEST_F(FlashProgram, keeps_what_is_written) {
  EXPECT_EQ(writes("hello"), 5);
  EXPECT_EQ(flash.on_chip("file"), "hello");
  EXPECT_EQ(contents_of(path), "hello");
  EXPECT_EQ(unlink(path), 0);
  EXPECT_FALSE(flash.has("file"));
  EXPECT_EQ(opens(), -ENOENT);
}

TEST_F(FlashProgram, sees_every_call) {
  EXPECT_EQ(writes("hello"), 5);
  const uint32_t before = flash.calls();
  for (int i = 0; i < 10; ++i) EXPECT_EQ(reads(), 1);
  EXPECT_EQ(flash.calls(), before + 10);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(status(), 0);
  EXPECT_GE(flash.calls(), before + 20);
}

TEST_F(FlashProgram, fails_the_calls_that_it_is_told_to) {
  flash.will({.call = flash_call::write, .error = EIO, .skip = 1, .times = 2});
  EXPECT_EQ(writes("a"), 1);
  EXPECT_EQ(writes("b"), -EIO);
  EXPECT_EQ(writes("c"), -EIO);
  EXPECT_EQ(writes("d"), 1);
  EXPECT_EQ(flash.hits(flash_call::write), 2u);
  EXPECT_EQ(flash.on_chip("file"), "ad");
}

TEST_F(FlashProgram, fails_calls_of_each_kind) {
  EXPECT_EQ(writes("a"), 1);
  flash.will({.call = flash_call::read, .error = EIO});
  EXPECT_EQ(reads(), -EIO);
  EXPECT_EQ(reads(), 1);
  flash.will({.call = flash_call::status, .error = ENOMEM});
  EXPECT_EQ(status(), -ENOMEM);
  EXPECT_EQ(status(), 0);
  flash.will({.call = flash_call::open, .error = EACCES});
  EXPECT_EQ(opens(), -EACCES);
  EXPECT_EQ(opens(), 0);
  flash.will({.call = flash_call::remove, .error = EROFS});
  EXPECT_EQ(result(unlink(path)), -EROFS);
  EXPECT_EQ(result(unlink(path)), 0);
}

TEST_F(FlashProgram, tears_a_write) {
  flash.will({.call = flash_call::write, .error = EIO, .keep = 3});
  EXPECT_EQ(writes("hello"), -EIO);
  EXPECT_EQ(flash.on_chip("file"), "hel");
}

TEST_F(FlashProgram, fills_up) {
  flash.leave_room(7);
  EXPECT_EQ(writes("hello"), 5);
  EXPECT_EQ(writes("hello"), 2);
  EXPECT_EQ(writes("hello"), -ENOSPC);
  EXPECT_EQ(result(pwrite(file_, "HELLO", 5, 0)), 5) << "what is there needs no room";
  EXPECT_EQ(flash.on_chip("file"), "HELLOhe");
}

TEST_F(FlashProgram, takes_its_time) {
  using namespace std::chrono_literals;
  flash.will({.call = flash_call::write, .stay = 50ms});
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(writes("hello"), 5);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 50ms);
}

TEST_F(FlashProgram, heals) {
  flash.will({.call = flash_call::write, .error = EIO, .times = always});
  flash.leave_room(0);
  EXPECT_EQ(writes("a"), -EIO);
  flash.heal();
  EXPECT_EQ(writes("b"), 1);
}

TEST_F(FlashProgram, stays_broken_when_it_is_mounted_anew) {
  flash.will({.call = flash_call::open, .error = EIO, .skip = 1, .times = always});
  close(file_);
  ASSERT_EQ(umount2(mount_point, 0), 0);
  ASSERT_EQ(unlink(mount_marker), 0);
  program again({"/vamo/bin/kytemount"});
  ASSERT_TRUE(eventually([] { return exists(mount_marker); }));
  EXPECT_EQ(flash.mounts_begun(), 2u);
  EXPECT_EQ(opens(), 0);
  EXPECT_EQ(opens(), -EIO);
  ASSERT_EQ(umount2(mount_point, 0), 0);
  EXPECT_EQ(again.wait().status, 0);
}

// Two processes of the flash: one that serves, and a mount program that waits and whose parent is
// not the test. All of them hold the writing end of a pipe for as long as they live.
TEST(FlashLeftovers, end_with_the_test_that_they_serve) {
  broken_flash flash;
  flash.mount_new();
  if (IsSkipped() || HasFatalFailure()) return;
  flash.unmount();
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t killed_test = start_process([&] {
    flash.mount_new();
    flash.hold_mount_program();
    if (fork() != 0) pause();
    return execl("/vamo/bin/kytemount", "kytemount", nullptr);
  });
  close(ends[1]);
  const unique_fd alive(ends[0]);
  EXPECT_TRUE(eventually([] {
    const flash_plan *plan = existing_plan();
    return plan != nullptr && plan->mounts_begun == 2;
  }));
  kill(killed_test, SIGKILL);
  wait_for(killed_test);
  pollfd end{alive.get(), POLLIN, 0};
  EXPECT_EQ(poll(&end, 1, 10'000), 1);
  EXPECT_EQ(end.revents, POLLHUP);
}

}  // namespace

}  // namespace vesk::test
