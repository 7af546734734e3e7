// veskctl metrics: the text that a monitoring system reads, whole.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/fake_service.h"
#include "tests/support/ring_builder.h"
#include "tests/unit/tools/veskctl/run_veskctl.h"
#include "tools/veskctl/exposition.h"

namespace vesk::test {
namespace {

namespace fs = std::filesystem;
using veskctl::exposition;
using veskctl::metric_type;

TEST(Exposition, has_a_head_and_its_samples) {
  exposition out;
  out.family("one_total", metric_type::counter, "The first.");
  out.sample({}, uint64_t{18446744073709551615u});
  out.family("two", metric_type::gauge, "The second.");
  out.sample({{"a", "1"}}, "0.5");
  out.sample({{"a", "2"}, {"b", ""}}, "-1");
  EXPECT_EQ(out.text(),
            "# HELP one_total The first.\n"
            "# TYPE one_total counter\n"
            "one_total 18446744073709551615\n"
            "# HELP two The second.\n"
            "# TYPE two gauge\n"
            "two{a=\"1\"} 0.5\n"
            "two{a=\"2\",b=\"\"} -1\n");
}

TEST(Exposition, escapes_labels) {
  exposition out;
  out.sample({{"a", "back\\slash \"quoted\"\nnext, {brace}"}}, "1");
  EXPECT_EQ(out.text(), "{a=\"back\\\\slash \\\"quoted\\\"\\nnext, {brace}\"} 1\n");
}

class Metrics : public ::testing::Test {
 protected:
  Metrics() {
    fs::remove_all("/mnt/vesk");
    fs::create_directories("/mnt/vesk");
    std::ofstream{"/kyte_mounted"};
  }
  ~Metrics() override {
    fs::remove_all("/mnt/vesk");
    fs::create_directories("/mnt/vesk");
    std::ofstream{"/kyte_mounted"};
  }

