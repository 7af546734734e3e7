#include "daemon/vesk_lifecycle.h"

#include <signal.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/runctl.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

struct Lifecycle : daemon_test {
  // Runs the handler in a process of its own, and shows what it printed on stderr: in that process
  // nothing else can be seen of it any more.
  static void handle(int signo) {
    platform.echo = true;
    vesk_sigterm_handler(signo);
  }
};

TEST_F(Lifecycle, sigterm_is_logged_and_ends_the_process_with_status_3) {
  EXPECT_EXIT(handle(SIGTERM), ::testing::ExitedWithCode(3),
              "^101 ERROR: vesk_sigterm_handler\\. signo 15\n\\|$");
}

TEST_F(Lifecycle, the_handler_prints_the_signal_that_it_was_called_for) {
  EXPECT_EXIT(handle(10), ::testing::ExitedWithCode(3), "vesk_sigterm_handler\\. signo 10\n");
}

// It may have interrupted anything, the C library included.
TEST_F(Lifecycle, sigterm_runs_no_exit_handlers) {
  EXPECT_EXIT(
      {
        std::atexit([] { _exit(99); });
        handle(SIGTERM);
      },
      ::testing::ExitedWithCode(3), "");
}

TEST_F(Lifecycle, sigterm_ends_the_process_when_nothing_is_to_be_logged) {
  platform.suppressed = {100, 101};
  platform.printed.clear();
  EXPECT_EXIT(handle(SIGTERM), ::testing::ExitedWithCode(3), "^$");
}

TEST_F(Lifecycle, a_switchover_is_reported_as_done_and_changes_nothing_else) {
  EXPECT_EQ(runctlcb_switchover(77), 0u);
  EXPECT_EQ(platform.calls, lines({"runctl_switchover_done(77, 0)"}));
  EXPECT_EQ(platform.history, log_lines());
}

TEST_F(Lifecycle, a_switchover_succeeds_whatever_the_manager_answers) {
  platform.next("runctl_switchover_done", -1);
  EXPECT_EQ(runctlcb_switchover(0), 0u);
}

}  // namespace vesk::test
