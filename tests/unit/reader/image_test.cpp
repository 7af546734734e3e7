// Reading a file into memory, also one that is being written to.
#include "reader/vesk_ring_image.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "reader/vesk_ring_walk.h"
#include "tests/support/file_bytes.h"
#include "tests/unit/reader/pread_faults.h"

namespace vesk::test {
namespace {

struct reading {
  std::string reason;
  std::string bytes;
};

reading read(const std::string &path) {
  std::vector<uint8_t> image;
  std::string reason = read_ring_image(path, unknown_capacity, image).reason;
  return {reason, reason.empty() ? std::string(image.begin(), image.end()) : ""};
}

void overwrite(const std::string &path, const std::string &bytes) {
  const int fd = open(path.c_str(), O_WRONLY);
  EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  close(fd);
}

class Image : public ::testing::Test {
 protected:
  ~Image() override { faulty_pread = {}; }

  scratch_directory directory;
  const std::string path = directory / "ring";
  const std::string sound = gheader(120, 20, 104) + alpha() + beta() + gamma_ray();
  const std::string broken = gheader(120, 20, 104) + alpha() + stale(24) + gamma_ray();
};

TEST_F(Image, holds_the_file_byte_for_byte) {
  store(path, sound);
  const auto [reason, bytes] = read(path);
  EXPECT_EQ(reason, "");
  EXPECT_EQ(bytes, sound);
}

TEST_F(Image, of_an_empty_file_is_empty) {
  store(path, "");
  const auto [reason, bytes] = read(path);
  EXPECT_EQ(reason, "");
  EXPECT_EQ(bytes, "");
}

TEST_F(Image, of_a_damaged_file_is_the_file) {
  store(path, broken);
  EXPECT_EQ(read(path).bytes, broken);
}

TEST_F(Image, missing_file) {
  EXPECT_EQ(read(path).reason, "No such file or directory");
}

TEST_F(Image, directory) {
  EXPECT_EQ(read(directory.path()).reason, "Is a directory");
}

TEST_F(Image, fifo_is_refused_without_waiting) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(read(path).reason, "Not a regular file");
}

TEST_F(Image, file_that_is_too_large_is_not_read) {
  store(path, sound);
  ASSERT_EQ(truncate(path.c_str(), 64 * 1024 * 1024 + 1), 0);
  EXPECT_EQ(read(path).reason, "Larger than 64 MiB: not a log file");
}

TEST_F(Image, file_that_the_system_cannot_read_is_refused) {
  store(path, sound);
  faulty_pread.error = EIO;
  EXPECT_EQ(read(path).reason, "Input/output error");
}

// --- files that are written to while they are read: one call of pread takes the whole file, the
// next one looks at its header again ---

TEST_F(Image, is_read_again_when_the_header_moved_meanwhile) {
  const std::string earlier = gheader(120, 20, 48) + alpha();
  store(path, earlier);
  faulty_pread.after = [&](int calls) {
    if (calls == 1) overwrite(path, sound);
  };
  EXPECT_EQ(read(path).bytes, sound);
}

TEST_F(Image, is_read_again_when_an_entry_was_there_before_its_header) {
  store(path, broken);
  faulty_pread.after = [&](int calls) {
    if (calls == 6) overwrite(path, sound);
    if (calls < 6) overwrite(path, broken);
  };
  EXPECT_EQ(read(path).bytes, sound);
}

TEST_F(Image, is_what_is_left_of_a_file_that_shrinks) {
  store(path, sound);
  faulty_pread.after = [&](int calls) {
    if (calls == 1) {
      EXPECT_EQ(truncate(path.c_str(), 50), 0);
    }
  };
  EXPECT_EQ(read(path).bytes, sound);
  EXPECT_EQ(read(path).bytes, sound.substr(0, 50));
}

TEST_F(Image, is_read_once_where_the_damage_is_old) {
  store(path, broken);
  int preads = 0;
  faulty_pread.after = [&](int calls) { preads = calls; };
  EXPECT_EQ(read(path).bytes, broken);
  EXPECT_EQ(preads, 2);
}

TEST_F(Image, is_not_awaited_for_ever) {
  store(path, sound);
  const std::string empty = gheader(120, 20, 20) + sound.substr(20);
  int preads = 0;
  faulty_pread.after = [&](int calls) {
    preads = calls;
    overwrite(path, calls % 2 == 1 ? empty : sound);
  };
  EXPECT_EQ(read(path).bytes, sound);
  EXPECT_EQ(preads, 62);  // two for the first reading and for each of thirty more
}

TEST_F(Image, reads_only_and_leaves_the_file_alone) {
  store(path, broken);
  struct stat before, after;
  ASSERT_EQ(stat(path.c_str(), &before), 0);
  read(path);
  ASSERT_EQ(stat(path.c_str(), &after), 0);
  EXPECT_EQ(before.st_size, after.st_size);
  EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
}

}  // namespace
}  // namespace vesk::test
