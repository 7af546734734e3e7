// Which entries veskshow shows of all files, in which order, and what it says when there are none.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

// An entry so many seconds behind noon whose data are a letter.
std::string at(uint32_t second, const char *letter, uint16_t uuid = 677, uint16_t type = 1024) {
  return entry({.uuid = uuid, .type = type, .secs = noon + second}, std::string(letter) + "   ");
}

std::string ring(uint32_t max, const std::string &entries) {
  return gheader(max, 20, static_cast<uint32_t>(20 + entries.size())) + entries;
}

class Entries : public ::testing::Test {
 protected:
  // The letters that are shown, with the exit status where it is not 0.
  std::string letters(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"-o", "cat", "-D", directory.path()});
    const ended result = veskshow(arguments);
    std::string seen;
    for (const char c : result.out) {
      if (c != ' ' && c != '\n') seen += c;
    }
    error = result.err;
    return seen + (result.status == 0 ? "" : "=" + std::to_string(result.status));
  }

  void store_kyte(const std::string &entries) {
    store(directory / "kyte.log", ring(131072, entries));
  }
  void store_nruda(const std::string &entries) {
    store(directory / "nruda.log", ring(262144, entries));
  }

  scratch_directory directory;
  std::string error;
};

TEST_F(Entries, of_all_files_come_in_the_order_of_time) {
  store_nruda(at(1, "a") + at(4, "b"));
  store_kyte(at(2, "p") + at(3, "q") + at(5, "r"));
  EXPECT_EQ(letters({}), "apqbr");
}

TEST_F(Entries, of_one_time_come_in_the_order_of_file_types) {
  store_nruda(at(1, "a"));
  store_kyte(at(1, "p"));
  store(directory / "copy", ring(8192, at(1, "x")));
  EXPECT_EQ(letters({"copy", "3", "2"}), "apx");
}

TEST_F(Entries, may_be_the_newest_only) {
  store_nruda(at(1, "a") + at(4, "b"));
  store_kyte(at(2, "p") + at(3, "q") + at(5, "r"));
  EXPECT_EQ(letters({"-n", "1"}), "r");
  EXPECT_EQ(letters({"-n3"}), "qbr");
  EXPECT_EQ(letters({"--lines=4"}), "pqbr");
  EXPECT_EQ(letters({"--lines", "5"}), "apqbr");
  EXPECT_EQ(letters({"-n", "18446744073709551615"}), "apqbr");
  EXPECT_EQ(letters({"-n", "0"}), "");
  EXPECT_EQ(error, "");
}

TEST_F(Entries, may_be_the_newest_of_those_that_match) {
  store_nruda(at(1, "a", 5) + at(4, "b", 6));
  store_kyte(at(2, "p", 5) + at(3, "q", 5) + at(5, "r", 6));
  EXPECT_EQ(letters({"-n", "2", "-u", "5"}), "pq");
  EXPECT_EQ(letters({"-n", "0", "-u", "5"}), "");
}

TEST_F(Entries, may_come_in_reverse) {
  store_nruda(at(1, "a") + at(4, "b"));
  store_kyte(at(2, "p") + at(3, "q") + at(5, "r"));
  EXPECT_EQ(letters({"-r"}), "rbqpa");
  EXPECT_EQ(letters({"--reverse", "-n", "2"}), "rb");
  EXPECT_EQ(letters({"-r", "--until", "2024-05-01 12:00:02 UTC"}), "pa");
}

// The choice is the same whichever way the entries are counted, also where a clock steps back.
TEST_F(Entries, keep_the_order_of_a_ring_whose_clock_was_set_back) {
  store_nruda(at(10, "a") + at(5, "b") + at(6, "c") + at(20, "d"));
  store_kyte(at(7, "p") + at(12, "q"));
  EXPECT_EQ(letters({}), "pabcqd");
  EXPECT_EQ(letters({"-r"}), "dqcbap");
  EXPECT_EQ(letters({"-n", "3"}), "cqd");
  EXPECT_EQ(letters({"-n", "4"}), "bcqd");
}

TEST_F(Entries, say_where_the_clock_was_set_back) {
  store_nruda(at(10, "a") + at(5, "b") + entry({.secs = noon + 4, .usecs = 500000}, "c   "));
  const std::string a = "2024-05-01 12:00:10.000000 nruda 677[1024]: a   \n";
  const std::string b = "2024-05-01 12:00:05.000000 nruda 677[1024]: b   \n";
  const std::string c = "2024-05-01 12:00:04.500000 nruda 677[1024]: c   \n";
  const std::string remark = "-- the clock was set back by 5 s --\n";
  EXPECT_EQ(veskshow({"--utc", "-D", directory.path()}).out, a + remark + b + c);
  EXPECT_EQ(veskshow({"--utc", "-r", "-D", directory.path()}).out, c + b + remark + a);
  EXPECT_EQ(veskshow({"--utc", "-n2", "-D", directory.path()}).out, remark + b + c);
  EXPECT_EQ(letters({}), "abc");
}

