// Which files veskshow shows, and what becomes of those that it cannot.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

// Behind the name of the file.
const std::string alpha_at = "2024-05-01 12:00:00.000001 ";
const std::string beta_at = "2024-05-01 12:00:01.250000 ";
const std::string gamma_at = "2024-05-01 12:00:02.999999 ";
const std::string alpha_is = " 677[1024]: alpha\n";
const std::string beta_is = " 80[1025]: beta\n";
const std::string gamma_is = " 510[2000]: gamma ray\n";

const std::string kyte_line = beta_at + "kyte" + beta_is;
const std::string temperature_lines = alpha_at + "temperature_err" + alpha_is + beta_at +
                                      "temperature_err" + beta_is + gamma_at + "temperature_err" +
                                      gamma_is;

// A directory of copies: temperature_err.log (type 7) and kyte.log (type 3).
class Files : public ::testing::Test {
 protected:
  Files() {
    store(directory / "temperature_err.log",
          gheader(8192, 20, 104, 0xF4B2) + alpha() + beta() + gamma_ray());
    store(directory / "kyte.log", gheader(131072, 20, 44) + beta());
    store(directory / "notes.txt", "nothing of ours\n");
  }

  void expect_shown(const std::vector<std::string> &arguments, const std::string &lines,
                    const std::string &working_directory = "/") {
    const ended result = veskshow(arguments, working_directory);
    EXPECT_EQ(result.out, lines);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
  }

  void expect_problem(const std::vector<std::string> &arguments, const std::string &line) {
    const ended result = veskshow(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, line);
    EXPECT_EQ(result.status, 1);
  }

  scratch_directory directory;
  const std::string kyte = directory / "kyte.log";
  const std::string temperature = directory / "temperature_err.log";
};

TEST_F(Files, are_all_of_the_catalogue_in_the_directory) {
  expect_shown({"--utc", "-D", directory.path()},
               alpha_at + "temperature_err" + alpha_is + beta_at + "kyte" + beta_is + beta_at +
                   "temperature_err" + beta_is + gamma_at + "temperature_err" + gamma_is);
}

TEST_F(Files, are_those_of_the_log_directory_without_any_argument) {
  store("/mnt/vesk/kyte.log", gheader(131072, 20, 44) + beta());
  expect_shown({"--utc"}, kyte_line);
  expect_shown({"--utc", "3"}, kyte_line);
  expect_shown({"--utc", "kyte"}, kyte_line);
  std::filesystem::remove("/mnt/vesk/kyte.log");
  expect_problem({}, "veskshow: /mnt/vesk/: No log files here\n");
}

TEST_F(Files, may_be_paths) {
  expect_shown({"--utc", kyte}, kyte_line);
  expect_shown({"--utc", "./kyte.log"}, kyte_line, directory.path());
}

TEST_F(Files, may_be_names_with_or_without_their_ending) {
  expect_shown({"--utc", "-D", directory.path(), "kyte.log"}, kyte_line);
  expect_shown({"--utc", "--directory", directory.path(), "kyte"}, kyte_line);
}

TEST_F(Files, may_be_types) {
  expect_shown({"--utc", "-D", directory.path() + "/", "3"}, kyte_line);
}

TEST_F(Files, may_be_several) {
  expect_shown({"-o", "cat", "-D", directory.path(), "7", "kyte"},
               "alpha\nbeta\nbeta\ngamma ray\n");
}

TEST_F(Files, of_the_current_directory_come_before_those_of_the_log_directory) {
  store("/mnt/vesk/kyte.log", gheader(131072, 20, 48) + alpha());
  expect_shown({"-o", "cat", "kyte.log"}, "beta\n", directory.path());
  expect_shown({"-o", "cat", "kyte.log"}, "alpha\n");
  std::filesystem::remove("/mnt/vesk/kyte.log");
}

TEST_F(Files, of_other_names_are_found_in_the_given_directory) {
  std::filesystem::rename(kyte, directory / "renamed");
  expect_shown({"--utc", "-D", directory.path(), "renamed"},
               beta_at + (directory / "renamed") + beta_is);
}

