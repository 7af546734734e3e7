// What the real daemon's host tells of itself, and what veskctl status makes of it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>

#include "tests/support/pattern.h"
#include "tests/support/process.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

// An answer to a status request, field by field.
struct told {
  uint32_t version, pid;
  uint64_t uptime_usecs, received, bad_version, bad_length, not_permitted, bad_request, not_ours,
      came_back, answered, unanswered, reached, missed;
};
static_assert(sizeof(told) == 104);

told status_from(wire_socket &socket) {
  told status{};
  const reply got = socket.request(60004, {});
  EXPECT_EQ(got.header.flags, VESK_WIRE_ANSWER);
  EXPECT_EQ(got.payload.size(), sizeof status);
  if (got.payload.size() == sizeof status) std::memcpy(&status, got.payload.data(), sizeof status);
  return status;
}

class Status : public daemon_test {
 protected:
  void TearDown() override {
    std::ofstream{"/kyte_mounted"};
    daemon_test::TearDown();
  }
};

TEST_F(Status, names_the_process_and_its_age) {
  const told first = status_from(sender);
  EXPECT_EQ(first.version, 1u);
  EXPECT_EQ(first.pid, static_cast<uint32_t>(daemon.process()));
  usleep(20'000);
  const told second = status_from(sender);
  EXPECT_GE(second.uptime_usecs, first.uptime_usecs + 20'000);
  EXPECT_LT(second.uptime_usecs, uint64_t{120} * 1'000'000);
}

TEST_F(Status, counts_what_comes_and_goes) {
  const told before = status_from(sender);
  ASSERT_TRUE(stores(sender, good_record("one")));
  ASSERT_TRUE(stores(sender, good_record("two")));
  vesk_wire_header strange = header_for(1151, 0, 7);
  strange.version = 9;
  ASSERT_TRUE(sender.send_raw(message(strange, {})));
  ASSERT_TRUE(sender.receive()) << "the refusal";
  ASSERT_TRUE(sender.send_raw(std::vector<uint8_t>(30, 0xAA)));
  const told after = status_from(sender);
  EXPECT_EQ(after.received, before.received + 3) << "two records and this request";
  EXPECT_EQ(after.answered, before.answered + 3) << "two records and the request before";
  EXPECT_EQ(after.bad_version, before.bad_version + 1);
  EXPECT_EQ(after.not_ours, before.not_ours + 1);
  EXPECT_EQ(after.unanswered, before.unanswered);
}

TEST_F(Status, is_told_while_the_flash_is_not_mounted) {
  ASSERT_EQ(unlink("/kyte_mounted"), 0);
  EXPECT_EQ(status_from(sender).pid, static_cast<uint32_t>(daemon.process()));
  const ended shown = run({"veskctl", "status"});
  EXPECT_EQ(shown.status, 1);
  EXPECT_TRUE(contains(shown.out, ", process " + std::to_string(daemon.process()) + ", up "))
      << shown;
  EXPECT_TRUE(contains(shown.out, "/kyte_mounted is missing")) << shown;
}

TEST_F(Status, leaves_nothing_in_the_daemons_log_and_history) {
  ASSERT_EQ(run({"veskctl", "debug", "--record", "trace"}).status, 0);
  const std::string before = run({"veskctl", "history"}).out;
  for (int i = 0; i < 50; ++i) status_from(sender);
  const std::string after = run({"veskctl", "history"}).out;
  EXPECT_FALSE(contains(after, "ERROR")) << after;
  EXPECT_FALSE(contains(after, "60004")) << after;
  EXPECT_EQ(daemon.printed(), "");
}

TEST_F(Status, is_shown_by_veskctl) {
  ASSERT_TRUE(stores(sender, good_record("one")));
  const ended shown = run({"veskctl", "status"});
  EXPECT_EQ(shown.status, 0);
  // The daemon's first messages: the probe of its start, the record, and this request. The record
  // made the file, which the daemon had missed at first.
  EXPECT_TRUE(pattern("^daemon:    answered in [0-9.]+ ms, process " +
                      std::to_string(daemon.process()) +
                      ", up [0-9.]+ (ms|s)\n"
                      "marker:    /kyte_mounted is there\n"
                      "space:     /mnt/vesk: [0-9.]+ [a-zA-Z]+ of [0-9.]+ [a-zA-Z]+ free, [^\n]+\n"
                      "received:  3\n"
                      "refused:   0\n"
                      "answers:   2 sent, 0 reached nobody\n"
                      "listeners: 0 reached, 0 missed\n"
                      "errors:    1 in the event history, the latest:\n"
                      "  20[-0-9:. ]+ ERROR: Error acquiring status for /mnt/vesk/vesk[.]log, "
                      "errno 2\n$")
                  .is_in(shown.out))
      << shown;
}

TEST_F(Status, of_a_daemon_that_has_gone_fails) {
  EXPECT_EQ(daemon.stop(SIGKILL), 128 + SIGKILL);
  const ended shown = run({"veskctl", "status"});
  EXPECT_EQ(shown.status, 1);
  EXPECT_EQ(shown.out.rfind("daemon:    no daemon answers at /run/vesk/sap-1016", 0), 0u) << shown;
  EXPECT_TRUE(contains(shown.out, "received:  not known\n")) << shown;
}

TEST_F(Status, is_told_to_whoever_may_open_the_socket_without_the_errors) {
  if (!other_users()) {
    GTEST_SKIP() << "this private root knows only one user id; it needs to be entered as root";
  }
  ASSERT_EQ(chmod("/run/vesk/sap-1016", 0666), 0);
  ASSERT_EQ(
      as_nobody([] { return wire_socket().request(60004, {}).payload.size() == 104 ? 0 : 1; }), 0);
  ASSERT_EQ(as_nobody([] {
              const ended shown = run({"veskctl", "status"});
              const bool all = contains(shown.out, "received:  3\n") &&
                               contains(shown.out,
                                        "errors:    not known: only root and the daemon's "
                                        "own user may do this\n");
              return all ? shown.status : 77;
            }),
            0);
}

}  // namespace

}  // namespace vesk::test