TEST_F(Entries, are_chosen_by_time) {
  store_nruda(at(1, "a") + at(2, "b") + at(3, "c") + at(4, "d"));
  EXPECT_EQ(letters({"-S", "2024-05-01 14:00:02"}), "bcd") << "local time";
  EXPECT_EQ(letters({"--utc", "-S", "2024-05-01 12:00:02"}), "bcd");
  EXPECT_EQ(letters({"--utc", "--until", "2024-05-01 12:00:02"}), "ab");
  EXPECT_EQ(letters({"-U@1714564803", "--since=@1714564802"}), "bc");
  EXPECT_EQ(letters({"-S", "-1h"}), "=1");
  EXPECT_EQ(letters({"-S-1h"}), "=1");
  EXPECT_EQ(letters({"--until", "-1h"}), "abcd");
}

TEST_F(Entries, are_chosen_by_sender_and_type) {
  store_nruda(at(1, "a", 5, 1024) + at(2, "b", 6, 1025) + at(3, "c", 7, 1024));
  EXPECT_EQ(letters({"-u", "5"}), "a");
  EXPECT_EQ(letters({"-u", "5", "--uuid", "7"}), "ac");
  EXPECT_EQ(letters({"-t", "1024"}), "ac");
  EXPECT_EQ(letters({"--type=1024", "-t1025"}), "abc");
  EXPECT_EQ(letters({"-u", "6", "-t", "1024"}), "=1");
  EXPECT_EQ(letters({"-u", "6", "nruda"}), "b") << "a file may follow the number";
}

TEST_F(Entries, are_chosen_by_names) {
  store_nruda(at(1, "a", 5, 1024) + at(2, "b", 6, 1025));
  store(directory / "names", "uuid 6 fan monitor\ntype 1024 reset\n");
  EXPECT_EQ(letters({"--names", directory / "names", "-u", "fan monitor"}), "b");
  EXPECT_EQ(letters({"--names", directory / "names", "-t", "reset"}), "a");
  const ended result =
      veskshow({"--utc", "--names", directory / "names", "-D", directory.path(), "-n1"});
  EXPECT_EQ(result.out, "2024-05-01 12:00:02.000000 nruda fan monitor[1025]: b   \n");
}

TEST_F(Entries, are_chosen_by_their_text) {
  store_nruda(alpha() + beta() + gamma_ray());
  EXPECT_EQ(letters({"-g", "alpha"}), "alpha");
  EXPECT_EQ(letters({"--grep", "^g.*y$"}), "gammaray");
  EXPECT_EQ(letters({"-g", "ETA"}), "=1");
  EXPECT_EQ(letters({"-g", ""}), "alphabetagammaray");
  EXPECT_EQ(letters({"-g", "-"}), "=1");
}

TEST_F(Entries, that_are_none_are_noted) {
  store_nruda("");
  EXPECT_EQ(letters({}), "");
  EXPECT_EQ(error, "-- No entries --\n");
  EXPECT_EQ(letters({"-q"}), "");
  EXPECT_EQ(error, "");
}

TEST_F(Entries, that_do_not_match_end_with_status_one) {
  store_nruda(at(1, "a"));
  for (const char *option : {"--since=now", "--until=@0", "-u1", "-t1", "-gx"}) {
    EXPECT_EQ(letters({option}), "=1") << option;
    EXPECT_EQ(error, "-- No entries --\n");
    EXPECT_EQ(letters({option, "--quiet"}), "=1") << option;
    EXPECT_EQ(error, "");
  }
}

TEST_F(Entries, have_colours_only_where_they_are_wanted) {
  store_nruda(alpha());
  const auto has_colour = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"-D", directory.path()});
    return veskshow(arguments).out.find('\x1b') != std::string::npos;
  };
  EXPECT_FALSE(has_colour({}));
  EXPECT_FALSE(has_colour({"--color", "auto"}));
  EXPECT_FALSE(has_colour({"--color=never"}));
  EXPECT_TRUE(has_colour({"--color=always"}));
}

TEST_F(Entries, of_a_pattern_that_takes_for_ever_may_be_missing) {
  store_nruda(entry({}, std::string(60, 'a') + "b   ") + at(1, "a"));
  EXPECT_EQ(letters({"-g", "(a+)+\\s*$"}), "a=1");
  EXPECT_EQ(error, "veskshow: --grep: The pattern takes too many steps; entries may be missing\n");
}

}  // namespace
}  // namespace vesk::test
