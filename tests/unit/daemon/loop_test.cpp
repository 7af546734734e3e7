#include "daemon/vesk_loop.h"

#include <cerrno>

#include "daemon/vesk_timer.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

namespace {

const lines wait_for_both = {"tg_get_next_expiry_time(31)", "select(8, {7}, null, null, expiry)"};
const lines no_timer = {"tg_get_first_expired_timer(31)"};
const lines tick = {"tg_get_first_expired_timer(31)", "runctl_heartbeat(0)"};
const lines serve_message = {"ipq_recv(7)", "dbgkit_hist_ipq_event(3, msg 1, 0, 0)",
                             "runctl_dispatch(msg 1)",
                             "100 TRACE:Runctl did not handle ipq message\n", "ipq_drop(7, msg 1)"};

}  // namespace

struct Loop : daemon_test {
  void SetUp() override {
    daemon_test::SetUp();
    vesk_tg_handle = 31;
    vesk_up_sent = 1;
  }

  lines pass() {
    platform.forget();
    vesk_loop_pass();
    return platform.journal;
  }
  void message_waits() {
    platform.next("select", 1);
    platform.receive(1162, {});
  }
};

TEST_F(Loop, with_nothing_ready_looks_for_timers_only) {
  EXPECT_EQ(pass(), wait_for_both + no_timer);
}

TEST_F(Loop, serves_a_message) {
  message_waits();
  EXPECT_EQ(pass(), wait_for_both + no_timer + serve_message);
}

TEST_F(Loop, serves_a_timer) {
  platform.expired = {1};
  EXPECT_EQ(pass(), wait_for_both + tick + no_timer);
}

TEST_F(Loop, serves_timers_before_the_message_of_the_same_pass) {
  platform.expired = {1};
  message_waits();
  EXPECT_EQ(pass(), wait_for_both + tick + no_timer + serve_message);
}

TEST_F(Loop, serves_every_expired_timer_and_ignores_strange_ones) {
  platform.expired = {1, 4, 1};
  EXPECT_EQ(pass(), wait_for_both + tick + no_timer + tick + no_timer);
}

TEST_F(Loop, takes_one_message_a_pass) {
  message_waits();
  platform.receive(1162, {});
  EXPECT_EQ(pass(), wait_for_both + no_timer + serve_message);
  EXPECT_EQ(platform.waiting.size(), 1u);
}

TEST_F(Loop, watches_the_queue_again_after_a_pass_in_which_it_was_not_ready) {
  pass();
  EXPECT_EQ(pass(), wait_for_both + no_timer);
  message_waits();
  EXPECT_EQ(pass()[1], "select(8, {7}, null, null, expiry)");
}

TEST_F(Loop, waits_for_ever_when_no_timer_runs) {
  platform.next("tg_get_next_expiry_time", 0);
  EXPECT_EQ(pass()[1], "select(8, {7}, null, null, null)");
}

TEST_F(Loop, goes_on_after_a_message_that_could_not_be_received) {
  platform.next("select", 1);
  platform.next("ipq_recv", -1);
  platform.always("ipq_errno_get", 6);
  pass();
  EXPECT_EQ(platform.history, log_lines({error("ERROR: vesk main ipq_recv failed 6\n")}));
  EXPECT_EQ(pass(), wait_for_both + no_timer);
}

TEST_F(Loop, an_interrupted_select_is_logged_as_returned_with_errno) {
  platform.expired = {1};
  platform.receive(1162, {});
  platform.next("select", -1, EINTR);
  EXPECT_EQ(pass(), wait_for_both + lines({"101 ERROR: vesk select returned with errno 4\n"}));
}

TEST_F(Loop, any_other_failure_of_select_is_logged_as_an_interruption) {
  platform.expired = {1};
  platform.receive(1162, {});
  platform.next("select", -1, EBADF);
  EXPECT_EQ(pass(),
            wait_for_both + lines({"101 ERROR: vesk select interrupted by some signal 9\n"}));
}

TEST_F(Loop, the_pass_after_a_failed_select_serves_what_was_left) {
  platform.expired = {1};
  platform.next("select", -1, EINTR);
  pass();
  message_waits();
  EXPECT_EQ(pass(), wait_for_both + tick + no_timer + serve_message);
}

}  // namespace vesk::test
