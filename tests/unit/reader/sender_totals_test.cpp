// What each sender put into the rings.
#include "reader/vesk_sender_totals.h"

#include <gtest/gtest.h>

#include <string>

namespace vesk::test {
namespace {

constexpr uint64_t sec = 1'000'000;
constexpr uint8_t bytes[100] = {};

class SenderCount : public ::testing::Test {
 protected:
  void add(uint16_t uuid, uint32_t secs, uint32_t size = 4, uint32_t usecs = 0) {
    ring_entry entry{};
    entry.uuid = uuid;
    entry.type = 1024;
    entry.secs = secs;
    entry.usecs = usecs;
    entry.data = ring_bytes(bytes).first(size);
    count.add(entry);
  }

  // "510:2/48 677:1/24": sender, entries and bytes, in order.
  std::string listed() const {
    std::string text;
    for (const auto &[uuid, totals] : count.by_bytes()) {
      text += std::string(text.empty() ? "" : " ") + std::to_string(uuid) + ":" +
              std::to_string(totals.entries) + "/" + std::to_string(totals.bytes);
    }
    return text;
  }

  sender_totals of(uint16_t uuid) const {
    for (const auto &[sender, totals] : count.by_bytes()) {
      if (sender == uuid) return totals;
    }
    ADD_FAILURE() << "no sender " << uuid;
    return {};
  }

  sender_count count;
};

TEST_F(SenderCount, of_nothing_is_nothing) {
  EXPECT_EQ(listed(), "");
  EXPECT_EQ(count.all().entries, 0u);
  EXPECT_EQ(count.all().bytes, 0u);
  EXPECT_EQ(entries_per_hour(count.all()), std::nullopt);
}

TEST_F(SenderCount, counts_headers_and_data_and_puts_the_most_first) {
  add(80, 100, 4);
  add(677, 101, 100);
  add(510, 102, 0);
  add(80, 103, 8);
  EXPECT_EQ(listed(), "677:1/120 80:2/52 510:1/20");
  EXPECT_EQ(count.all().entries, 4u);
  EXPECT_EQ(count.all().bytes, 192u);
}

TEST_F(SenderCount, puts_equals_in_the_order_of_their_numbers) {
  add(2736, 100);
  add(1, 100);
  add(677, 100);
  EXPECT_EQ(listed(), "1:1/24 677:1/24 2736:1/24");
}

TEST_F(SenderCount, rate_is_that_of_the_steps_between_the_entries) {
  add(677, 1000);
  add(677, 1900);
  add(677, 2800);
  EXPECT_EQ(of(677).first, 1000 * sec);
  EXPECT_EQ(of(677).last, 2800 * sec);
  EXPECT_EQ(entries_per_hour(of(677)), 4.0);
}

TEST_F(SenderCount, rate_takes_fractions_of_a_second) {
  add(677, 1000, 4, 500'000);
  add(677, 1001);
  EXPECT_EQ(entries_per_hour(of(677)), 7200.0);
}

TEST_F(SenderCount, single_entry_has_no_rate) {
  add(677, 1000);
  EXPECT_EQ(entries_per_hour(of(677)), std::nullopt);
}

TEST_F(SenderCount, entries_of_one_moment_have_no_rate) {
  add(677, 1000);
  add(677, 1000);
  EXPECT_EQ(entries_per_hour(of(677)), std::nullopt);
}

TEST_F(SenderCount, clock_that_jumped_back_leaves_no_rate) {
  add(677, 2000);
  add(677, 1000);
  add(677, 3000);
  EXPECT_EQ(of(677).first, 1000 * sec);
  EXPECT_EQ(of(677).last, 3000 * sec);
  EXPECT_EQ(entries_per_hour(of(677)), std::nullopt);
  EXPECT_EQ(entries_per_hour(count.all()), std::nullopt);
}

TEST_F(SenderCount, step_back_of_less_than_a_second_is_no_jump) {
  add(677, 1000, 4, 999'999);
  add(677, 1000, 4, 0);
  add(677, 4600, 4, 0);
  EXPECT_EQ(entries_per_hour(of(677)), 2.0);
}

TEST_F(SenderCount, step_back_of_a_second_is_a_jump) {
  add(677, 1001);
  add(677, 1000);
  add(677, 4600);
  EXPECT_EQ(entries_per_hour(of(677)), std::nullopt);
}

TEST_F(SenderCount, other_senders_clocks_do_not_matter) {
  add(80, 9000);
  add(677, 1000);
  add(80, 8000);
  add(677, 4600);
  EXPECT_EQ(entries_per_hour(of(677)), 1.0);
  EXPECT_EQ(entries_per_hour(of(80)), std::nullopt);
}

TEST_F(SenderCount, rings_do_not_follow_each_other) {
  count.begin_ring();
  add(677, 4600);
  count.begin_ring();
  add(677, 1000);
  EXPECT_EQ(of(677).first, 1000 * sec);
  EXPECT_EQ(of(677).last, 4600 * sec);
  EXPECT_EQ(entries_per_hour(of(677)), 1.0);
}

}  // namespace
}  // namespace vesk::test
