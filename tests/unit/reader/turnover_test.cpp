// How fast rings are written, and how long their entries live.
#include "reader/vesk_ring_turnover.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"

namespace vesk::test {
namespace {

constexpr uint32_t hour = 3600;
constexpr uint32_t day = 86400;
constexpr uint64_t usec = 1;
constexpr uint64_t sec = 1'000'000 * usec;

// An entry of 120 bytes.
std::string entry_at(uint32_t secs) {
  return entry({.secs = secs}, std::string(100, 'x'));
}

ring_turnover turnover(const std::string &file) {
  return turnover_of({reinterpret_cast<const uint8_t *>(file.data()), file.size()},
                     unknown_capacity);
}

// The rate as "BYTES/SECONDS", or "-".
std::string rate_of(const std::string &file) {
  const auto rate = turnover(file).rate;
  if (!rate) return "-";
  EXPECT_EQ(rate->usecs % sec, 0u);
  return std::to_string(rate->bytes) + "/" + std::to_string(rate->usecs / sec);
}

TEST(Turnover, of_an_empty_ring_is_not_known) {
  const ring_turnover result = turnover(gheader(120, 20, 20));
  EXPECT_TRUE(result.state);
  EXPECT_FALSE(result.oldest || result.span || result.rate || result.life || result.full_at);
  EXPECT_FALSE(result.damage);
}

TEST(Turnover, of_a_single_entry_is_not_known) {
  const ring_turnover result = turnover(file_of(entry_at(noon)));
  EXPECT_EQ(result.oldest, noon * sec);
  EXPECT_FALSE(result.span || result.rate || result.life || result.full_at);
}

TEST(Turnover, follows_from_two_entries) {
  const ring_turnover result = turnover(file_of(entry_at(noon) + entry_at(noon + 60)));
  EXPECT_EQ(result.span, 60 * sec);
  ASSERT_TRUE(result.rate);
  EXPECT_EQ(result.rate->bytes, 120u);
  EXPECT_EQ(result.rate->usecs, 60 * sec);
  EXPECT_EQ(result.life, 4086 * sec);                   // 8172 bytes at 2 bytes a second
  EXPECT_EQ(result.full_at, (noon + 60 + 3966) * sec);  // 7932 bytes are left
}

TEST(Turnover, of_a_wrapped_ring_has_no_time_when_it_is_full) {
  const std::string file = gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8();
  const ring_turnover result = turnover(file);
  EXPECT_EQ(result.oldest, noon * sec + 1);
  EXPECT_EQ(result.span, 2'999'998u);
  ASSERT_TRUE(result.rate);
  EXPECT_EQ(result.rate->bytes, 32u);  // the newer entry's; null entries do not count
  EXPECT_EQ(result.rate->usecs, 2'999'998u);
  EXPECT_EQ(result.life, 9'374'993u);  // 100 bytes: 9374993.75
  EXPECT_FALSE(result.full_at);
}

TEST(Turnover, of_a_ring_that_gave_up_entries_has_no_time_when_it_is_full_either) {
  const std::string entries = stale(120) + entry_at(noon) + entry_at(noon + 60);
  const ring_turnover result = turnover(gheader(8192, 140, 380) + entries);
  EXPECT_EQ(result.life, 4086 * sec);
  EXPECT_FALSE(result.full_at);
}

TEST(FullRing, has_wrapped_or_given_up_its_first_entry) {
  EXPECT_FALSE(has_been_full({.max = 120, .start = 20, .end = 20}));
  EXPECT_FALSE(has_been_full({.max = 120, .start = 20, .end = 120}));
  EXPECT_TRUE(has_been_full({.max = 120, .start = 48, .end = 120}));
  EXPECT_TRUE(has_been_full({.max = 120, .start = 64, .end = 52}));
}

// --- which entries make the present rate ---

TEST(PresentRate, is_that_of_the_newest_quarter_where_this_is_more_than_a_day) {
  std::string entries;
  for (uint32_t i = 0; i < 6; ++i) entries += entry_at(noon + i * day);
  for (uint32_t i = 0; i < 2; ++i) entries += entry_at(noon + (10 + 5 * i) * day);
  EXPECT_EQ(rate_of(file_of(entries)), "120/432000");
}

TEST(PresentRate, takes_the_entry_in_which_the_newest_quarter_begins) {
  std::string entries;
  for (uint32_t i = 0; i < 9; ++i) entries += entry_at(noon + 2 * i * day);
  EXPECT_EQ(rate_of(file_of(entries)), "240/345600");  // 270 of 1080 bytes: the last three
}

TEST(PresentRate, is_that_of_the_last_day_where_this_is_more_than_a_quarter) {
  std::string entries = entry_at(noon);
  for (uint32_t i = 0; i <= 4; ++i) entries += entry_at(noon + 10 * day + 6 * hour * i);
  EXPECT_EQ(rate_of(file_of(entries)), "480/86400");
}

TEST(PresentRate, takes_two_entries_at_least) {
  const std::string large = entry({.secs = noon + 3 * day}, std::string(1000, 'x'));
  EXPECT_EQ(rate_of(file_of(entry_at(noon) + entry_at(noon + day) + large)), "1020/172800");
}

TEST(PresentRate, counts_nothing_before_a_jump_of_the_clock) {
  const std::string before = entry_at(noon + 2 * hour) + entry_at(noon + 3 * hour);
  const std::string after = entry_at(noon) + entry_at(noon + 10) + entry_at(noon + 20);
  EXPECT_EQ(rate_of(file_of(before + after)), "240/20");
  EXPECT_FALSE(turnover(file_of(before + after)).span);
}

TEST(PresentRate, is_not_known_when_the_clock_jumped_before_the_newest_entry) {
  const std::string file = file_of(entry_at(noon) + entry_at(noon + 60) + entry_at(noon + 30));
  EXPECT_EQ(rate_of(file), "-");
  EXPECT_FALSE(turnover(file).life || turnover(file).full_at || turnover(file).span);
}

TEST(PresentRate, bears_entries_that_passed_each_other) {
  const std::string file = file_of(entry({.secs = noon, .usecs = 900000}, "late") +
                                   entry({.secs = noon, .usecs = 100000}, "soon") +
                                   entry({.secs = noon + 10, .usecs = 900000}, "last"));
  EXPECT_EQ(rate_of(file), "48/10");
  EXPECT_EQ(turnover(file).span, 10 * sec);
}

TEST(PresentRate, is_not_known_without_time_between_the_entries) {
  const std::string file = file_of(entry_at(noon) + entry_at(noon) + entry_at(noon));
  EXPECT_EQ(rate_of(file), "-");
  EXPECT_FALSE(turnover(file).span);
}

TEST(PresentRate, is_not_known_where_the_chain_breaks) {
  const std::string file =
      gheader(8192, 20, 284) + entry_at(noon) + entry_at(noon + 60) + stale(24);
  const ring_turnover result = turnover(file);
  EXPECT_EQ(result.oldest, noon * sec);
  EXPECT_FALSE(result.span || result.rate || result.life || result.full_at);
  ASSERT_TRUE(result.damage);
  EXPECT_EQ(result.damage->offset, 260u);
}

TEST(PresentRate, is_known_where_only_the_capacity_is_another_files) {
  const std::string file = file_of(entry_at(noon) + entry_at(noon + 60));
  const ring_turnover result =
      turnover_of({reinterpret_cast<const uint8_t *>(file.data()), file.size()}, 262144);
  EXPECT_TRUE(result.damage);
  EXPECT_TRUE(result.rate);
}

TEST(Turnover, of_a_lost_header_is_not_known) {
  const ring_turnover result = turnover(stale(120));
  EXPECT_FALSE(result.state || result.oldest || result.rate);
  EXPECT_TRUE(result.damage);
}

// --- large numbers ---

TEST(TimeToWrite, is_rounded_down) {
  EXPECT_EQ(time_to_write({.bytes = 3, .usecs = 10}, 1), 3u);
  EXPECT_EQ(time_to_write({.bytes = 3, .usecs = 10}, 2), 6u);
  EXPECT_EQ(time_to_write({.bytes = 3, .usecs = 10}, 3), 10u);
  EXPECT_EQ(time_to_write({.bytes = 3, .usecs = 10}, 0), 0u);
}

TEST(TimeToWrite, bears_the_largest_ring) {
  EXPECT_EQ(time_to_write({.bytes = 0xFFFFFFFF, .usecs = 0xFFFFFFFE}, 0xFFFFFFFF), 0xFFFFFFFEu);
  EXPECT_EQ(time_to_write({.bytes = 1, .usecs = 0x100000001}, 0xFFFFFFFF), 0xFFFFFFFFFFFFFFFFu);
}

TEST(TimeToWrite, is_not_known_where_it_is_too_long) {
  EXPECT_EQ(time_to_write({.bytes = 1, .usecs = 0x100000002}, 0xFFFFFFFF), std::nullopt);
  EXPECT_EQ(time_to_write({.bytes = 20, .usecs = 4294967295 * sec}, 0xFFFFFFFF), std::nullopt);
}

TEST(Turnover, of_the_slowest_and_largest_ring_is_too_long_to_tell) {
  const std::string entries = entry({.secs = 0}, "") + entry({.secs = 0xFFFFFFFF}, "");
  const ring_turnover result = turnover(gheader(0xFFFFFFFF, 20, 60) + entries);
  EXPECT_EQ(result.span, 4294967295 * sec);
  EXPECT_TRUE(result.rate);
  EXPECT_FALSE(result.life || result.full_at);
}

}  // namespace
}  // namespace vesk::test
