#include "reader/vesk_ring_summary.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"

namespace vesk::test {
namespace {

ring_summary summary_of(const std::string &file) {
  return summarize({reinterpret_cast<const uint8_t *>(file.data()), file.size()}, 120);
}

TEST(Summary, empty_ring) {
  const ring_summary summary = summary_of(gheader(120, 20, 20));
  ASSERT_TRUE(summary.state);
  EXPECT_FALSE(summary.state->wrapped());
  EXPECT_EQ(summary.entries, 0u);
  EXPECT_FALSE(summary.oldest);
  EXPECT_FALSE(summary.newest);
  EXPECT_FALSE(summary.damage);
}

TEST(Summary, oldest_and_newest_are_those_of_the_ring_and_not_of_the_file) {
  const std::string file = gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8();
  const ring_summary summary = summary_of(file);
  ASSERT_TRUE(summary.state);
  EXPECT_TRUE(summary.state->wrapped());
  EXPECT_EQ(summary.entries, 2u);
  ASSERT_TRUE(summary.oldest);
  EXPECT_EQ(summary.oldest->offset, 64u);
  ASSERT_TRUE(summary.newest);
  EXPECT_EQ(summary.newest->offset, 20u);
  EXPECT_FALSE(summary.damage);
}

TEST(Summary, damaged_ring_counts_what_can_be_read) {
  const ring_summary summary = summary_of(gheader(120, 20, 104) + alpha() + beta() + stale(32));
  EXPECT_EQ(summary.entries, 2u);
  ASSERT_TRUE(summary.newest);
  EXPECT_EQ(summary.newest->offset, 48u);
  ASSERT_TRUE(summary.damage);
  EXPECT_EQ(summary.damage->offset, 72u);
}

TEST(Summary, lost_global_header_leaves_no_state) {
  const ring_summary summary = summary_of(stale(120));
  EXPECT_FALSE(summary.state);
  EXPECT_EQ(summary.entries, 0u);
  EXPECT_TRUE(summary.damage);
}

TEST(Used, counts_the_live_bytes) {
  EXPECT_EQ(used_bytes({.max = 120, .start = 20, .end = 20}), 0u);
  EXPECT_EQ(used_bytes({.max = 120, .start = 48, .end = 104}), 56u);
  EXPECT_EQ(used_bytes({.max = 120, .start = 20, .end = 120}), 100u);
  EXPECT_EQ(used_bytes({.max = 120, .start = 64, .end = 52}), 88u);
}

bool whole(const std::string &file, uint32_t capacity) {
  ring_walk walk =
      begin_walk({reinterpret_cast<const uint8_t *>(file.data()), file.size()}, capacity);
  while (next_entry(walk)) continue;
  return reached_end(walk);
}

TEST(WalkToTheEnd, is_one_that_no_break_ended) {
  EXPECT_TRUE(whole(gheader(120, 20, 20), 120));
  EXPECT_TRUE(whole(gheader(120, 20, 48) + alpha(), 120));
  EXPECT_FALSE(whole(gheader(120, 20, 48) + stale(28), 120));
  EXPECT_FALSE(whole(gheader(120, 20, 48) + beta() + stale(4), 120));
  EXPECT_FALSE(whole(stale(120), 120));
}

TEST(WalkToTheEnd, may_come_by_a_header_that_claims_too_much) {
  EXPECT_TRUE(whole(gheader(120, 20, 48) + alpha(), 8192));
  EXPECT_TRUE(whole(gheader(120, 20, 48) + alpha() + stale(80), 120));
  EXPECT_FALSE(whole(gheader(120, 20, 48) + stale(80), 8192));
}

TEST(Fill, counts_the_live_bytes_and_rounds_down) {
  EXPECT_EQ(fill_percent({.max = 120, .start = 20, .end = 20}), 0u);
  EXPECT_EQ(fill_percent({.max = 120, .start = 20, .end = 104}), 84u);
  EXPECT_EQ(fill_percent({.max = 120, .start = 48, .end = 104}), 56u);
  EXPECT_EQ(fill_percent({.max = 120, .start = 20, .end = 120}), 100u);
  EXPECT_EQ(fill_percent({.max = 120, .start = 64, .end = 52}), 88u);
  EXPECT_EQ(fill_percent({.max = 8192, .start = 20, .end = 8191}), 99u);
  EXPECT_EQ(fill_percent({.max = 0xFFFFFFFF, .start = 20, .end = 0xFFFFFFFF}), 100u);
}

}  // namespace
}  // namespace vesk::test
