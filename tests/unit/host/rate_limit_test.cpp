#include "host/vesk_rate_limit.h"

#include <gtest/gtest.h>

namespace vesk::test {
namespace {

TEST(RateLimit, writes_the_first_line_at_once) {
  rate_limit limit;
  EXPECT_EQ(limit.pass(0), 0U);
}

TEST(RateLimit, writes_one_line_a_second_and_counts_those_between) {
  rate_limit limit;
  EXPECT_EQ(limit.pass(5'000'000), 0U);
  EXPECT_EQ(limit.pass(5'000'001), std::nullopt);
  EXPECT_EQ(limit.pass(5'999'999), std::nullopt);
  EXPECT_EQ(limit.pass(6'000'000), 2U);
  EXPECT_EQ(limit.pass(6'500'000), std::nullopt);
  EXPECT_EQ(limit.pass(9'000'000), 1U);
}

}  // namespace
}  // namespace vesk::test
