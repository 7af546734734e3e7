// --map: rings as pictures.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

const std::string legend =
    "# live entries   o null entries   ! damage   ? not reached   h global header\n"
    "~ stale: written, not live   . free: never written   [ start   ] end   | both\n";

class Map : public ::testing::Test {
 protected:
  Map() { setenv("COLUMNS", "80", 1); }
  ~Map() override { unsetenv("COLUMNS"); }

  // Stores the bytes under the name and expects this below the legend and the path.
  void expect_map(const std::string &name, const std::string &bytes, const std::string &picture,
                  const std::string &problem = "") {
    const std::string path = directory / name;
    store(path, bytes);
    const ended result = veskshow({"--map", path});
    EXPECT_EQ(result.out, legend + "\n" + path + ": " + picture);
    EXPECT_EQ(result.err, problem.empty() ? "" : "veskshow: " + path + ": " + problem + "\n");
    EXPECT_EQ(result.status, problem.empty() ? 0 : 1);
  }

  // How many cells the first row of a ring of 8 MiB has.
  size_t cells_in_a_row(const char *columns) {
    if (columns) {
      setenv("COLUMNS", columns, 1);
    } else {
      unsetenv("COLUMNS");
    }
    const std::string out = veskshow({"--map", directory / "kernel.log"}).out;
    const size_t row = out.find("      0  |");
    return row == std::string::npos ? 0 : out.find('\n', row) - row - 9;
  }

  scratch_directory directory;
  const std::string three = alpha() + beta() + gamma_ray();
  const std::string wrapped = gheader(120, 64, 52) + gamma_ray() + stale(12) + alpha() + null8();
};

TEST_F(Map, of_a_wrapped_ring) {
  expect_map("ring", wrapped,
             "120 bytes, 4 to a character\n"
             "  0  hhhhh########]~~[######ooooooo\n"
             "live: 60 bytes in 2 entries; null: 28 bytes in 1 entry; stale: 12 bytes; "
             "free: 0 bytes\n");
}

TEST_F(Map, of_a_ring_that_has_not_wrapped) {
  expect_map("ring", gheader(120, 20, 104) + three,
             "120 bytes, 4 to a character\n"
             "  0  hhhhh[####################]...\n"
             "live: 84 bytes in 3 entries; null: 0 bytes in 0 entries; stale: 0 bytes; "
             "free: 16 bytes\n");
}

TEST_F(Map, of_an_empty_ring) {
  expect_map("ring", gheader(120, 20, 20),
             "120 bytes, 4 to a character\n"
             "  0  hhhhh|........................\n"
             "live: 0 bytes in 0 entries; null: 0 bytes in 0 entries; stale: 0 bytes; "
             "free: 100 bytes\n");
}

TEST_F(Map, of_a_ring_filled_to_its_capacity_ends_in_the_last_cell) {
  expect_map("ring", gheader(104, 20, 104) + three,
             "104 bytes, 4 to a character\n"
             "  0  hhhhh[###################]\n"
             "live: 84 bytes in 3 entries; null: 0 bytes in 0 entries; stale: 0 bytes; "
             "free: 0 bytes\n");
}

TEST_F(Map, shows_what_is_stale_and_the_null_entries_in_between) {
  expect_map("ring", gheader(120, 48, 100) + stale(28) + beta() + null8() + stale(4),
             "120 bytes, 4 to a character\n"
             "  0  hhhhh~~~~~~~[#####ooooooo]....\n"
             "live: 24 bytes in 1 entry; null: 28 bytes in 1 entry; stale: 32 bytes; "
             "free: 16 bytes\n");
}

TEST_F(Map, of_a_small_file_takes_eight_rows) {
  expect_map("temperature_err.log", gheader(8192, 20, 104) + three,
             "8192 bytes, 16 to a character\n"
             "   0  h[####]" +
                 std::string(65, '.') +
                 "\n"
                 "1152  " +
                 std::string(72, '.') +
                 "\n"
                 "2304  " +
                 std::string(72, '.') +
                 "\n"
                 "3456  " +
                 std::string(72, '.') +
                 "\n"
                 "4608  " +
                 std::string(72, '.') +
                 "\n"
                 "5760  " +
                 std::string(72, '.') +
                 "\n"
                 "6912  " +
                 std::string(72, '.') +
                 "\n"
                 "8064  ........\n"
                 "live: 84 bytes in 3 entries; null: 0 bytes in 0 entries; stale: 0 bytes; "
                 "free: 8088 bytes\n");
}

