// Remounts that do not help are reported to everybody who listens.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "tests/flash/flash_test.h"
#include "tests/flash/listener.h"

namespace vesk::test {

namespace {

using namespace std::chrono_literals;

class ExceptionReport : public flash_test {
 protected:
  // One record that cannot be stored, one remount, and the marker is back.
  void remount_once() {
    flash.will({.call = flash_call::open, .error = EIO});
    EXPECT_EQ(send("hit"), response::refused);
    EXPECT_TRUE(eventually([] { return exists(mount_marker); }));
  }

  void remount(int times) {
    for (int i = 0; i < times; ++i) remount_once();
  }
};

uint32_t big_endian_word(const std::vector<uint8_t> &bytes, size_t offset) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value = value << 8 | bytes.at(offset + i);
  return value;
}

TEST_F(ExceptionReport, is_sent_from_the_fourth_remount_on) {
  listener ear;
  remount(3);
  EXPECT_EQ(flash.mounts_begun(), 4u);
  EXPECT_FALSE(ear.hear(50ms)) << "the first three remounts are silent";
  remount(1);
  EXPECT_TRUE(ear.hear());
  EXPECT_FALSE(ear.hear(50ms)) << "one report a remount";
  remount(1);
  EXPECT_TRUE(ear.hear());
  EXPECT_EQ(flash.mounts_begun(), 6u);
  EXPECT_EQ(send("after"), response::stored);
}

TEST_F(ExceptionReport, holds_what_has_happened_and_when) {
  listener ear;
  const auto before = static_cast<uint32_t>(time(nullptr));
  remount(4);
  auto got = ear.hear();
  const auto after = static_cast<uint32_t>(time(nullptr));
  ASSERT_TRUE(got);
  EXPECT_EQ(got->header.opcode, 7000u);
  EXPECT_EQ(got->header.length, 330u);

  std::vector<uint8_t> report = got->payload;
  ASSERT_EQ(report.size(), 330u);
  EXPECT_GE(big_endian_word(report, 161), before);
  EXPECT_LE(big_endian_word(report, 161), after);
  EXPECT_LT(big_endian_word(report, 165), 1'000'000u);
  std::fill_n(report.begin() + 161, 8, uint8_t{0});

  // Numbers in front of the text in the machine's own order, as everything but the time.
  const uint32_t code = 0x40C90000;
  const uint16_t always_48 = 48;
  const uint32_t identity = 293;
  const char text[] = "Not able to mount filesystem on KYTE flash";
  std::vector<uint8_t> expected(330);
  std::memcpy(&expected[0], &code, 4);
  std::memcpy(&expected[4], &always_48, 2);
  expected[6] = 1;
  std::memcpy(&expected[7], &code, 4);
  expected[11] = 'a';
  std::memcpy(&expected[24], &identity, 4);
  std::memcpy(&expected[28], text, sizeof text);
  EXPECT_EQ(report, expected);
}

TEST_F(ExceptionReport, is_sent_by_a_new_daemon_only_after_three_more_remounts) {
  remount(3);
  ASSERT_EQ(daemon.stop(SIGTERM), 3);
  daemon.start();
  listener ear;
  remount(3);
  EXPECT_FALSE(ear.hear(50ms));
  remount(1);
  EXPECT_TRUE(ear.hear());
}

// Nobody listens, and the daemon goes on all the same.
TEST_F(ExceptionReport, needs_no_listener) {
  remount(5);
  EXPECT_EQ(send("after"), response::stored);
}

}  // namespace

}  // namespace vesk::test
