#include "platform/tg.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <vector>

namespace vesk::test {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

class Tg : public ::testing::Test {
 protected:
  // One group for all tests; each destroys the timers that it made.
  Tg() {
    static const uint32_t group = tg_create_group("timers of the tests");
    group_ = group;
  }
  ~Tg() override {
    for (const uint32_t timer : timers_) tg_destroy_timer(timer);
  }

  uint32_t start(uint32_t id, uint32_t repeating, uint32_t secs, uint32_t usecs) {
    const uint32_t timer = tg_create_timer(group_, id, 0, repeating);
    EXPECT_NE(timer, 0U);
    timers_.push_back(timer);
    const uint32_t interval[] = {secs, usecs};
    EXPECT_EQ(tg_start_timer(timer, interval), 1U);
    return timer;
  }

  // The id of the next expired timer, or 0.
  uint32_t expired() {
    uint32_t id = 0;
    void *data = nullptr;
    return tg_get_first_expired_timer(group_, &id, &data) != 0 ? id : 0;
  }

  microseconds left() {
    timeval tv{};
    EXPECT_EQ(tg_get_next_expiry_time(group_, &tv), &tv);
    return microseconds(tv.tv_sec * 1'000'000 + tv.tv_usec);
  }

  uint32_t group_ = 0;
  std::vector<uint32_t> timers_;
};

TEST_F(Tg, waits_for_ever_without_a_timer) {
  timeval tv = {7, 7};
  EXPECT_EQ(tg_get_next_expiry_time(group_, &tv), nullptr);
  EXPECT_EQ(expired(), 0U);
}

TEST_F(Tg, tells_the_time_that_is_left) {
  start(1, 1, 5, 0);
  EXPECT_LE(left(), microseconds(5'000'000));
  EXPECT_GT(left(), microseconds(4'000'000));
  EXPECT_EQ(expired(), 0U);
}

TEST_F(Tg, stores_nothing_while_none_has_expired) {
  start(1, 1, 5, 0);
  uint32_t id = 77;
  void *data = &id;
  EXPECT_EQ(tg_get_first_expired_timer(group_, &id, &data), 0);
  EXPECT_EQ(id, 77U);
  EXPECT_EQ(data, &id);
}

TEST_F(Tg, expires_once_however_late_it_is_asked_for) {
  start(1, 1, 0, 10'000);
  usleep(55'000);
  EXPECT_EQ(left(), microseconds(0));
  EXPECT_EQ(expired(), 1U);
  // Periods that were slept through are left out. On a slow machine one more may be over by now,
  // but never five.
  const auto asked = steady_clock::now();
  int bursts = 0;
  while (expired() != 0) ++bursts;
  EXPECT_LE(bursts, (steady_clock::now() - asked) / microseconds(10'000) + 1);
}

TEST_F(Tg, keeps_its_cadence_after_a_long_sleep) {
  const auto before = steady_clock::now();
  start(1, 1, 0, 100'000);
  const auto after = steady_clock::now();
  usleep(250'000);
  EXPECT_EQ(expired(), 1U);
  const auto asked = steady_clock::now();
  const microseconds rest = left();
  // The next expiry is a whole number of periods behind the start, as exactly as our looks at the
  // clock can tell.
  constexpr microseconds period(100'000);
  constexpr microseconds rounding(10);
  const auto earliest = std::chrono::duration_cast<microseconds>(asked - after) + rest - rounding;
  const auto latest =
      std::chrono::duration_cast<microseconds>(steady_clock::now() - before) + rest + rounding;
  EXPECT_LT(earliest / period, latest / period) << earliest.count() << " to " << latest.count();
}

TEST_F(Tg, stops_a_timer_that_does_not_repeat) {
  start(9, 0, 0, 1000);
  usleep(3000);
  EXPECT_EQ(expired(), 9U);
  usleep(3000);
  EXPECT_EQ(expired(), 0U);
  timeval tv;
  EXPECT_EQ(tg_get_next_expiry_time(group_, &tv), nullptr);
}

TEST_F(Tg, takes_the_timer_that_was_due_first) {
  start(2, 0, 0, 4000);
  start(1, 0, 0, 1000);
  usleep(8000);
  EXPECT_EQ(expired(), 1U);
  EXPECT_EQ(expired(), 2U);
  EXPECT_EQ(expired(), 0U);
}

TEST_F(Tg, keeps_groups_apart) {
  const uint32_t other = tg_create_group("another group");
  ASSERT_NE(other, 0U);
  start(1, 1, 0, 1000);
  usleep(2000);
  uint32_t id = 0;
  void *data = nullptr;
  EXPECT_EQ(tg_get_first_expired_timer(other, &id, &data), 0);
  EXPECT_EQ(expired(), 1U);
}

TEST_F(Tg, refuses_intervals_that_are_none) {
  const uint32_t timer = tg_create_timer(group_, 1, 0, 1);
  timers_.push_back(timer);
  const uint32_t never[] = {0, 0};
  const uint32_t beyond[] = {0, 1'000'000};
  EXPECT_EQ(tg_start_timer(timer, never), 0U);
  EXPECT_EQ(tg_start_timer(timer, beyond), 0U);
  timeval tv;
  EXPECT_EQ(tg_get_next_expiry_time(group_, &tv), nullptr);
}

TEST_F(Tg, refuses_handles_that_are_none) {
  const uint32_t second[] = {1, 0};
  EXPECT_EQ(tg_create_timer(0, 1, 0, 1), 0U);
  EXPECT_EQ(tg_create_timer(999, 1, 0, 1), 0U);
  EXPECT_EQ(tg_start_timer(0, second), 0U);
  EXPECT_EQ(tg_start_timer(999, second), 0U);
  EXPECT_EQ(tg_destroy_timer(0), 0U);
  const uint32_t timer = tg_create_timer(group_, 1, 0, 1);
  EXPECT_EQ(tg_destroy_timer(timer), 1U);
  EXPECT_EQ(tg_destroy_timer(timer), 0U);
  EXPECT_EQ(tg_start_timer(timer, second), 0U);
}

TEST_F(Tg, refuses_more_timers_than_it_has_room_for_and_reuses_destroyed_ones) {
  for (uint32_t timer = 0; (timer = tg_create_timer(group_, 1, 0, 1)) != 0;) {
    timers_.push_back(timer);
    ASSERT_LE(timers_.size(), 1000U);
  }
  EXPECT_EQ(tg_destroy_timer(timers_.back()), 1U);
  const uint32_t again = tg_create_timer(group_, 1, 0, 1);
  EXPECT_EQ(again, timers_.back());
}

}  // namespace
}  // namespace vesk::test