  run_dir dir_;
};

// A daemon whose answers tell their places apart.
fake_service::behaviour daemon_in_numbers() {
  std::string table(21896, '\0');
  table.replace(25 * 8, 8, word(2) + word(88));
  table.replace(2736 * 8, 8, word(4000000000) + word(24));
  return [table](const fake_service &s, const request &to) {
    s.answer(to, to.header.opcode == 60004
                     ? host_status(4711, 12'000'345, {9, 1, 2, 3, 4, 5, 6, 70, 8, 90, 1})
                     : table);
  };
}

const std::string info =
    "# HELP vesk_metrics_info Where these metrics come from.\n"
    "# TYPE vesk_metrics_info gauge\n"
    "vesk_metrics_info{directory=\"/mnt/vesk\",version=\"0.1.0\"} 1\n"
    "# HELP vesk_up Whether the daemon answers.\n"
    "# TYPE vesk_up gauge\n";

const std::string host_counters =
    "# HELP vesk_uptime_seconds Time since the daemon started.\n"
    "# TYPE vesk_uptime_seconds gauge\n"
    "vesk_uptime_seconds 12.000345\n"
    "# HELP vesk_messages_received_total Messages accepted.\n"
    "# TYPE vesk_messages_received_total counter\n"
    "vesk_messages_received_total 9\n"
    "# HELP vesk_messages_refused_total Messages refused or dropped before the daemon saw them, by "
    "reason.\n"
    "# TYPE vesk_messages_refused_total counter\n"
    "vesk_messages_refused_total{reason=\"bad_version\"} 1\n"
    "vesk_messages_refused_total{reason=\"bad_length\"} 2\n"
    "vesk_messages_refused_total{reason=\"not_permitted\"} 3\n"
    "vesk_messages_refused_total{reason=\"bad_request\"} 4\n"
    "vesk_messages_refused_total{reason=\"not_ours\"} 5\n"
    "vesk_messages_refused_total{reason=\"came_back\"} 6\n"
    "# HELP vesk_answers_sent_total Answers and receipts sent.\n"
    "# TYPE vesk_answers_sent_total counter\n"
    "vesk_answers_sent_total 70\n"
    "# HELP vesk_answers_lost_total Answers, receipts and refusals that reached nobody.\n"
    "# TYPE vesk_answers_lost_total counter\n"
    "vesk_answers_lost_total 8\n"
    "# HELP vesk_listener_messages_sent_total Messages that a listener got.\n"
    "# TYPE vesk_listener_messages_sent_total counter\n"
    "vesk_listener_messages_sent_total 90\n"
    "# HELP vesk_listener_messages_missed_total Messages that a listener did not take.\n"
    "# TYPE vesk_listener_messages_missed_total counter\n"
    "vesk_listener_messages_missed_total 1\n";

const std::string senders =
    "# HELP vesk_sender_entries_total Entries stored, by the sender's uuid; a clear sets them to "
    "0.\n"
    "# TYPE vesk_sender_entries_total counter\n"
    "vesk_sender_entries_total{uuid=\"25\"} 2\n"
    "vesk_sender_entries_total{uuid=\"2736\"} 4000000000\n"
    "# HELP vesk_sender_bytes_total Bytes that those entries take, headers and padding included.\n"
    "# TYPE vesk_sender_bytes_total counter\n"
    "vesk_sender_bytes_total{uuid=\"25\"} 88\n"
    "vesk_sender_bytes_total{uuid=\"2736\"} 24\n";

std::string marked(int value) {
  return "# HELP vesk_flash_marked Whether the flash is marked as mounted; if not, the daemon "
         "drops "
         "every message.\n"
         "# TYPE vesk_flash_marked gauge\n"
         "vesk_flash_marked " +
         std::to_string(value) + "\n";
}

// temperature_err.log, wrapped: two entries and the null entry behind the start at 4096, one before
// it. The room is 8172 bytes, of which 4096 and 32 are in use: 50 percent.
ring wrapped_ring() {
  ring r(7);
  r.entry({.type = 1030, .size = 12, .secs = 1'600'000'009, .usecs = 9});
  r.end_here().damage_to(4096).start_here();
  r.entry({.type = 1024, .size = 12, .secs = 1'600'000'001, .usecs = 500'000});
  r.entry({.type = 1025, .size = 12, .secs = 1'600'000'002});
  r.null_to_max();
  return r;
}

TEST_F(Metrics, are_all_there) {
  const log_file empty = ring(5).make();
  const log_file wrapped = wrapped_ring().make();
  const log_file damaged = ring(25)
                               .entry({.size = 8, .secs = 1'600'000'000, .usecs = 1})
                               .entry(1025, 8)
                               .damage_at(48, 20)
                               .make();
  const fake_service service(dir_, daemon_in_numbers());
  const ended end = veskctl(dir_, {"metrics"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.err, "");
  EXPECT_EQ(end.out,
            info + "vesk_up 1\n" + host_counters + senders + marked(1) +
                "# HELP vesk_file_size_bytes Size of the log file.\n"
                "# TYPE vesk_file_size_bytes gauge\n"
                "vesk_file_size_bytes{file=\"vesk.log\"} 20\n"
                "vesk_file_size_bytes{file=\"temperature_err.log\"} 8192\n"
                "vesk_file_size_bytes{file=\"platform.log\"} 76\n"
                "# HELP vesk_file_capacity_bytes Size up to which the log file grows before it "
                "wraps.\n"
                "# TYPE vesk_file_capacity_bytes gauge\n"
                "vesk_file_capacity_bytes{file=\"vesk.log\"} 1048576\n"
                "vesk_file_capacity_bytes{file=\"temperature_err.log\"} 8192\n"
                "vesk_file_capacity_bytes{file=\"platform.log\"} 1048576\n"
                "# HELP vesk_file_fill_ratio Part of the log file's room that its live entries "
                "take.\n"
                "# TYPE vesk_file_fill_ratio gauge\n"
                "vesk_file_fill_ratio{file=\"vesk.log\"} 0.00\n"
                "vesk_file_fill_ratio{file=\"temperature_err.log\"} 0.50\n"
                "vesk_file_fill_ratio{file=\"platform.log\"} 0.00\n"
                "# HELP vesk_file_entries Entries that can be read.\n"
                "# TYPE vesk_file_entries gauge\n"
                "vesk_file_entries{file=\"vesk.log\"} 0\n"
                "vesk_file_entries{file=\"temperature_err.log\"} 3\n"
                "vesk_file_entries{file=\"platform.log\"} 1\n"
                "# HELP vesk_file_oldest_entry_timestamp_seconds Time stamp of the oldest entry.\n"
                "# TYPE vesk_file_oldest_entry_timestamp_seconds gauge\n"
                "vesk_file_oldest_entry_timestamp_seconds{file=\"temperature_err.log\"} "
                "1600000001.500000\n"
                "vesk_file_oldest_entry_timestamp_seconds{file=\"platform.log\"} "
                "1600000000.000001\n"
                "# HELP vesk_file_newest_entry_timestamp_seconds Time stamp of the newest entry.\n"
                "# TYPE vesk_file_newest_entry_timestamp_seconds gauge\n"
                "vesk_file_newest_entry_timestamp_seconds{file=\"temperature_err.log\"} "
                "1600000009.000009\n"
                "vesk_file_newest_entry_timestamp_seconds{file=\"platform.log\"} "
                "1600000000.000001\n"
                "# HELP vesk_file_wrapped Whether the newest entries lie before the oldest ones.\n"
                "# TYPE vesk_file_wrapped gauge\n"
                "vesk_file_wrapped{file=\"vesk.log\"} 0\n"
                "vesk_file_wrapped{file=\"temperature_err.log\"} 1\n"
                "vesk_file_wrapped{file=\"platform.log\"} 0\n"
                "# HELP vesk_file_sound Whether the log file can be read and no damage was found.\n"
                "# TYPE vesk_file_sound gauge\n"
                "vesk_file_sound{file=\"vesk.log\"} 1\n"
                "vesk_file_sound{file=\"temperature_err.log\"} 1\n"
                "vesk_file_sound{file=\"platform.log\"} 0\n");
}

TEST_F(Metrics, of_the_files_are_there_without_a_daemon) {
  const log_file file = ring(5).make();
  fs::remove("/kyte_mounted");
  const ended end = veskctl(dir_, {"metrics"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.err,
            "veskctl: no daemon answers at " + dir_.socket_path() + ": is vesk_sup running?\n");
  EXPECT_EQ(end.out.rfind(info + "vesk_up 0\n" + marked(0) + "# HELP vesk_file_size_bytes", 0), 0u)
      << end.out;
  EXPECT_FALSE(contains(end.out, "vesk_messages")) << end.out;
}

TEST_F(Metrics, of_the_daemon_are_there_without_files) {
  const fake_service service(dir_, daemon_in_numbers());
  EXPECT_EQ(veskctl(dir_, {"metrics"}).out,
            info + "vesk_up 1\n" + host_counters + senders + marked(1));
  const ended missing = veskctl(dir_, {"metrics", "-D", "/missing"});
  EXPECT_EQ(missing.status, 0);
  EXPECT_EQ(missing.err, "veskctl: /missing: No such file or directory\n");
  EXPECT_TRUE(contains(missing.out, "vesk_metrics_info{directory=\"/missing\",")) << missing.out;
}

TEST_F(Metrics, leave_out_the_senders_when_the_daemon_does_not_tell) {
  const fake_service service(dir_, [](const fake_service &s, const request &to) {
    to.header.opcode == 60004
        ? s.answer(to, host_status(4711, 12'000'345, {9, 1, 2, 3, 4, 5, 6, 70, 8, 90, 1}))
        : s.receipt(to);
  });
  const ended end = veskctl(dir_, {"metrics"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.out, info + "vesk_up 1\n" + host_counters + marked(1));
  EXPECT_EQ(end.err,
            "veskctl: no sender statistics: the daemon let it go without an answer: is the flash "
            "mounted?\n");
}

TEST_F(Metrics, tell_of_a_file_that_cannot_be_read) {
  fs::create_directory("/mnt/vesk/kernel.log");
  const ended end = veskctl(dir_, {"metrics"});
  EXPECT_EQ(end.status, 0);
  EXPECT_TRUE(contains(end.err, "veskctl: /mnt/vesk/kernel.log: Is a directory\n")) << end.err;
  EXPECT_TRUE(contains(end.out, "vesk_file_sound{file=\"kernel.log\"} 0\n")) << end.out;
  EXPECT_TRUE(contains(end.out, "vesk_file_capacity_bytes{file=\"kernel.log\"} 8388608\n"));
  EXPECT_FALSE(contains(end.out, "vesk_file_entries{file=\"kernel.log\"}")) << end.out;
}

TEST_F(Metrics, leave_out_what_a_bad_header_hides) {
  const log_file file = ring(7).entry(1024, 8).patch(0, {'x'}).make();
  const std::string out = veskctl(dir_, {"metrics"}).out;
  EXPECT_TRUE(contains(out, "vesk_file_sound{file=\"temperature_err.log\"} 0\n")) << out;
  EXPECT_TRUE(contains(out, "vesk_file_size_bytes{file=\"temperature_err.log\"} 48\n")) << out;
  EXPECT_FALSE(contains(out, "vesk_file_fill_ratio{")) << out;
  EXPECT_FALSE(contains(out, "vesk_file_wrapped{")) << out;
}

TEST_F(Metrics, name_a_directory_whatever_its_bytes) {
  const std::string strange = dir_.path() + "/a\"b\\c\xFF";
  fs::create_directory(strange);
  const ended end = veskctl(dir_, {"metrics", "-D", strange});
  EXPECT_TRUE(contains(end.out, "{directory=\"" + dir_.path() + "/a\\\"b\\\\c\\\\xff\","))
      << end.out;
}

TEST_F(Metrics, go_to_a_file_in_one_piece) {
  const fake_service service(dir_, daemon_in_numbers());
  const std::string path = dir_.path() + "/vesk.prom";
  std::ofstream(path) << "the old ones";
  struct stat old {};
  ASSERT_EQ(stat(path.c_str(), &old), 0);
  const std::ifstream reader(path);
  const ended end = veskctl(dir_, {"metrics", "--output", path});
  EXPECT_EQ(end.status, 0) << end.err;
  EXPECT_EQ(end.out, "");
  EXPECT_EQ(contents_of(path), info + "vesk_up 1\n" + host_counters + senders + marked(1));
  struct stat fresh {};
  ASSERT_EQ(stat(path.c_str(), &fresh), 0);
  EXPECT_NE(fresh.st_ino, old.st_ino) << "who reads the old file reads it to its end";
  EXPECT_EQ(fresh.st_mode & 07777, 0644u);
  std::vector<std::string> names;
  for (const auto &file : fs::directory_iterator(dir_.path())) {
    names.push_back(file.path().filename());
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"sap-1016", "vesk.prom"})) << "nothing else is left";
}

TEST_F(Metrics, replace_nothing_but_a_file) {
  const std::string pipe = dir_.path() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const fake_service service(dir_, daemon_in_numbers());
  const ended end = veskctl(dir_, {"metrics", "--output", pipe});
  EXPECT_EQ(end.status, 1);
  EXPECT_EQ(end.err, "veskctl: cannot write " + pipe + ": it is there and no regular file\n");
  EXPECT_TRUE(fs::is_fifo(pipe));
  const ended nowhere = veskctl(dir_, {"metrics", "--output", dir_.path() + "/missing/x.prom"});
  EXPECT_EQ(nowhere.status, 1);
  EXPECT_EQ(nowhere.err, "veskctl: cannot write " + dir_.path() +
                             "/missing/x.prom: No such file or directory\n");
}

TEST_F(Metrics, that_cannot_be_written_are_no_success) {
  const ended end = run_shell("exec veskctl metrics >/dev/full", in(dir_));
  EXPECT_EQ(end.status, 1);
  EXPECT_TRUE(contains(end.err, "veskctl: standard output cannot be written\n")) << end.err;
}

}  // namespace
}  // namespace vesk::test
