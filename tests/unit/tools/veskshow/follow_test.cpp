// veskshow -f: the last entries, and then what is added while it runs, written by the daemon's own
// code where nothing else is said.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>

#include "format/vesk_catalogue.h"
#include "store/vesk_append.h"
#include "tests/support/file_bytes.h"
#include "tests/support/record.h"
#include "tests/support/recorder.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

class FollowedFiles : public ::testing::Test {
 protected:
  FollowedFiles() { platform.reset(); }

  // Appends an entry of this text, as the daemon does; an empty file is made where there is none.
  void append(const std::string &name, const std::string &text, uint16_t uuid = 677) {
    const std::string path = directory / name;
    const vesk_catalogue_row *row = nullptr;
    for (const auto &each : vesk_file_catalogue) {
      if (name == each.name) row = &each;
    }
    if (!std::filesystem::exists(path)) store(path, gheader(row->max_size, 20, 20));
    const int fd = open(path.c_str(), O_RDWR);
    const record what{{.uuid = uuid,
                       .len = static_cast<uint16_t>(text.size()),
                       .secs = noon + count_++,
                       .usecs = 0,
                       .file_type = row->file_type(),
                       .data = text}};
    uint32_t code = 0;
    const auto size = static_cast<uint32_t>(std::filesystem::file_size(path));
    EXPECT_EQ(vesk_append(fd, what, size, row->max_size, &code), 0);
    close(fd);
  }

  std::vector<std::string> arguments(std::vector<std::string> more = {}) {
    more.insert(more.end(), {"-f", "-o", "cat", "-D", directory.path()});
    return more;
  }

  scratch_directory directory;

 private:
  uint32_t count_ = 0;
};

TEST_F(FollowedFiles, show_what_is_added_until_they_are_interrupted) {
  append("kyte.log", "one");
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("one\n"), "one\n");
  append("kyte.log", "two");
  EXPECT_EQ(show.out("two\n"), "two\n");
  append("kyte.log", "three");
  append("kyte.log", "four");
  EXPECT_EQ(show.out("four\n"), "three\nfour\n");
  EXPECT_EQ(show.stop(SIGINT).status, 0);
  EXPECT_EQ(show.out() + show.err(), "");
}

TEST_F(FollowedFiles, end_at_a_termination_too) {
  append("kyte.log", "one");
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("one\n"), "one\n");
  EXPECT_EQ(show.stop(SIGTERM).status, 0);
}

TEST_F(FollowedFiles, begin_with_the_last_ten_entries) {
  for (const char *text : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"}) {
    append("kyte.log", text);
  }
  EXPECT_EQ(running_veskshow(arguments()).out("k\n"), "b\nc\nd\ne\nf\ng\nh\ni\nj\nk\n");
  EXPECT_EQ(running_veskshow(arguments({"-n2"})).out("k\n"), "j\nk\n");
  EXPECT_EQ(running_veskshow(arguments({"-S@0"})).out("k\n"), "a\nb\nc\nd\ne\nf\ng\nh\ni\nj\nk\n");
}

TEST_F(FollowedFiles, are_merged_and_filtered) {
  append("kyte.log", "zero", 5);
  append("kyte.log", "one", 5);
  append("nruda.log", "two", 6);
  running_veskshow show(arguments({"-u", "5", "-n1"}));
  EXPECT_EQ(show.out("one\n"), "one\n");
  append("nruda.log", "three", 6);
  append("nruda.log", "four", 5);
  append("kyte.log", "five", 5);
  EXPECT_EQ(show.out("five\n"), "four\nfive\n");
}

TEST_F(FollowedFiles, may_appear_later) {
  running_veskshow show(arguments());
  append("vesk.log", "one");
  EXPECT_EQ(show.out("one\n"), "one\n");
  append("kyte.log", "two");
  EXPECT_EQ(show.out("two\n"), "two\n");
}

TEST_F(FollowedFiles, that_were_named_and_are_not_there_are_reported_and_awaited) {
  running_veskshow show(arguments({"kyte"}));
  EXPECT_EQ(show.err("\n"),
            "veskshow: " + (directory / "kyte.log") + ": No such file or directory\n");
  append("kyte.log", "one");
  EXPECT_EQ(show.out("one\n"), "one\n");
  EXPECT_EQ(show.stop(SIGINT).status, 1);
}

