// What veskshow --salvage prints and says: which entries are found is tested with the reader.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

const std::string alpha_time = "2024-05-01 12:00:00.000001 ";
const std::string beta_time = "2024-05-01 12:00:01.250000 ";
const std::string gamma_time = "2024-05-01 12:00:02.999999 ";

class SalvageJob : public ::testing::Test {
 protected:
  ended salvage(std::vector<std::string> options = {}) {
    options.insert(options.end(), {"--utc", "--salvage", path});
    return veskshow(options);
  }

  ended salvage_of(const std::string &bytes, const std::vector<std::string> &options = {}) {
    store(path, bytes);
    return salvage(options);
  }

  std::string problem(const std::string &reason) const {
    return "veskshow: " + path + ": " + reason + "\n";
  }
  std::string note(const std::string &text) const { return "-- " + path + ": " + text + " --\n"; }

  scratch_directory directory;
  const std::string path = directory / "temperature_err.log";
  const std::string sound = file_of(alpha() + beta() + gamma_ray());
};

TEST_F(SalvageJob, sound_file_is_all_chain) {
  const ended result = salvage_of(sound);
  EXPECT_EQ(result.out, alpha_time + "temperature_err 677[1024]: (chain) alpha\n" + beta_time +
                            "temperature_err 80[1025]: (chain) beta\n" + gamma_time +
                            "temperature_err 510[2000]: (chain) gamma ray\n");
  EXPECT_EQ(result.err, note("3 entries: 3 chain"));
  EXPECT_EQ(result.status, 0);
}

