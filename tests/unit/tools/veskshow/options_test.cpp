// The command line: what it may say, and what veskshow answers when it is wrong.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

void expect_usage_error(const std::vector<std::string> &arguments, const std::string &reason) {
  const ended result = veskshow(arguments);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "veskshow: " + reason + "\nTry 'veskshow --help'.\n");
  EXPECT_EQ(result.status, 2);
}

TEST(CommandLine, help_answers_the_plain_questions) {
  const ended result = veskshow({"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  for (const char *part : {
           "veskshow [OPTIONS] [FILE|NAME|TYPE...]",
           "  -D,--directory DIR  ",
           "  -n,--lines N  ",
           "  -u,--uuid UUID  ",
           "  -f,--follow  ",
           "\n  veskshow -S \"1 hour ago\"             what happened in the last hour\n",
           "\n  veskshow -u 677                      what sender 677 said\n",
           "\n  veskshow --verify ./exception.log    is this copy damaged, where and why\n",
           "\n  veskshow --salvage ./exception.log   what can be saved from it\n",
           "\n  veskshow --stats                     how long entries live",
           "\nExit status:\n  0  ",
       }) {
    EXPECT_NE(result.out.find(part), std::string::npos) << part;
  }
  EXPECT_EQ(result.out.find("\n\n\n"), std::string::npos);
  EXPECT_EQ(veskshow({"-h"}).out, result.out);
}

TEST(CommandLine, help_fits_into_a_hundred_columns) {
  std::istringstream help(veskshow({"--help"}).out);
  for (std::string line; std::getline(help, line);) EXPECT_LE(line.size(), 100u) << line;
}

TEST(CommandLine, version_is_the_projects) {
  const ended result = veskshow({"--version"});
  EXPECT_EQ(result.out, "veskshow " VESK_VERSION_TEXT "\n");
  EXPECT_EQ(result.status, 0);
}

TEST(CommandLine, unknown_options_are_refused) {
  expect_usage_error({"--nonsense"}, "The following argument was not expected: --nonsense");
  expect_usage_error({"--\x1b[2J"}, "The following argument was not expected: --\\e[2J");
}

TEST(CommandLine, values_must_be_given) {
  expect_usage_error({"-n"}, "--lines needs a value");
  expect_usage_error({"-D"}, "--directory needs a value");
  expect_usage_error({"-u"}, "--uuid needs a value");
  expect_usage_error({"--grep"}, "--grep needs a value");
  expect_usage_error({"--since", ""}, "--since: is empty");
  expect_usage_error({"--until", ""}, "--until: is empty");
  expect_usage_error({"--names", ""}, "--names: is empty");
  expect_usage_error({"-D", ""}, "--directory: is empty");
}

TEST(CommandLine, numbers_must_be_numbers) {
  expect_usage_error({"-n", "few"}, "--lines: 'few' is no number of entries");
  expect_usage_error({"-n", "-1"}, "--lines: '-1' is no number of entries");
  expect_usage_error({"-n", "1.5"}, "--lines: '1.5' is no number of entries");
  expect_usage_error({"-n", "all"}, "--lines: 'all' is no number of entries");
  expect_usage_error({"-n", ""}, "--lines: '' is no number of entries");
  expect_usage_error({"-n", "18446744073709551616"},
                     "--lines: '18446744073709551616' is no number of entries");
  expect_usage_error({"-u", "65536"}, "--uuid: 65536 is not a number from 0 to 65535");
  expect_usage_error({"-t", "65536"}, "--type: 65536 is not a number from 0 to 65535");
}

TEST(CommandLine, names_must_be_known) {
  expect_usage_error({"-u", "nruda"},
                     "--uuid: 'nruda' is no number, and --names gives no names for them");
  expect_usage_error({"-t", "-1"},
                     "--type: '-1' is no number, and --names gives no names for them");
}

TEST(CommandLine, file_of_names_must_be_one) {
  const scratch_directory directory;
  store(directory / "names", "uuid 5 fan\nuuid fan 5\n");
  expect_usage_error({"--names", directory / "names"},
                     (directory / "names") + ":2: a number from 0 to 65535 is missing");
  expect_usage_error({"--names", "/nowhere"}, "/nowhere: No such file or directory");
}

TEST(CommandLine, times_must_be_possible) {
  expect_usage_error({"--since", "2026-02-31"},
                     "--since: cannot understand the time '2026-02-31'; write it like "
                     "\"2026-01-31 12:00:00\", \"yesterday\" or \"1h 30min ago\"");
  expect_usage_error({"-U", "25:00"},
                     "--until: cannot understand the time '25:00'; write it like "
                     "\"2026-01-31 12:00:00\", \"yesterday\" or \"1h 30min ago\"");
  expect_usage_error({"-S", "today", "-U", "yesterday"},
                     "--since: 'today' is later than --until 'yesterday'");
}

TEST(CommandLine, pattern_must_be_one) {
  expect_usage_error({"-g", "(a"}, "--grep: '(a': missing closing parenthesis at offset 2");
  expect_usage_error({"-g", "[z-a]"},
                     "--grep: '[z-a]': range out of order in character class at "
                     "offset 3");
}

TEST(CommandLine, choices_must_be_among_those_there_are) {
  expect_usage_error({"-o", "xml"},
                     "--output: 'xml' is none of cat, export, hex, json, json-pretty, raw, short, "
                     "short-iso, short-unix, verbose");
  expect_usage_error({"--color", "blue"}, "--color: 'blue' is none of always, auto, never");
}

TEST(CommandLine, options_must_fit_together) {
  expect_usage_error({"-f", "-r"}, "--follow excludes --reverse");
  expect_usage_error({"-f", "--until", "now"}, "--follow excludes --until");
  expect_usage_error(
      {"--list", "--map"},
      "only one of --list, --header, --verify, --map, --salvage, --stats and --preserve at a time");
  expect_usage_error({"--list", "-o", "json"}, "--output is for entries, which are not shown here");
  expect_usage_error({"--map", "-u", "5"},
                     "--since, --until, --uuid, --type and --grep choose among entries, which are "
                     "not shown here");
  for (const char *option : {"-n1", "-r", "-f"}) {
    expect_usage_error({"--list", option},
                       "--lines, --reverse and --follow are for the entries of the rings");
  }
}

TEST(CommandLine, last_of_several_values_counts) {
  const scratch_directory directory;
  store(directory / "ring", file_of(alpha() + beta()));
  const ended result =
      veskshow({"-n", "2", "-n", "1", "-o", "json", "-o", "cat", directory / "ring"});
  EXPECT_EQ(result.out, "beta\n");
}

}  // namespace
}  // namespace vesk::test
