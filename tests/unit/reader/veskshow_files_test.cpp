// Which files veskshow shows, in which form, and how it ends.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/unit/reader/file_bytes.h"
#include "tests/unit/reader/run_veskshow.h"

namespace vesk::test {
namespace {

const std::string alpha_line = "2024-05-01 12:00:00.000001   677  1024     8  alpha\n";
const std::string beta_line = "2024-05-01 12:00:01.250000    80  1025     4  beta\n";
const std::string gamma_line = "2024-05-01 12:00:02.999999   510  2000    12  gamma ray\n";

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
    const shown result = veskshow(arguments, working_directory);
    EXPECT_EQ(result.out, lines);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
  }

  void expect_problem(const std::vector<std::string> &arguments, const std::string &line) {
    const shown result = veskshow(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, line);
    EXPECT_EQ(result.status, 1);
  }

  scratch_directory directory;
  const std::string kyte = directory / "kyte.log";
  const std::string temperature = directory / "temperature_err.log";
};

TEST_F(Files, AreAllOfTheCatalogueInTheDirectoryByType) {
  expect_shown({"--utc", "-D", directory.path()}, "==> " + kyte + " <==\n" + beta_line + "\n==> " +
                                                      temperature + " <==\n" + alpha_line +
                                                      beta_line + gamma_line);
}

TEST_F(Files, AreThoseOfTheLogDirectoryWithoutAnyArgument) {
  store("/mnt/vesk/kyte.log", gheader(131072, 20, 44) + beta());
  expect_shown({"--utc"}, beta_line);
  expect_shown({"--utc", "3"}, beta_line);
  expect_shown({"--utc", "kyte"}, beta_line);
  std::filesystem::remove("/mnt/vesk/kyte.log");
  expect_problem({}, "veskshow: /mnt/vesk/: No log files here\n");
}

TEST_F(Files, MayBePaths) {
  expect_shown({"--utc", kyte}, beta_line);
  expect_shown({"--utc", "./kyte.log"}, beta_line, directory.path());
}

TEST_F(Files, MayBeNamesWithOrWithoutTheirEnding) {
  expect_shown({"--utc", "-D", directory.path(), "kyte.log"}, beta_line);
  expect_shown({"--utc", "-D", directory.path(), "kyte"}, beta_line);
}

TEST_F(Files, MayBeTypes) {
  expect_shown({"--utc", "-D", directory.path() + "/", "3"}, beta_line);
}

TEST_F(Files, OfTheCurrentDirectoryComeBeforeThoseOfTheLogDirectory) {
  store("/mnt/vesk/kyte.log", gheader(131072, 20, 48) + alpha());
  expect_shown({"--utc", "kyte.log"}, beta_line, directory.path());
  expect_shown({"--utc", "kyte.log"}, alpha_line);
  std::filesystem::remove("/mnt/vesk/kyte.log");
}

TEST_F(Files, OfOtherNamesAreFoundInTheGivenDirectory) {
  std::filesystem::rename(kyte, directory / "renamed");
  expect_shown({"--utc", "-D", directory.path(), "renamed"}, beta_line);
}

TEST_F(Files, MayBeSymbolicLinks) {
  ASSERT_EQ(::symlink(kyte.c_str(), (directory / "link").c_str()), 0);
  expect_shown({"--utc", directory / "link"}, beta_line);
}

TEST_F(Files, WithoutEntriesAreShownAsNothing) {
  store(kyte, gheader(131072, 20, 20));
  expect_shown({kyte}, "");
}

TEST_F(Files, WrappedAreShownFromTheOldestEntry) {
  store(directory / "ring", gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8());
  expect_shown({"--utc", directory / "ring"}, alpha_line + gamma_line);
}

TEST_F(Files, ShowTheirLastEntriesOnly) {
  expect_shown({"--utc", "-n", "2", temperature}, beta_line + gamma_line);
  expect_shown({"--utc", "-n2", temperature}, beta_line + gamma_line);
  expect_shown({"--utc", "--lines", "3", temperature}, alpha_line + beta_line + gamma_line);
  expect_shown({"--utc", "-n", "4", temperature}, alpha_line + beta_line + gamma_line);
  expect_shown({"--utc", "-n", "0", temperature}, "");
}