TEST_F(SalvageJob, damaged_file_shows_what_is_behind_the_damage_and_names_it) {
  const ended result = salvage_of(file_of(alpha() + stale(24) + gamma_ray()));
  EXPECT_EQ(result.out, alpha_time + "temperature_err 677[1024]: (chain) alpha\n" + gamma_time +
                            "temperature_err 510[2000]: (sure) gamma ray\n");
  EXPECT_EQ(result.err, problem("offset 48: the checksum of the entry header does not hold") +
                            note("2 entries: 1 chain, 1 sure"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, entry_outside_the_chain_of_a_sound_file_is_reported_by_the_status) {
  const ended result = salvage_of(gheader(8192, 48, 104) + sound.substr(20));
  EXPECT_EQ(result.err, note("3 entries: 2 chain, 1 sure"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, certainty_names_what_is_whole_of_the_data) {
  const ended result = salvage_of(sound.substr(0, 100));
  EXPECT_NE(result.out.find("510[2000]: (doubtful, 8 of 12 bytes) gamma ra\n"), std::string::npos)
      << result.out;
  EXPECT_EQ(result.err, problem("offset 72: the entry runs to 104, but the file ends at 100") +
                            note("3 entries: 2 chain, 1 doubtful"));
}

TEST_F(SalvageJob, every_level_is_counted) {
  const std::string rewritten = entry({.sum = 0xFFD7, .prev_size = 40}, "data");
  const ended result = salvage_of(file_of(alpha()) + stale(4) + beta() + stale(20) + rewritten +
                                  stale(20) + entry({.uuid = 0}, "data") + gamma_ray());
  EXPECT_EQ(result.err, note("5 entries: 1 chain, 1 sure, 1 likely, 1 rewritten, 1 doubtful"));
}

TEST_F(SalvageJob, certainty_is_a_field_in_json) {
  const ended result = salvage_of(gheader(8192, 48, 104) + sound.substr(20), {"-o", "json"});
  EXPECT_NE(result.out.find("\"VESK_CERTAINTY\":\"sure\""), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\"VESK_CERTAINTY\":\"chain\""), std::string::npos) << result.out;
}

TEST_F(SalvageJob, filter_chooses_among_the_entries) {
  const ended result = salvage_of(sound, {"-u", "80"});
  EXPECT_EQ(result.out, beta_time + "temperature_err 80[1025]: (chain) beta\n");
  EXPECT_EQ(result.err, note("1 entry: 1 chain"));
  EXPECT_EQ(result.status, 0);
}

TEST_F(SalvageJob, filter_that_nothing_passes) {
  const ended result = salvage_of(sound, {"-u", "81"});
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, note("0 entries"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, entry_that_the_filter_keeps_back_still_counts_for_the_status) {
  EXPECT_EQ(salvage_of(gheader(8192, 48, 104) + sound.substr(20), {"-u", "80"}).status, 1);
}

TEST_F(SalvageJob, quiet_leaves_out_the_notes_and_not_the_problems) {
  const ended result = salvage_of(file_of(alpha() + stale(24)) + file_of(beta()), {"-q"});
  EXPECT_EQ(result.err, problem("offset 48: the checksum of the entry header does not hold"));
}

TEST_F(SalvageJob, global_headers_in_an_image_are_noted) {
  const ended result = salvage_of(stale(12) + sound + gheader(262144, 20, 44) + beta());
  EXPECT_EQ(result.err, note("offset 12: a global header: capacity 8192, start 20, end 104") +
                            note("offset 116: a global header: capacity 262144, start 20, end 44") +
                            problem("offset 0: not a log file: it does not begin with \"vesk\"") +
                            note("4 entries: 4 sure"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, empty_file) {
  const ended result = salvage_of("");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, problem("offset 0: the file is empty") + note("0 entries"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, ring_without_entries) {
  const ended result = salvage_of(gheader(8192, 20, 20));
  EXPECT_EQ(result.err, note("0 entries"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, several_files_one_after_the_other) {
  store(directory / "kyte.log", gheader(131072, 20, 44) + beta());
  store(path, sound);
  const ended result = veskshow({"--utc", "--salvage", "-D", directory.path()});
  EXPECT_EQ(result.out, beta_time + "kyte 80[1025]: (chain) beta\n" + alpha_time +
                            "temperature_err 677[1024]: (chain) alpha\n" + beta_time +
                            "temperature_err 80[1025]: (chain) beta\n" + gamma_time +
                            "temperature_err 510[2000]: (chain) gamma ray\n");
  EXPECT_EQ(result.status, 0);
}

TEST_F(SalvageJob, file_that_is_too_large_for_a_ring) {
  store(path, std::string(40, 'x') + alpha());
  std::filesystem::resize_file(path, (64 << 20) + 4);
  const ended result = salvage();
  EXPECT_EQ(result.out, alpha_time + "temperature_err 677[1024]: (likely) alpha\n");
  EXPECT_EQ(result.err, note("1 entry: 1 likely"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, offsets_beyond_four_gibibytes_are_what_they_are) {
  store(path, "");
  std::filesystem::resize_file(path, (uint64_t{4} << 30) - 12);
  std::ofstream(path, std::ios::binary | std::ios::app) << alpha() << beta();
  const ended result = salvage({"-o", "json"});
  EXPECT_NE(result.out.find("\"VESK_OFFSET\":\"4294967284\""), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\"VESK_OFFSET\":\"4294967312\""), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("\"o=4294967312;"), std::string::npos) << result.out;
}

// --- what cannot be searched ---

TEST_F(SalvageJob, missing_file) {
  const ended result = salvage();
  EXPECT_EQ(result.err, problem("No such file or directory"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, directory) {
  std::filesystem::create_directory(path);
  const ended result = salvage();
  EXPECT_EQ(result.err, problem("Is a directory"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, fifo_is_refused_without_waiting) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const ended result = salvage();
  EXPECT_EQ(result.err, problem("Neither a file nor a block device"));
  EXPECT_EQ(result.status, 1);
}

TEST_F(SalvageJob, device_that_has_no_end_is_refused) {
  const ended result = veskshow({"--salvage", "/dev/zero"});
  EXPECT_EQ(result.err, "veskshow: /dev/zero: Neither a file nor a block device\n");
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace vesk::test
