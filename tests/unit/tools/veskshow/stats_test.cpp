// --stats: who wrote how much, and how long entries live.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

constexpr uint32_t hour = 3600;
constexpr uint32_t day = 86400;

const std::string senders =
    "Senders. BYTES count headers and padding; RATE is that from the FIRST entry to the LAST.\n\n";

const std::string files =
    "\nFiles, all entries. BYTES/DAY is the present rate: that of the newest quarter of a file's\n"
    "entries, or of its last 24 hours where these hold more. At that rate, an entry is "
    "overwritten\n"
    "after the time of TURNOVER, and a file begins to give up old entries when it is FULL.\n\n";

// An entry of 120 bytes.
std::string entry_of(uint16_t uuid, uint32_t secs) {
  return entry({.uuid = uuid, .secs = secs}, std::string(100, 'x'));
}

class Stats : public ::testing::Test {
 protected:
  void expect_stats(const std::vector<std::string> &arguments, const std::string &text,
                    int status = 0, const std::string &problems = "") {
    std::vector<std::string> all = {"--utc", "--stats", "-D", directory.path()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ended result = veskshow(all);
    EXPECT_EQ(result.out, text);
    EXPECT_EQ(result.err, problems);
    EXPECT_EQ(result.status, status);
  }

  // The row that begins with this word, or nothing.
  std::string row(const std::string &word) {
    const std::string out = veskshow({"--utc", "--stats", "-D", directory.path()}).out;
    const size_t begin = out.find("\n" + word + " ");
    return begin == std::string::npos
               ? ""
               : out.substr(begin + 1, out.find('\n', begin + 1) - begin - 1);
  }

  scratch_directory directory;
};

TEST_F(Stats, show_senders_and_files) {
  store(directory / "kyte.log", gheader(131072, 20, 44) + beta());
  store(directory / "temperature_err.log",
        file_of(entry_of(677, noon) + entry_of(80, noon + 60) + entry_of(677, noon + 120)));
  expect_stats(
      {}, senders +
              "SENDER  ENTRIES  BYTES   SHARE    RATE  FIRST                LAST\n"
              "677           2    240   62.5%  30.0/h  2024-05-01 12:00:00  2024-05-01 12:02:00\n"
              "80            2    144   37.5%  61.3/h  2024-05-01 12:00:01  2024-05-01 12:01:00\n"
              "all           4    384  100.0%  90.0/h  2024-05-01 12:00:00  2024-05-01 12:02:00\n" +
              files +
              "FILE                 OLDEST                SPAN  BYTES/DAY   TURNOVER  FULL\n"
              "kyte.log             2024-05-01 12:00:01      -          -          -  -\n"
              "temperature_err.log  2024-05-01 12:00:00  2 min     172800  1 h 8 min  "
              "2024-05-01 13:07:06\n");
}

TEST_F(Stats, have_local_times_unless_utc_is_asked_for) {
  store(directory / "kyte.log", gheader(131072, 20, 44) + beta());
  EXPECT_EQ(veskshow({"--stats", "-D", directory.path()}).out,
            senders +
                "SENDER  ENTRIES  BYTES   SHARE  RATE  FIRST                LAST\n"
                "80            1     24  100.0%     -  2024-05-01 14:00:01  2024-05-01 14:00:01\n"
                "all           1     24  100.0%     -  2024-05-01 14:00:01  2024-05-01 14:00:01\n" +
                files +
                "FILE      OLDEST               SPAN  BYTES/DAY  TURNOVER  FULL\n"
                "kyte.log  2024-05-01 14:00:01     -          -         -  -\n");
}

TEST_F(Stats, of_an_empty_ring) {
  store(directory / "kyte.log", gheader(131072, 20, 20));
  expect_stats({}, senders +
                       "SENDER  ENTRIES  BYTES  SHARE  RATE  FIRST  LAST\n"
                       "all           0      0      -     -  -      -\n" +
                       files +
                       "FILE      OLDEST  SPAN  BYTES/DAY  TURNOVER  FULL\n"
                       "kyte.log  -          -          -         -  -\n");
}

TEST_F(Stats, name_the_senders_whose_names_are_known) {
  store(directory / "names", "uuid 80 exception handler\n");
  store(directory / "kyte.log", gheader(131072, 20, 72) + beta() + alpha());
  const std::string out =
      veskshow({"--stats", "--names", directory / "names", directory / "kyte.log"}).out;
  EXPECT_NE(out.find("\n80 (exception handler)        1     24   46.2%"), std::string::npos) << out;
  EXPECT_NE(out.find("\n677                           1     28   53.8%"), std::string::npos) << out;
}

// --- filters ---

TEST_F(Stats, count_the_entries_that_the_filter_lets_pass) {
  store(directory / "temperature_err.log",
        file_of(entry_of(677, noon) + entry_of(80, noon + 60) + entry_of(677, noon + 120)));
  const std::string file_table =
      "FILE                 OLDEST                SPAN  BYTES/DAY   TURNOVER  FULL\n"
      "temperature_err.log  2024-05-01 12:00:00  2 min     172800  1 h 8 min  "
      "2024-05-01 13:07:06\n";
  expect_stats(
      {"-u", "677", "--since", "2024-05-01 12:01:00"},
      senders +
          "SENDER  ENTRIES  BYTES   SHARE  RATE  FIRST                LAST\n"
          "677           1    120  100.0%     -  2024-05-01 12:02:00  2024-05-01 12:02:00\n"
          "all           1    120  100.0%     -  2024-05-01 12:02:00  2024-05-01 12:02:00\n" +
          files + file_table);
  expect_stats({"-u", "5"},
               senders +
                   "SENDER  ENTRIES  BYTES  SHARE  RATE  FIRST  LAST\n"
                   "all           0      0      -     -  -      -\n" +
                   files + file_table,
               1);
}

// --- what time stamps do not say ---

TEST_F(Stats, tell_no_rate_of_a_sender_whose_clock_jumped) {
  store(directory / "temperature_err.log",
        file_of(entry_of(677, noon) + entry_of(80, noon + hour) + entry_of(677, noon - day) +
                entry_of(80, noon + 2 * hour) + entry_of(80, noon + 3 * hour)));
  EXPECT_EQ(row("677"),
            "677           2    240   40.0%      -  2024-04-30 12:00:00  2024-05-01 12:00:00");
  EXPECT_EQ(row("80"),
            "80            3    360   60.0%  1.0/h  2024-05-01 13:00:00  2024-05-01 15:00:00");
  EXPECT_EQ(row("all"),
            "all           5    600  100.0%      -  2024-04-30 12:00:00  2024-05-01 15:00:00");
}

TEST_F(Stats, compare_no_times_of_different_files) {
  store(directory / "kyte.log", gheader(131072, 20, 140) + entry_of(677, noon + hour));
  store(directory / "temperature_err.log", file_of(entry_of(677, noon)));
  EXPECT_EQ(row("677"),
            "677           2    240  100.0%  1.0/h  2024-05-01 12:00:00  2024-05-01 13:00:00");
}

TEST_F(Stats, tell_nothing_of_a_file_whose_clock_jumped_just_now) {
  store(directory / "kyte.log", gheader(131072, 20, 380) + entry_of(677, noon) +
                                    entry_of(677, noon + hour) + entry_of(677, noon - day));
  EXPECT_EQ(row("kyte.log"), "kyte.log  2024-05-01 12:00:00     -          -         -  -");
}

TEST_F(Stats, tell_the_rate_since_the_clock_jumped) {
  store(directory / "kyte.log", gheader(131072, 20, 500) + entry_of(677, noon) +
                                    entry_of(677, noon + hour) + entry_of(677, noon - day) +
                                    entry_of(677, noon - day + hour));
  EXPECT_EQ(row("kyte.log"),
            "kyte.log  2024-05-01 12:00:00     -       2880  45 d 12 h  2024-06-14 21:06:00");
}

TEST_F(Stats, tell_nothing_of_entries_of_the_same_moment) {
  store(directory / "kyte.log",
        gheader(131072, 20, 260) + entry_of(677, noon) + entry_of(677, noon));
  EXPECT_EQ(row("677"),
            "677           2    240  100.0%     -  2024-05-01 12:00:00  2024-05-01 12:00:00");
  EXPECT_EQ(row("kyte.log"), "kyte.log  2024-05-01 12:00:00     -          -         -  -");
}

TEST_F(Stats, tell_small_rates_by_the_day) {
  store(directory / "kyte.log",
        gheader(131072, 20, 260) + entry_of(677, noon) + entry_of(677, noon + 2 * hour));
  EXPECT_EQ(row("677"),
            "677           2    240  100.0%  12.0/d  2024-05-01 12:00:00  2024-05-01 14:00:00");
  store(directory / "kyte.log",
        gheader(131072, 20, 260) + entry_of(677, noon) + entry_of(677, noon + 40 * day));
  EXPECT_EQ(row("677"),
            "677           2    240  100.0%  <0.1/d  2024-05-01 12:00:00  2024-06-10 12:00:00");
  EXPECT_EQ(row("kyte.log"), "kyte.log  2024-05-01 12:00:00  40 d        3.0   43684 d  -");
}

TEST_F(Stats, of_the_largest_times_and_capacity) {
  store(directory / "ring",
        gheader(0xFFFFFFFF, 20, 60) + entry({.secs = 0}, "") + entry({.secs = 0xFFFFFFFF}, ""));
  const ended result = veskshow({"--utc", "--stats", directory / "ring"});
  EXPECT_NE(result.out.find("\n677           2     40  100.0%  <0.1/d  1970-01-01 00:00:00  "
                            "2106-02-07 06:28:15\n"),
            std::string::npos)
      << result.out;
  EXPECT_TRUE(
      result.out.ends_with("ring  1970-01-01 00:00:00  49710 d 6 h        0.0         -  -\n"))
      << result.out;
}

// --- files that are full, damaged or not there ---

TEST_F(Stats, of_a_full_ring) {
  store(directory / "ring", gheader(500, 260, 140) + entry_of(677, noon + 240) +
                                std::string(120, '.') + entry_of(677, noon) +
                                entry_of(677, noon + 120));
  const std::string out = veskshow({"--utc", "--stats", directory / "ring"}).out;
  EXPECT_TRUE(out.ends_with("/ring  2024-05-01 12:00:00  4 min      86400     8 min  now\n"))
      << out;
}

TEST_F(Stats, of_a_damaged_ring_count_what_can_be_read_and_tell_no_rate) {
  store(directory / "kyte.log",
        gheader(131072, 20, 380) + entry_of(677, noon) + entry_of(677, noon + hour) + stale(120));
  expect_stats(
      {},
      senders +
          "SENDER  ENTRIES  BYTES   SHARE   RATE  FIRST                LAST\n"
          "677           2    240  100.0%  1.0/h  2024-05-01 12:00:00  2024-05-01 13:00:00\n"
          "all           2    240  100.0%  1.0/h  2024-05-01 12:00:00  2024-05-01 13:00:00\n" +
          files +
          "FILE      OLDEST               SPAN  BYTES/DAY  TURNOVER  FULL\n"
          "kyte.log  2024-05-01 12:00:00     -          -         -  -\n",
      1,
      "veskshow: " + (directory / "kyte.log") +
          ": offset 260: the checksum of the entry header does not hold\n");
}

TEST_F(Stats, show_the_others_where_a_file_cannot_be_read_or_has_lost_its_header) {
  store(directory / "kyte.log", gheader(131072, 20, 44) + beta());
  store(directory / "lost", stale(60));
  expect_stats(
      {"missing", "3", "lost"},
      senders +
          "SENDER  ENTRIES  BYTES   SHARE  RATE  FIRST                LAST\n"
          "80            1     24  100.0%     -  2024-05-01 12:00:01  2024-05-01 12:00:01\n"
          "all           1     24  100.0%     -  2024-05-01 12:00:01  2024-05-01 12:00:01\n" +
          files +
          "FILE      OLDEST               SPAN  BYTES/DAY  TURNOVER  FULL\n"
          "kyte.log  2024-05-01 12:00:01     -          -         -  -\n"
          "lost      -                       -          -         -  -\n",
      1,
      "veskshow: " + (directory / "missing") +
          ": No such file or directory\n"
          "veskshow: " +
          (directory / "lost") + ": offset 0: not a log file: it does not begin with \"vesk\"\n");
}

TEST_F(Stats, are_nothing_where_no_file_can_be_read) {
  expect_stats({"1"}, "", 1,
               "veskshow: " + (directory / "exception.log") + ": No such file or directory\n");
}

}  // namespace
}  // namespace vesk::test
