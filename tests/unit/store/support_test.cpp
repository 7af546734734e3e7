// The tests' own tools: what the other tests take for granted.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>

#include "tests/support/faults.h"
#include "tests/support/log_file.h"
#include "tests/support/record.h"
#include "tests/support/ring_builder.h"

namespace vesk::test {
namespace {

TEST(RingBuilder, writes_the_bytes_of_an_empty_ring) {
  const log_file file = ring(7).make();
  EXPECT_EQ(file.path(), "/mnt/vesk/temperature_err.log");
  EXPECT_EQ(file.size(), 20u);
  // 7665 + 736b + 0100 + 2000 + 0014 + 0014 = 10af8, folded 0af9; f506 completes it to ffff.
  EXPECT_EQ(file.hex(0, 20), "76 65 73 6b  01 00 f5 06  00 00 20 00  00 00 00 14  00 00 00 14");
  EXPECT_EQ(file.picture(), "start=20 end=20");
}

TEST(RingBuilder, writes_the_bytes_of_an_entry) {
  const log_file file = ring(7)
                            .entry({.uuid = 0x0102,
                                    .type = 0x0403,
                                    .size = 8,
                                    .flags = 0x11,
                                    .prev_size = 0x0010,
                                    .secs = 0x01000200,
                                    .usecs = 0x03000400})
                            .make();
  // 0102 + 0403 + 0008 + 1100 + 0010 + 0100 + 0200 + 0300 + 0400 = 201d; dfe2 completes it.
  EXPECT_EQ(file.hex(20, 28),
            "01 02 04 03  00 08 df e2  11 00 00 10  01 00 02 00  03 00 04 00  "
            "b5 b5 b5 b5  b5 b5 b5 b5");
  EXPECT_EQ(file.picture(), "E1027/8 start=20 end=48");
}

TEST(RingBuilder, damage_holds_no_header_at_any_step) {
  const log_file file = ring(7).entry(1024, 8).damage(64).entry(1025, 4).make();
  const std::vector<uint8_t> bytes = file.bytes();
  for (uint32_t at = 24; at < 112; at += 4) EXPECT_FALSE(sum_holds(&bytes[at])) << at;
  EXPECT_TRUE(sum_holds(&bytes[112]));
  EXPECT_EQ(file.picture(), "E1024/8 ~64 E1025/4 start=20 end=136");
}

TEST(RingBuilder, refuses_to_take_an_accident_for_damage) {
  // Zeros in front of a header whose last words are zero sum up four bytes early.
  ring r(7);
  r.null(4).entry({.type = 1024, .size = 4, .usecs = 0});
  EXPECT_THROW(r.make(), std::logic_error);
}

TEST(RingBuilder, gives_the_bytes_of_a_ring_of_any_capacity) {
  const image file = ring::of_capacity(120).chained().entry(1024, 8).null(4).entry(1025, 0).bytes();
  ASSERT_EQ(file.size(), 92u);
  EXPECT_EQ(get32(file, 8), 120u);
  EXPECT_EQ(get16(file, 20 + 10), 20u);
  EXPECT_EQ(get16(file, 48 + 10), 8u);
  EXPECT_EQ(get16(file, 72 + 10), 4u);
  EXPECT_EQ(picture_of(file), "E1024/8 N/4 E1025/0 start=20 end=92");
}

TEST(Picture, marks_a_header_that_no_longer_holds) {
  const log_file file = ring(7).entry(1024, 40).null(4).entry({.type = 1025, .sum = 0x1234}).make();
  EXPECT_EQ(file.picture(), "E1024/40 N/4 !E1025/0 start=20 end=124");
}

TEST(Picture, follows_a_ring_that_is_wrapped) {
  const log_file file = ring(7)
                            .entry(1026, 8)
                            .end_here()
                            .damage_to(8100)
                            .start_here()
                            .entry(1024, 4)
                            .entry(1025, 8)
                            .null_to_max()
                            .make();
  EXPECT_EQ(file.size(), 8192u);
  EXPECT_EQ(file.picture(), "E1024/4 E1025/8 N/20 | E1026/8 start=8100 end=48");
}

TEST(Picture, shows_a_chain_that_misses_the_end) {
  EXPECT_EQ(ring(7).entry(1024, 40).end(72).make().picture(), "E1024/40 ... start=20 end=72");
}

TEST(Picture, marks_a_global_header_that_does_not_hold) {
  EXPECT_EQ(ring(7).patch(6, {0, 0}).make().picture(), "!start=20 end=20");
}

TEST(Record, is_laid_out_as_a_client_sends_it) {
  const record r({.uuid = 0x0102,
                  .type = 0x0304,
                  .len = 3,
                  .flags = 5,
                  .update = 6,
                  .secs = 0x0708090a,
                  .usecs = 0x0b0c0d0e,
                  .file_type = 0x0f10,
                  .sync = 0x11,
                  .reserved = 0x12,
                  .instance = 0x13141516});
  EXPECT_EQ(r.bytes(), (std::vector<uint8_t>{1,    2,    3,    4,    0,    3,    5,   6,   7,
                                             8,    9,    0xa,  0xb,  0xc,  0xd,  0xe, 0xf, 0x10,
                                             0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 'a', 'b', 'c'}));
}

TEST(FaultPlan, gives_a_result_in_place_of_the_call) {
  const log_file file = ring(7).make();
  fault_plan faults;
  faults.fail(call::write, nth(2), returns{-1}, with{ENOSPC});
  EXPECT_EQ(write(file.fd(), "abcd", 4), 4);
  EXPECT_EQ(write(file.fd(), "efgh", 4), -1);
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(write(file.fd(), "ijkl", 4), 4);
  EXPECT_EQ(file.text(0, 8), "abcdijkl");
  EXPECT_EQ(faults.journal(), "write 4, write 4, write 4");
  EXPECT_EQ(faults.count(call::write), 3u);
}

TEST(FaultPlan, shortens_a_call_that_is_really_made) {
  const log_file file = ring(7).make();
  fault_plan faults;
  faults.shorten(call::write, from(1), only{3});
  errno = EDOM;
  EXPECT_EQ(write(file.fd(), "abcde", 5), 3);
  EXPECT_EQ(errno, EDOM);
  EXPECT_EQ(file.hex(0, 4), "61 62 63 6b");
}

TEST(FaultPlan, holds_the_clock) {
  fault_plan faults;
  faults.clock(1600000000, 250000);
  timeval tv{};
  EXPECT_EQ(gettimeofday(&tv, nullptr), 0);
  EXPECT_EQ(tv.tv_sec, 1600000000);
  EXPECT_EQ(tv.tv_usec, 250000);
}

TEST(FaultPlan, is_over_when_it_is_gone) {
  const log_file file = ring(7).make();
  { fault_plan().fail(call::lseek, from(1), returns{-1}, with{EINVAL}); }
  EXPECT_EQ(lseek(file.fd(), 12, SEEK_SET), 12);
}

TEST(FaultPlan, writes_down_what_is_opened_and_closed) {
  const log_file file = ring(7).make();
  fault_plan faults;
  const int fd = open(file.path().c_str(), O_RDONLY);
  EXPECT_GT(fd, STDERR_FILENO);
  EXPECT_EQ(lseek(fd, 4, SEEK_SET), 4);
  std::array<uint8_t, 16> rest{};
  EXPECT_EQ(read(fd, rest.data(), rest.size()), 16);
  EXPECT_EQ(close(fd), 0);
  EXPECT_EQ(faults.journal(), "open /mnt/vesk/temperature_err.log, lseek 4, read 16, close");
}

}  // namespace
}  // namespace vesk::test