TEST_F(Files, may_be_symbolic_links) {
  ASSERT_EQ(symlink(kyte.c_str(), (directory / "link").c_str()), 0);
  expect_shown({"-o", "cat", directory / "link"}, "beta\n");
}

TEST_F(Files, wrapped_are_shown_from_the_oldest_entry) {
  store(directory / "ring", gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8());
  expect_shown({"-o", "cat", directory / "ring"}, "alpha\ngamma ray\n");
}

// --- files that cannot be shown ---

TEST_F(Files, that_are_missing) {
  expect_problem({directory / "gone.log"},
                 "veskshow: " + (directory / "gone.log") + ": No such file or directory\n");
  expect_problem({"-D", directory.path(), "kernel"},
                 "veskshow: " + (directory / "kernel.log") + ": No such file or directory\n");
}

TEST_F(Files, of_names_and_types_that_are_not_known) {
  const std::string unknown = ": No such file, and no log file of that name or type\n";
  expect_problem({"kernle"}, "veskshow: kernle" + unknown);
  expect_problem({"8"}, "veskshow: 8" + unknown);
  expect_problem({"0"}, "veskshow: 0" + unknown);
  expect_problem({"4294967298"}, "veskshow: 4294967298" + unknown);
  expect_problem({"99999999999999999999999"}, "veskshow: 99999999999999999999999" + unknown);
  expect_problem({""}, "veskshow: " + unknown);
}

TEST_F(Files, of_other_kinds) {
  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  expect_problem({directory / "fifo"},
                 "veskshow: " + (directory / "fifo") + ": Not a regular file\n");
  expect_problem({directory.path()}, "veskshow: " + directory.path() + ": Is a directory\n");
  expect_problem({"/dev/null"}, "veskshow: /dev/null: Not a regular file\n");
}

TEST_F(Files, with_names_that_would_harm_a_terminal) {
  expect_problem({"/\x1b[2J\xFF"}, "veskshow: /\\e[2J\\xff: No such file or directory\n");
}

TEST_F(Files, from_a_directory_that_has_none) {
  const scratch_directory empty;
  expect_problem({"-D", empty.path()}, "veskshow: " + empty.path() + ": No log files here\n");
  expect_problem({"--list", "-D", "/nowhere"}, "veskshow: /nowhere: No such file or directory\n");
  expect_problem({"-D", kyte}, "veskshow: " + kyte + ": Not a directory\n");
}

TEST_F(Files, of_any_bytes_are_shown_as_far_as_they_go) {
  store(directory / "noise", stale(20000));
  expect_problem({directory / "noise"},
                 "veskshow: " + (directory / "noise") +
                     ": offset 0: not a log file: it does not begin with \"vesk\"\n");
}

TEST_F(Files, that_are_far_too_large) {
  store(directory / "large", "vesk");
  std::filesystem::resize_file(directory / "large", (64 << 20) + 1);
  expect_problem({directory / "large"},
                 "veskshow: " + (directory / "large") + ": Larger than 64 MiB: not a log file\n");
}

TEST_F(Files, that_may_not_be_read) {
  std::filesystem::permissions(kyte, std::filesystem::perms::none);
  std::filesystem::permissions(directory.path(), std::filesystem::perms::all);
  const ended result = veskshow_as_nobody({"-o", "cat", "-D", directory.path()});
  EXPECT_EQ(result.out, "alpha\nbeta\ngamma ray\n");
  EXPECT_EQ(result.err, "veskshow: " + kyte + ": Permission denied\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(Files, that_cannot_be_read_do_not_hide_the_others) {
  const ended result = veskshow({"-o", "cat", "/gone", kyte, "8", directory.path(), temperature});
  EXPECT_EQ(result.out, "alpha\nbeta\nbeta\ngamma ray\n");
  EXPECT_EQ(result.err,
            "veskshow: 8: No such file, and no log file of that name or type\n"
            "veskshow: /gone: No such file or directory\n"
            "veskshow: " +
                directory.path() + ": Is a directory\n");
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace vesk::test
