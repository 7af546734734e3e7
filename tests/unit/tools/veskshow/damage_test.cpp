// Damaged files: everything readable is shown, then what is wrong and where.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

class Damage : public ::testing::Test {
 protected:
  // Stores the file under the name of type 7, of 8192 bytes, and shows it.
  void expect(const std::string &bytes, const std::string &texts, const std::string &problem,
              const std::string &note = "") {
    store(path, bytes);
    const ended result = veskshow({"-o", "cat", path});
    EXPECT_EQ(result.out, texts);
    EXPECT_EQ(result.err, "veskshow: " + path + ": " + problem + "\n" + note);
    EXPECT_EQ(result.status, 1);
  }

  const std::string behind_damage =
      "-- Entries behind damage are not shown; try --verify and --salvage --\n";

  scratch_directory directory;
  const std::string path = directory / "temperature_err.log";
  const std::string sound = file_of(alpha() + beta() + gamma_ray());
};

TEST_F(Damage, in_an_entry_header) {
  std::string broken = sound;
  broken[72] ^= 0x40;
  expect(broken, "alpha\nbeta\n", "offset 72: the checksum of the entry header does not hold",
         behind_damage);
}

TEST_F(Damage, in_the_global_header) {
  std::string broken = sound;
  broken[19] ^= 0x40;
  expect(broken, "", "offset 6: the checksum of the global header does not hold");
}

TEST_F(Damage, by_a_cut_in_the_last_entry) {
  expect(sound.substr(0, 100), "alpha\nbeta\n",
         "offset 72: the entry runs to 104, but the file ends at 100", behind_damage);
}

TEST_F(Damage, by_a_cut_in_the_global_header) {
  expect(sound.substr(0, 10), "", "offset 10: the file ends inside its global header");
}

TEST_F(Damage, of_an_empty_file) {
  expect("", "", "offset 0: the file is empty");
}

TEST_F(Damage, of_a_file_of_another_kind) {
  expect(
      "\x7f"
      "ELF and so on, at least twenty bytes",
      "", "offset 0: not a log file: it does not begin with \"vesk\"");
}

TEST_F(Damage, by_the_capacity_of_another_file) {
  expect(gheader(262144, 20, 104, 0x14AF) + sound.substr(20), "alpha\nbeta\ngamma ray\n",
         "offset 8: capacity 262144 is not the 8192 of this file");
}

TEST_F(Damage, shows_the_last_entries_before_it) {
  std::string broken = sound;
  broken[72] ^= 0x40;
  store(path, broken);
  const ended result = veskshow({"-o", "cat", "-n", "1", path});
  EXPECT_EQ(result.out, "beta\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(Damage, of_one_file_does_not_hide_the_others) {
  const std::string kyte = directory / "kyte.log";
  const std::string nruda = directory / "nruda.log";
  store(kyte, gheader(131072, 20, 68) + beta() + stale(24));
  store(nruda, stale(24));
  store(path, sound);
  const ended result = veskshow({"-o", "cat", "-D", directory.path()});
  EXPECT_EQ(result.out, "alpha\nbeta\nbeta\ngamma ray\n");
  EXPECT_EQ(result.err, "veskshow: " + nruda +
                            ": offset 0: not a log file: it does not begin with \"vesk\"\n"
                            "veskshow: " +
                            kyte + ": offset 44: the checksum of the entry header does not hold\n" +
                            behind_damage);
  EXPECT_EQ(result.status, 1);
}

TEST_F(Damage, is_not_taken_for_an_answer_where_nothing_matches) {
  std::string broken = sound;
  broken[72] ^= 0x40;
  store(path, broken);
  EXPECT_EQ(veskshow({"-u", "1", path}).err,
            "veskshow: " + path + ": offset 72: the checksum of the entry header does not hold\n" +
                behind_damage + "-- No entries --\n");
}

TEST_F(Damage, is_reported_even_where_nothing_is_shown) {
  std::string broken = sound;
  broken[72] ^= 0x40;
  store(path, broken);
  const ended result = veskshow({"-q", "-u", "1", path});
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "veskshow: " + path + ": offset 72: the checksum of the entry header does not hold\n");
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace vesk::test
