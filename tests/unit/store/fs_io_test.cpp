#include "store/vesk_fs_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

#include "store/vesk_flash.h"
#include "tests/unit/store/store_test.h"

namespace vesk::test {
namespace {

class FsIo : public StoreTest {
 protected:
  FsIo() { std::ofstream("/kyte_mounted"); }

  static long remounts() {
    return std::count(platform.calls.begin(), platform.calls.end(),
                      "execute_program_and_let_go(/vamo/bin/kytemount)");
  }

  int32_t read_some(uint32_t len) { return vesk_read_fs(file.fd(), buffer, len); }
  int32_t write_some(uint32_t len) { return vesk_write_fs(file.fd(), buffer, len); }

  log_file file = ring(7).entry(1024, 40).make();
  char buffer[100] = {};
};

TEST_F(FsIo, reads_and_writes_where_the_descriptor_stands) {
  EXPECT_EQ(read_some(4), 4);
  EXPECT_EQ(std::string(buffer, 4), "vesk");
  EXPECT_EQ(vesk_write_fs(file.fd(), "abcd", 4), 4);
  EXPECT_EQ(file.text(0, 8), "veskabcd");
  EXPECT_EQ(remounts(), 0);
}

TEST_F(FsIo, short_count_is_returned_and_not_made_up) {
  fault_plan faults;
  faults.shorten(call::read, nth(1), only{7}, with{ENOSPC});
  faults.shorten(call::write, nth(1), only{9}, with{ENOSPC});
  EXPECT_EQ(read_some(20), 7);
  EXPECT_EQ(write_some(20), 9);
  EXPECT_EQ(faults.journal(), "read 20, write 20");
  EXPECT_EQ(remounts(), 0);
}

TEST_F(FsIo, failure_with_an_io_error_remounts) {
  fault_plan faults;
  faults.fail(call::read, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(read_some(20), -1);
  EXPECT_EQ(remounts(), 1);
  faults.fail(call::write, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(write_some(20), -1);
  EXPECT_EQ(remounts(), 2);
  EXPECT_EQ(faults.journal(), "read 20, stat /kyte_mounted, write 20, stat /kyte_mounted");
}

TEST_F(FsIo, failure_with_another_error_does_not_remount) {
  for (const int error : {EBADF, EFAULT, ENOSPC, EINTR, ENXIO}) {
    fault_plan faults;
    faults.fail(call::read, nth(1), returns{-1}, with{error});
    faults.fail(call::write, nth(1), returns{-1}, with{error});
    EXPECT_EQ(read_some(20), -1);
    EXPECT_EQ(errno, error);
    EXPECT_EQ(write_some(20), -1);
    EXPECT_EQ(errno, error);
  }
  EXPECT_EQ(remounts(), 0);
}

TEST_F(FsIo, short_count_with_an_errno_of_long_ago_remounts) {
  fault_plan faults;
  faults.shorten(call::write, nth(1), only{19});
  errno = EIO;
  EXPECT_EQ(write_some(20), 19);
  EXPECT_EQ(remounts(), 1);
}

TEST_F(FsIo, end_of_file_with_an_errno_of_long_ago_remounts) {
  ASSERT_EQ(lseek(file.fd(), 0, SEEK_END), 80);
  errno = EIO;
  EXPECT_EQ(read_some(20), 0);
  EXPECT_EQ(remounts(), 1);
}

TEST_F(FsIo, full_count_never_remounts) {
  errno = EIO;
  EXPECT_EQ(read_some(20), 20);
  EXPECT_EQ(write_some(20), 20);
  EXPECT_EQ(write_some(0), 0);
  EXPECT_EQ(remounts(), 0);
}

TEST_F(FsIo, errno_survives_the_remount) {
  platform.clobber_errno = EDOM;
  fault_plan faults;
  faults.fail(call::read, nth(1), returns{-1}, with{EIO});
  faults.shorten(call::write, nth(1), only{3}, with{EIO});
  EXPECT_EQ(read_some(20), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(write_some(20), 3);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(remounts(), 2);
}

TEST_F(FsIo, errno_survives_a_remount_that_does_not_happen) {
  unlink("/kyte_mounted");
  fault_plan faults;
  faults.fail(call::read, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(read_some(20), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(remounts(), 0);
}

TEST_F(FsIo, status_call_remounts_on_an_io_error_and_still_fails) {
  platform.clobber_errno = EDOM;
  struct stat st {};
  fault_plan faults;
  faults.fail(call::stat, nth(1), returns{-1}, with{EIO});
  EXPECT_EQ(vesk_stat_fs("/mnt/vesk/", &st), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(remounts(), 1);
  EXPECT_EQ(faults.journal(), "stat /mnt/vesk/, stat /kyte_mounted");
}

TEST_F(FsIo, status_call_that_fails_otherwise_does_not_remount) {
  struct stat st {};
  EXPECT_EQ(vesk_stat_fs("/mnt/vesk/absent", &st), -1);
  EXPECT_EQ(errno, ENOENT);
  errno = EIO;
  EXPECT_EQ(vesk_stat_fs("/mnt/vesk/", &st), 0);
  EXPECT_EQ(remounts(), 0);
}

}  // namespace
}  // namespace vesk::test
