#include "daemon/vesk_timer.h"

#include "daemon/vesk_mount_check.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

namespace {

const lines heartbeat = {"runctl_heartbeat(0)"};

}  // namespace

struct Timer : daemon_test {
  lines tick() {
    platform.forget();
    vesk_handle_timer(1);
    return platform.journal;
  }
};

TEST_F(Timer, ignores_a_timer_that_is_not_its_own) {
  for (const uint32_t id : {0u, 2u, 0x10001u}) vesk_handle_timer(id);
  EXPECT_EQ(platform.journal, lines());
  EXPECT_EQ(vesk_up_sent, 0);
  EXPECT_EQ(mount_check_pending, 1u);
}

TEST_F(Timer, sends_up_until_that_succeeded_and_a_heartbeat_every_time) {
  EXPECT_EQ(tick(), up_sent + heartbeat);
  EXPECT_EQ(vesk_up_sent, 1);
  EXPECT_EQ(tick(), heartbeat);
  EXPECT_EQ(vesk_up_sent_retry_count, 0);
}

TEST_F(Timer, stops_trying_to_send_up_after_six_failures) {
  platform.always("ipq_send", -1, 11);
  for (int failures = 1; failures <= 6; ++failures) {
    EXPECT_EQ(tick(), up_failed + heartbeat);
    EXPECT_EQ(vesk_up_sent_retry_count, failures);
  }
  for (int i = 0; i < 3; ++i) EXPECT_EQ(tick(), heartbeat);
  EXPECT_EQ(vesk_up_sent_retry_count, 6);
  EXPECT_EQ(vesk_up_sent, 0);
}

TEST_F(Timer, the_sixth_attempt_may_still_succeed_and_the_failures_stay_counted) {
  vesk_up_sent_retry_count = 5;
  EXPECT_EQ(tick(), up_sent + heartbeat);
  EXPECT_EQ(vesk_up_sent, 1);
  EXPECT_EQ(vesk_up_sent_retry_count, 5);
}

TEST_F(Timer, a_positive_result_of_the_send_is_a_failure_too) {
  platform.next("ipq_send", 1, 11);
  EXPECT_EQ(tick(), up_failed + heartbeat);
  EXPECT_EQ(vesk_up_sent, 0);
}

TEST_F(Timer, goes_on_when_the_heartbeat_fails) {
  platform.next("runctl_heartbeat", -1);
  tick();
  EXPECT_EQ(mount_check_pending, 0u);
}

TEST_F(Timer, makes_the_mount_check_after_the_heartbeat) {
  issu_seen = 1;
  EXPECT_EQ(tick(), up_sent + heartbeat + mount_after_upgrade);
}

// Sending alone, as at the end of the start, asks for neither the flag nor the count.
TEST_F(Timer, up_can_be_sent_again) {
  vesk_up_sent = 1;
  vesk_up_sent_retry_count = 6;
  send_up();
  EXPECT_EQ(platform.journal, up_sent);
}

TEST_F(Timer, a_failure_after_a_success_leaves_up_sent) {
  vesk_up_sent = 1;
  platform.next("ipq_send", -1, 11);
  send_up();
  EXPECT_EQ(platform.journal, up_failed);
  EXPECT_EQ(vesk_up_sent, 1);
  EXPECT_EQ(vesk_up_sent_retry_count, 1);
}

}  // namespace vesk::test
