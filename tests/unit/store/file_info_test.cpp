#include "store/vesk_file_info.h"

#include <cerrno>

#include "format/vesk_catalogue.h"
#include "tests/unit/store/store_test.h"

namespace vesk::test {
namespace {

class FileInfo : public StoreTest {
 protected:
  int32_t look(uint32_t file_type) {
    return vesk_get_file_info(file_type, &max_size, &file_size, path);
  }

  uint32_t max_size = 1;
  uint32_t file_size = 2;
  char path[VESK_PATH_SIZE] = "unwritten";
};

TEST_F(FileInfo, tells_path_capacity_and_size) {
  const log_file file = ring(7).entry(1024, 40).make();
  EXPECT_EQ(look(7), 0);
  EXPECT_STREQ(path, "/mnt/vesk/temperature_err.log");
  EXPECT_EQ(max_size, 8192u);
  EXPECT_EQ(file_size, 80u);
}

TEST_F(FileInfo, tells_the_largest_size_of_a_file_beyond_4_gib) {
  const log_file file = ring(7).make();
  if (!file.extend_to(0xFFFFFFFF)) GTEST_SKIP() << "file offsets of 32 bits end at 2 GiB";
  EXPECT_EQ(look(7), 0);
  EXPECT_EQ(file_size, 0xFFFFFFFFu);
  ASSERT_TRUE(file.extend_to(0x100000014));
  EXPECT_EQ(look(7), 0);
  EXPECT_EQ(file_size, 0xFFFFFFFFu);
}

TEST_F(FileInfo, tells_path_and_capacity_of_a_file_that_does_not_exist) {
  EXPECT_EQ(look(21), -1);
  EXPECT_STREQ(path, "/mnt/vesk/kernel.log");
  EXPECT_EQ(max_size, 8388608u);
  EXPECT_EQ(file_size, 2u);
}

TEST_F(FileInfo, tells_nothing_of_a_type_without_a_row) {
  fault_plan faults;
  EXPECT_EQ(look(8), -1);
  EXPECT_STREQ(path, "unwritten");
  EXPECT_EQ(max_size, 1u);
  EXPECT_EQ(file_size, 2u);
  EXPECT_EQ(faults.journal(), "");
}

TEST_F(FileInfo, asks_for_the_status_once_and_opens_nothing) {
  const log_file file = ring(7).make();
  fault_plan faults;
  EXPECT_EQ(look(7), 0);
  EXPECT_EQ(faults.journal(), "stat /mnt/vesk/temperature_err.log");
}

TEST_F(FileInfo, asks_through_the_status_call_that_remounts) {
  const log_file file = ring(7).make();
  fault_plan faults;
  faults.fail(call::stat, nth(1), returns{-1}, with{EIO});
  faults.fail(call::stat, nth(2), returns{-1}, with{ENOENT});
  EXPECT_EQ(look(7), -1);
  EXPECT_EQ(faults.journal(), "stat /mnt/vesk/temperature_err.log, stat /kyte_mounted");
}

}  // namespace
}  // namespace vesk::test