TEST_F(Map, of_a_large_file_takes_eight_rows_too) {
  const std::string dots(64, '.');
  expect_map("kernel.log", gheader(8388608, 20, 104) + three,
             "8388608 bytes, 16384 to a character\n"
             "      0  |" +
                 dots.substr(1) + "\n1048576  " + dots + "\n2097152  " + dots + "\n3145728  " +
                 dots + "\n4194304  " + dots + "\n5242880  " + dots + "\n6291456  " + dots +
                 "\n7340032  " + dots +
                 "\n"
                 "live: 84 bytes in 3 entries; null: 0 bytes in 0 entries; stale: 0 bytes; "
                 "free: 8388504 bytes\n");
}

TEST_F(Map, of_the_largest_capacity) {
  store(directory / "ring", gheader(0xFFFFFFFF, 20, 48) + alpha());
  const std::string out = veskshow({"--map", directory / "ring"}).out;
  EXPECT_NE(out.find(": 4294967295 bytes, 8388608 to a character\n         0  |....."),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("\n3758096384  ....."), std::string::npos) << out;
}

// --- damage ---

TEST_F(Map, shows_the_break_and_what_is_not_reached_behind_it) {
  expect_map("ring", gheader(120, 20, 104) + alpha() + stale(24) + gamma_ray(),
             "120 bytes, 4 to a character\n"
             "  0  hhhhh[######!!!!!?????????]...\n"
             "live: 28 bytes in 1 entry; null: 0 bytes in 0 entries; stale: 0 bytes; "
             "free: 16 bytes; damage: 20 bytes; not reached: 36 bytes\n",
             "offset 48: the checksum of the entry header does not hold");
}

TEST_F(Map, shows_damage_before_anything_else) {
  expect_map("ring", gheader(120, 64, 52) + gamma_ray() + stale(12) + stale(28) + null8(),
             "120 bytes, 4 to a character\n"
             "  0  hhhhh????????]~~!!!!!?????????\n"
             "live: 0 bytes in 0 entries; null: 0 bytes in 0 entries; stale: 12 bytes; "
             "free: 0 bytes; damage: 20 bytes; not reached: 68 bytes\n",
             "offset 64: the checksum of the entry header does not hold");
}

TEST_F(Map, shows_a_wrong_capacity_as_damage_of_the_header) {
  setenv("COLUMNS", "200", 1);
  const std::string dots(192, '.');
  expect_map("temperature_err.log", gheader(1536, 20, 48) + alpha(),
             "1536 bytes, 4 to a character\n"
             "   0  !!!!![######]" +
                 dots.substr(13) + "\n 768  " + dots +
                 "\n"
                 "live: 28 bytes in 1 entry; null: 0 bytes in 0 entries; stale: 0 bytes; "
                 "free: 1488 bytes; damage: 20 bytes\n",
             "offset 8: capacity 1536 is not the 8192 of this file");
}

TEST_F(Map, says_where_there_is_no_ring_to_draw) {
  store(directory / "lost", stale(60));
  const ended result = veskshow({"--map", directory / "lost"});
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "veskshow: " + (directory / "lost") +
                            ": there is no ring to draw: offset 0: not a log file: it does not "
                            "begin with \"vesk\"\n");
  EXPECT_EQ(result.status, 1);
}

// --- several files ---

