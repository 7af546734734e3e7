// The metrics of a real daemon.
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/support/pattern.h"
#include "tests/support/running_daemon.h"

namespace vesk::test {

namespace {

using Metrics = daemon_test;

bool has_line(const std::string &text, const std::string &line) {
  return contains(text, "\n" + line + "\n");
}

TEST_F(Metrics, count_what_was_stored) {
  ASSERT_TRUE(stores(sender, {{.uuid = 25,
                               .len = 5,
                               .secs = 1600000000,
                               .usecs = 42,
                               .file_type = 5,
                               .sync = 1,
                               .data = "hello"}}));
  const ended end = run({"veskctl", "metrics"});
  EXPECT_EQ(end.status, 0);
  for (const char *line :
       {"vesk_up 1", "vesk_flash_marked 1", "vesk_messages_received_total 3",
        "vesk_answers_sent_total 2", "vesk_sender_entries_total{uuid=\"25\"} 1",
        "vesk_sender_bytes_total{uuid=\"25\"} 28", "vesk_file_size_bytes{file=\"vesk.log\"} 48",
        "vesk_file_entries{file=\"vesk.log\"} 1",
        "vesk_file_oldest_entry_timestamp_seconds{file=\"vesk.log\"} 1600000000.000042"}) {
    EXPECT_TRUE(has_line(end.out, line)) << line << "\n" << end;
  }
}

// A line of the format: a comment with HELP or TYPE, or a sample.
TEST_F(Metrics, have_the_grammar_of_the_format) {
  ASSERT_TRUE(stores(sender, good_record("one")));
  const ended end = run({"veskctl", "metrics"});
  const pattern help("^# HELP vesk_[a-z_]+ [^\\]+$");
  const pattern type("^# TYPE (vesk_[a-z_]+_total counter|vesk_[a-z_]+ gauge)$");
  const pattern sample(
      "^vesk_[a-z_]+([{][a-z]+=\"[^\"\\]*\"(,[a-z]+=\"[^\"\\]*\")*[}])? [0-9]+([.][0-9]+)?$");
  std::string family;
  for (const std::string &line : lines_of(end.out)) {
    EXPECT_TRUE(help.is_in(line) || type.is_in(line) || sample.is_in(line)) << line;
    if (line.starts_with("# HELP ")) {
      family = line.substr(7, line.find(' ', 7) - 7);
    } else {
      EXPECT_EQ(line.find(family), line.starts_with("# ") ? 7u : 0u) << line << " of " << family;
    }
  }
}

TEST_F(Metrics, survive_the_daemon) {
  ASSERT_TRUE(stores(sender, good_record("one")));
  EXPECT_EQ(daemon.stop(SIGKILL), 128 + SIGKILL);
  const ended end = run({"veskctl", "metrics"});
  EXPECT_EQ(end.status, 0);
  EXPECT_TRUE(has_line(end.out, "vesk_up 0")) << end;
  EXPECT_TRUE(has_line(end.out, "vesk_file_entries{file=\"vesk.log\"} 1")) << end;
}

}  // namespace

}  // namespace vesk::test
