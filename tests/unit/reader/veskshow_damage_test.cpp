// Damaged files: everything readable is shown, then what is wrong and where.
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/reader/file_bytes.h"
#include "tests/unit/reader/run_veskshow.h"

namespace vesk::test {
namespace {

const std::string alpha_line = "2024-05-01 12:00:00.000001   677  1024     8  alpha\n";
const std::string beta_line = "2024-05-01 12:00:01.250000    80  1025     4  beta\n";
const std::string gamma_line = "2024-05-01 12:00:02.999999   510  2000    12  gamma ray\n";

class Damage : public ::testing::Test {
 protected:
  // Stores the file under the name of type 7, of 8192 bytes, and shows it.
  void expect(const std::string &bytes, const std::string &lines, const std::string &problem) {
    store(path, bytes);
    const shown result = veskshow({"--utc", path});
    EXPECT_EQ(result.out, lines);
    EXPECT_EQ(result.err, "veskshow: " + path + ": " + problem + "\n");
    EXPECT_EQ(result.status, 1);
  }

  scratch_directory directory;
  const std::string path = directory / "temperature_err.log";
  const std::string sound = file_of(alpha() + beta() + gamma_ray());
};

TEST_F(Damage, InAnEntryHeader) {
  std::string broken = sound;
  broken[72] ^= 0x40;
  expect(broken, alpha_line + beta_line,
         "offset 72: the checksum of the entry header does not hold");
}

TEST_F(Damage, InTheGlobalHeader) {
  std::string broken = sound;
  broken[19] ^= 0x40;
  expect(broken, "", "offset 6: the checksum of the global header does not hold");
}

TEST_F(Damage, ByACutInTheLastEntry) {
  expect(sound.substr(0, 100), alpha_line + beta_line,
         "offset 72: the entry runs to 104, but the file ends at 100");
}

TEST_F(Damage, ByACutInTheGlobalHeader) {
  expect(sound.substr(0, 10), "", "offset 10: the file ends inside its global header");
}

TEST_F(Damage, OfAnEmptyFile) {
  expect("", "", "offset 0: the file is empty");
}

TEST_F(Damage, ByTheCapacityOfAnotherFile) {
  expect(gheader(262144, 20, 104, 0x14AF) + sound.substr(20), alpha_line + beta_line + gamma_line,
         "offset 8: capacity 262144 is not the 8192 of this file");
}

TEST_F(Damage, ShowsTheLastEntriesBeforeIt) {
  std::string broken = sound;
  broken[72] ^= 0x40;
  store(path, broken);
  const shown result = veskshow({"--utc", "-n", "1", path});
  EXPECT_EQ(result.out, beta_line);
  EXPECT_EQ(result.status, 1);
}

TEST_F(Damage, OfOneFileDoesNotHideTheOthers) {
  store(directory / "kyte.log", gheader(131072, 20, 44) + stale(24));
  store(path, sound);
  const shown result = veskshow({"--utc", "-D", directory.path()});
  EXPECT_EQ(result.out, "==> " + (directory / "kyte.log") + " <==\n\n==> " + path + " <==\n" +
                            alpha_line + beta_line + gamma_line);
  EXPECT_EQ(result.err, "veskshow: " + (directory / "kyte.log") +
                            ": offset 20: the checksum of the entry header does not hold\n");
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace vesk::test