TEST_F(Map, has_one_legend_for_all_files) {
  store(directory / "lost", stale(60));
  store(directory / "one", wrapped);
  store(directory / "two", gheader(120, 20, 20));
  const ended result = veskshow({"--map", directory / "lost", directory / "one", directory / "gone",
                                 directory / "lost", directory / "two"});
  EXPECT_EQ(result.out,
            legend + "\n" + (directory / "one") +
                ": 120 bytes, 4 to a character\n"
                "  0  hhhhh########]~~[######ooooooo\n"
                "live: 60 bytes in 2 entries; null: 28 bytes in 1 entry; stale: 12 bytes; "
                "free: 0 bytes\n"
                "\n" +
                (directory / "two") +
                ": 120 bytes, 4 to a character\n"
                "  0  hhhhh|........................\n"
                "live: 0 bytes in 0 entries; null: 0 bytes in 0 entries; stale: 0 bytes; "
                "free: 100 bytes\n");
  EXPECT_EQ(result.err,
            "veskshow: " + (directory / "lost") +
                ": there is no ring to draw: offset 0: not a log file: it does not begin with "
                "\"vesk\"\n"
                "veskshow: " +
                (directory / "gone") +
                ": No such file or directory\n"
                "veskshow: " +
                (directory / "lost") +
                ": there is no ring to draw: offset 0: not a log file: it does not begin with "
                "\"vesk\"\n");
  EXPECT_EQ(result.status, 1);
}

// --- the terminal ---

TEST_F(Map, is_as_wide_as_the_terminal) {
  store(directory / "kernel.log", gheader(8388608, 20, 104) + three);
  EXPECT_EQ(cells_in_a_row("80"), 64u);
  EXPECT_EQ(cells_in_a_row("81"), 72u);
  EXPECT_EQ(cells_in_a_row("120"), 104u);
  EXPECT_EQ(cells_in_a_row("200"), 184u);
}

TEST_F(Map, keeps_to_a_width_that_can_be_read) {
  store(directory / "kernel.log", gheader(8388608, 20, 104) + three);
  EXPECT_EQ(cells_in_a_row("1"), 8u);
  EXPECT_EQ(cells_in_a_row("24"), 8u);
  EXPECT_EQ(cells_in_a_row("25"), 16u);
  EXPECT_EQ(cells_in_a_row("1000"), 984u);
  EXPECT_EQ(cells_in_a_row("4000000000"), 984u);
}

TEST_F(Map, takes_eighty_columns_where_no_number_is_given) {
  store(directory / "kernel.log", gheader(8388608, 20, 104) + three);
  for (const char *columns : {"", "0", "wide", "200 or so", "-200", "99999999999999999999999"}) {
    EXPECT_EQ(cells_in_a_row(columns), 64u) << columns;
  }
}

TEST_F(Map, goes_on_in_the_next_row) {
  setenv("COLUMNS", "20", 1);
  expect_map("ring", wrapped,
             "120 bytes, 4 to a character\n"
             "  0  hhhhh###\n"
             " 32  #####]~~\n"
             " 64  [######o\n"
             " 96  oooooo\n"
             "live: 60 bytes in 2 entries; null: 28 bytes in 1 entry; stale: 12 bytes; "
             "free: 0 bytes\n");
}

TEST_F(Map, has_colours_where_they_are_asked_for) {
  store(directory / "ring", wrapped);
  const std::string out = veskshow({"--map", "--color", "always", directory / "ring"}).out;
  EXPECT_NE(out.find("\n  0  \x1b[36mhhhhh\x1b[0m\x1b[32m########\x1b[0m\x1b[1;33m]\x1b[0m"
                     "\x1b[2m~~\x1b[0m\x1b[1;33m[\x1b[0m\x1b[32m######\x1b[0m"
                     "\x1b[34mooooooo\x1b[0m\n"),
            std::string::npos)
      << out;
  EXPECT_TRUE(out.starts_with("\x1b[32m#\x1b[0m live entries")) << out;
  EXPECT_NE(out.find("\x1b[1;31m!\x1b[0m damage"), std::string::npos) << out;
}

TEST_F(Map, shows_the_path_harmless_to_a_terminal) {
  expect_map("ring", wrapped,
             "120 bytes, 4 to a character\n"
             "  0  hhhhh########]~~[######ooooooo\n"
             "live: 60 bytes in 2 entries; null: 28 bytes in 1 entry; stale: 12 bytes; "
             "free: 0 bytes\n");
  store(directory / "a\x1b[2J", wrapped);
  EXPECT_NE(veskshow({"--map", directory / "a\x1b[2J"}).out.find("/a\\e[2J: 120 bytes"),
            std::string::npos);
}

}  // namespace
}  // namespace vesk::test