TEST_F(Files, AreListed) {
  store(directory / "nruda.log",
        gheader(262144, 261000, 200000) + std::string(260980, '\0') + alpha());
  const shown result = veskshow({"--utc", "--list", "-D", directory.path()});
  EXPECT_EQ(result.out,
            "TYPE  NAME                         SIZE  FILL  ENTRIES  OLDEST               "
            "NEWEST               WRAPPED  STATE\n"
            "   2  nruda.log                  261028   76%        1  2024-05-01 12:00:00  "
            "2024-05-01 12:00:00  yes      offset 261028: no entry: the file ends at 261028\n"
            "   3  kyte.log                       44    0%        1  2024-05-01 12:00:01  "
            "2024-05-01 12:00:01  no       ok\n"
            "   7  temperature_err.log           104    1%        3  2024-05-01 12:00:00  "
            "2024-05-01 12:00:02  no       ok\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 1);
}

TEST_F(Files, AreListedWhateverTheyAre) {
  store(directory / "empty", gheader(120, 20, 20));
  store(directory / "lost", stale(60));
  const shown result =
      veskshow({"--list", "-D", directory.path(), "empty", "lost", "missing", "7"});
  EXPECT_EQ(result.out,
            "TYPE  NAME                         SIZE  FILL  ENTRIES  OLDEST               "
            "NEWEST               WRAPPED  STATE\n"
            "   -  empty                          20    0%        0  -                    "
            "-                    no       ok\n"
            "   -  lost                           60     -        -  -                    "
            "-                    -        offset 0: not a log file: it does not begin with "
            "\"vesk\"\n"
            "   7  temperature_err.log           104    1%        3  2024-05-01 14:00:00  "
            "2024-05-01 14:00:02  no       ok\n");
  EXPECT_EQ(result.err, "veskshow: " + directory.path() + "/missing: No such file or directory\n");
  EXPECT_EQ(result.status, 1);
}

// --- files that cannot be shown ---

TEST_F(Files, ThatAreMissing) {
  expect_problem({directory / "gone.log"},
                 "veskshow: " + (directory / "gone.log") + ": No such file or directory\n");
  expect_problem({"-D", directory.path(), "kernel"},
                 "veskshow: " + (directory / "kernel.log") + ": No such file or directory\n");
}

TEST_F(Files, OfNamesAndTypesThatAreNotKnown) {
  const std::string unknown = ": No such file, and no log file of that name or type\n";
  expect_problem({"kernle"}, "veskshow: kernle" + unknown);
  expect_problem({"8"}, "veskshow: 8" + unknown);
  expect_problem({"0"}, "veskshow: 0" + unknown);
  expect_problem({"4294967298"}, "veskshow: 4294967298" + unknown);
  expect_problem({"99999999999999999999999"}, "veskshow: 99999999999999999999999" + unknown);
  expect_problem({""}, "veskshow: " + unknown);
}

TEST_F(Files, OfOtherKinds) {
  ASSERT_EQ(::mkfifo((directory / "fifo").c_str(), 0600), 0);
  expect_problem({directory / "fifo"},
                 "veskshow: " + (directory / "fifo") + ": Not a regular file\n");
  expect_problem({directory.path()}, "veskshow: " + directory.path() + ": Is a directory\n");
}

TEST_F(Files, WithNamesThatWouldHarmATerminal) {
  expect_problem({"/\x1b[2J\xFF"}, "veskshow: /\\e[2J\\xff: No such file or directory\n");
}

TEST_F(Files, FromADirectoryThatHasNone) {
  const scratch_directory empty;
  expect_problem({"-D", empty.path()}, "veskshow: " + empty.path() + ": No log files here\n");
  expect_problem({"--list", "-D", "/nowhere"}, "veskshow: /nowhere: No such file or directory\n");
  expect_problem({"-D", kyte}, "veskshow: " + kyte + ": Not a directory\n");
}

TEST_F(Files, ThatCannotBeReadDoNotHideTheOthers) {
  const shown result = veskshow({"--utc", "/gone", kyte, "8", directory.path(), temperature});
  EXPECT_EQ(result.out, "==> " + kyte + " <==\n" + beta_line + "\n==> " + temperature + " <==\n" +
                            alpha_line + beta_line + gamma_line);
  EXPECT_EQ(result.err,
            "veskshow: 8: No such file, and no log file of that name or type\n"
            "veskshow: /gone: No such file or directory\n"
            "veskshow: " +
                directory.path() + ": Is a directory\n");
  EXPECT_EQ(result.status, 1);
}

// --- the command line ---

TEST(CommandLine, HelpShowsOptionsExamplesAndExitStatus) {
  const shown result = veskshow({"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  for (const char *part :
       {"veskshow [OPTIONS] [FILE|NAME|TYPE...]", "-D,--directory DIR", "-n,--lines N", "--list",
        "--utc", "--version", "\n  veskshow -n 20 kernel ", "\nExit status:\n  0  "}) {
    EXPECT_NE(result.out.find(part), std::string::npos) << part;
  }
}

TEST(CommandLine, VersionIsTheProjects) {
  const shown result = veskshow({"--version"});
  EXPECT_EQ(result.out, "veskshow " VESK_VERSION_TEXT "\n");
  EXPECT_EQ(result.status, 0);
}

TEST(CommandLine, MistakesEndWithStatusTwo) {
  const std::vector<std::vector<std::string>> mistakes = {
      {"--nonsense"},        {"-n"}, {"-n", "few"}, {"-n", "-1"}, {"-n", "1.5"},
      {"--list", "-n", "1"}, {"-D"},
  };
  for (const auto &arguments : mistakes) {
    const shown result = veskshow(arguments);
    EXPECT_EQ(result.status, 2) << arguments.back();
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.substr(0, 10), "veskshow: ");
    EXPECT_TRUE(result.err.ends_with("\nTry 'veskshow --help'.\n")) << result.err;
  }
}

}  // namespace
}  // namespace vesk::test