TEST_F(FollowedFiles, may_be_cleared) {
  append("kyte.log", "one");
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("one\n"), "one\n");
  std::filesystem::remove(directory / "kyte.log");
  append("kyte.log", "two");
  EXPECT_EQ(show.out("two\n"), "two\n");
  append("kyte.log", "three");
  EXPECT_EQ(show.out("three\n"), "three\n");
}

// The file of 8 KiB goes around every eight entries; each is waited for, so that none is lost.
TEST_F(FollowedFiles, may_go_around_and_around) {
  append("temperature_err.log", "first");
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("first\n"), "first\n");
  for (int i = 0; i < 12; ++i) {
    const std::string text = std::to_string(i) + std::string(900, '.');
    append("temperature_err.log", text);
    EXPECT_EQ(show.out("\n"), text + "\n");
  }
  EXPECT_EQ(show.stop(SIGINT).status, 0);
  EXPECT_EQ(show.err(), "");
}

TEST_F(FollowedFiles, say_when_entries_were_overwritten_too_soon) {
  append("temperature_err.log", "first");
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("first\n"), "first\n");
  kill(show.process(), SIGSTOP);
  for (int i = 0; i < 400; ++i) append("temperature_err.log", std::to_string(i) + " ....");
  kill(show.process(), SIGCONT);
  const std::string out = show.out("399 ....\n");
  EXPECT_EQ(out.find("\n10 ....\n"), std::string::npos);
  EXPECT_NE(out.find("398 ....\n399 ....\n"), std::string::npos);
  EXPECT_EQ(show.err("\n"), "-- " + (directory / "temperature_err.log") +
                                ": entries were overwritten before they could be shown --\n");
}

TEST_F(FollowedFiles, lose_nothing_and_raise_no_alarm_while_they_are_written_to) {
  append("kyte.log", "0 |");
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("|\n"), "0 |\n");
  std::string expected;
  for (int i = 1; i <= 3000; ++i) {
    const std::string text = std::to_string(i) + std::string(70, '-');
    append("kyte.log", text);
    expected += text + "\n";
    if (i % 500 == 0) {
      EXPECT_EQ(show.out("\n" + text + "\n"), expected);
      expected.clear();
    }
  }
  EXPECT_EQ(show.stop(SIGINT).status, 0);
  EXPECT_EQ(show.err(), "");
}

TEST_F(FollowedFiles, are_looked_at_four_times_a_second_at_most) {
  append("kyte.log", "0");
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("\n"), "0\n");
  const auto begin = std::chrono::steady_clock::now();
  for (const char *text : {"1", "2", "3"}) {
    append("kyte.log", text);
    EXPECT_EQ(show.out("\n"), text + std::string("\n"));
  }
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(700));
}

TEST_F(FollowedFiles, that_are_damaged_are_reported_and_followed_on) {
  store(directory / "kyte.log", gheader(131072, 20, 72) + alpha() + stale(24));
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("alpha\n"), "alpha\n");
  EXPECT_EQ(show.err("\n"), "veskshow: " + (directory / "kyte.log") +
                                ": offset 48: the checksum of the entry header does not hold\n");
  append("kyte.log", "two");
  EXPECT_EQ(show.out("two\n"), "two\n");
  EXPECT_EQ(show.stop(SIGINT).status, 1);
}

TEST_F(FollowedFiles, are_left_when_nobody_reads_any_more) {
  append("kyte.log", "one");
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("one\n"), "one\n");
  show.stop_reading();
  EXPECT_EQ(show.wait().status, 0);
}

TEST_F(FollowedFiles, of_no_directory_are_not_awaited) {
  running_veskshow show({"-f", "-D", "/nowhere"});
  EXPECT_EQ(show.wait().status, 1);
  EXPECT_EQ(show.err(), "veskshow: /nowhere: No such file or directory\n");
}

// A minute of nothing costs next to no time; a second of it is a sixtieth of that.
TEST_F(FollowedFiles, cost_nothing_while_nothing_happens) {
  append("kyte.log", "one");
  running_veskshow show(arguments());
  EXPECT_EQ(show.out("one\n"), "one\n");
  clockid_t clock;
  timespec before, after;
  ASSERT_EQ(clock_getcpuclockid(show.process(), &clock), 0);
  ASSERT_EQ(clock_gettime(clock, &before), 0);
  usleep(1'500'000);
  ASSERT_EQ(clock_gettime(clock, &after), 0);
  const double used = static_cast<double>(after.tv_sec - before.tv_sec) +
                      static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e9;
  EXPECT_LT(used, 0.1);
}

}  // namespace
}  // namespace vesk::test
