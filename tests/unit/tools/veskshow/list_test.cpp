// --list: a row for each file.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

// The daemon's repairs end at this file: a kernel log that has wrapped, of the right length, and
// with a start so near to its capacity that no entry fits.
std::string unrepairable_kernel_log() {
  std::string bytes = gheader(8388608, 8388588, 20);
  bytes.resize(8388608, '.');
  return bytes;
}

class List : public ::testing::Test {
 protected:
  void expect_list(const std::vector<std::string> &arguments, const std::string &lines,
                   int status = 0, const std::string &problems = "") {
    std::vector<std::string> all = {"--utc", "--list", "-D", directory.path()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ended result = veskshow(all);
    EXPECT_EQ(result.out, lines);
    EXPECT_EQ(result.err, problems);
    EXPECT_EQ(result.status, status);
  }

  // What the last column says of a file of this name with these bytes.
  std::string fate(const std::string &name, const std::string &bytes) {
    store(directory / name, bytes);
    const std::string out = veskshow({"--list", "-D", directory.path(), name}).out;
    const size_t column = out.find("VERDICT"), row = out.find('\n') + 1;
    if (column == std::string::npos || out.size() < row + column) return "no row in " + out;
    return out.substr(row + column, out.size() - row - column - 1);
  }

  int status(const std::string &name) {
    return veskshow({"--list", "-D", directory.path(), name}).status;
  }

  scratch_directory directory;
  const std::string three = alpha() + beta() + gamma_ray();
  const std::string temperature = gheader(8192, 20, 104, 0xF4B2) + three;
};

TEST_F(List, has_a_row_for_each_file_in_the_order_of_types) {
  store(directory / "temperature_err.log", temperature);
  store(directory / "kyte.log", gheader(131072, 20, 44) + beta());
  expect_list({},
              "TYPE  NAME                 OWNER  SIZE  FILL  ENTRIES  OLDEST               "
              "NEWEST               WRAPPED  VERDICT\n"
              "   3  kyte.log             298      44    0%        1  2024-05-01 12:00:01  "
              "2024-05-01 12:00:01  no       keep\n"
              "   7  temperature_err.log  677     104    1%        3  2024-05-01 12:00:00  "
              "2024-05-01 12:00:02  no       keep\n");
}

TEST_F(List, has_a_row_for_each_argument_in_their_order) {
  store(directory / "temperature_err.log", temperature);
  store(directory / "kyte.log", gheader(131072, 20, 20));
  expect_list({"7", "kyte"},
              "TYPE  NAME                 OWNER  SIZE  FILL  ENTRIES  OLDEST               "
              "NEWEST               WRAPPED  VERDICT\n"
              "   7  temperature_err.log  677     104    1%        3  2024-05-01 12:00:00  "
              "2024-05-01 12:00:02  no       keep\n"
              "   3  kyte.log             298      20    0%        0  -                    "
              "-                    no       keep\n");
}

TEST_F(List, shows_a_wrapped_file) {
  const std::string newer = entry({.uuid = 677, .secs = noon + 60}, std::string(2956, 'n'));
  const std::string older = entry({.uuid = 677, .secs = noon}, std::string(3980, 'o'));
  const std::string tail = entry({.uuid = 293, .type = 0}, std::string(152, '\0'));
  store(directory / "temperature_err.log",
        gheader(8192, 4020, 3020) + newer + beta() + stale(1000) + older + tail);
  expect_list({"7"},
              "TYPE  NAME                 OWNER  SIZE  FILL  ENTRIES  OLDEST               "
              "NEWEST               WRAPPED  VERDICT\n"
              "   7  temperature_err.log  677    8192   87%        3  2024-05-01 12:00:00  "
              "2024-05-01 12:00:01  yes      keep\n");
}

TEST_F(List, has_local_times_unless_utc_is_asked_for) {
  store(directory / "kyte.log", gheader(131072, 20, 44) + beta());
  EXPECT_EQ(veskshow({"--list", directory / "kyte.log"}).out,
            "TYPE  NAME" + std::string(directory.path().size() + 9 - 4, ' ') +
                "  OWNER  SIZE  FILL  ENTRIES  OLDEST               NEWEST               WRAPPED  "
                "VERDICT\n   3  " +
                (directory / "kyte.log") +
                "  298      44    0%        1  2024-05-01 14:00:01  2024-05-01 14:00:01  no       "
                "keep\n");
}

TEST_F(List, names_the_owner_where_its_name_is_known) {
  store(directory / "names", "uuid 677 Wärme\n");
  store(directory / "temperature_err.log", temperature);
  store(directory / "kyte.log", gheader(131072, 20, 20));
  expect_list({"--names", directory / "names"},
              "TYPE  NAME                 OWNER        SIZE  FILL  ENTRIES  OLDEST               "
              "NEWEST               WRAPPED  VERDICT\n"
              "   3  kyte.log             298            20    0%        0  -                    "
              "-                    no       keep\n"
              "   7  temperature_err.log  677 (Wärme)   104    1%        3  2024-05-01 12:00:00  "
              "2024-05-01 12:00:02  no       keep\n");
}

TEST_F(List, shows_what_is_not_in_the_catalogue) {
  store(directory / "small", gheader(120, 20, 104) + three);
  store(directory / "lost", stale(60));
  expect_list({"small", "lost"},
              "TYPE  NAME   OWNER  SIZE  FILL  ENTRIES  OLDEST               "
              "NEWEST               WRAPPED  VERDICT\n"
              "   -  small  -       104   84%        3  2024-05-01 12:00:00  "
              "2024-05-01 12:00:02  no       -\n"
              "   -  lost   -        60     -        -  -                    "
              "-                    -        -: offset 0: not a log file: it does not begin with "
              "\"vesk\"\n",
              1);
}

TEST_F(List, shows_the_others_where_a_file_cannot_be_read) {
  store(directory / "kyte.log", gheader(131072, 20, 20));
  expect_list({"missing", "3", "1"},
              "TYPE  NAME      OWNER  SIZE  FILL  ENTRIES  OLDEST  NEWEST  WRAPPED  VERDICT\n"
              "   3  kyte.log  298      20    0%        0  -       -       no       keep\n",
              1,
              "veskshow: " + (directory / "missing") +
                  ": No such file or directory\n"
                  "veskshow: " +
                  (directory / "exception.log") + ": No such file or directory\n");
}

TEST_F(List, is_nothing_where_no_file_can_be_read) {
  expect_list({"1"}, "", 1,
              "veskshow: " + (directory / "exception.log") + ": No such file or directory\n");
}

TEST_F(List, is_harmless_to_a_terminal) {
  store(directory / "a\x1b[2J", gheader(120, 20, 20));
  expect_list({"a\x1b[2J"},
              "TYPE  NAME    OWNER  SIZE  FILL  ENTRIES  OLDEST  NEWEST  WRAPPED  VERDICT\n"
              "   -  a\\e[2J  -        20    0%        0  -       -       no       -\n");
}

// --- fates ---

TEST_F(List, says_what_start_up_removes_and_why) {
  std::string bytes = temperature;
  bytes[4] = 2;
  EXPECT_EQ(fate("temperature_err.log", bytes), "remove: offset 4: format version 2 is not known");
  EXPECT_EQ(status("temperature_err.log"), 1);
}

TEST_F(List, says_why_a_repair_would_fail) {
  std::string bytes = temperature;
  bytes[19] ^= 0x40;
  EXPECT_EQ(fate("temperature_err.log", bytes),
            "remove: offset 6: the checksum of the global header does not hold; the repair fails: "
            "a global header that cannot be trusted is not rebuilt");
}

TEST_F(List, says_that_the_capacity_is_another_files) {
  EXPECT_EQ(fate("temperature_err.log", gheader(262144, 20, 104, 0x14AF) + three),
            "remove: offset 8: capacity 262144 is not the 8192 of this file; the repair fails: "
            "a ring of another capacity is not rebuilt");
}

TEST_F(List, says_what_is_rebuilt) {
  EXPECT_EQ(fate("temperature_err.log", gheader(8192, 20, 104) + alpha() + stale(24) + gamma_ray()),
            "rebuild: offset 48: the checksum of the entry header does not hold");
  EXPECT_EQ(status("temperature_err.log"), 1);
}

TEST_F(List, says_where_a_file_is_damaged_although_it_is_kept) {
  EXPECT_EQ(fate("kernel.log", gheader(8388608, 20, 72) + alpha() + stale(24)),
            "keep, but offset 48: the checksum of the entry header does not hold");
  EXPECT_EQ(status("kernel.log"), 1);
}

// Start-up looks at the first slot, also where it holds no live entry.
TEST_F(List, says_what_is_not_kept_although_each_live_entry_can_be_read) {
  const std::string text =
      fate("temperature_err.log", gheader(8192, 48, 104) + stale(28) + beta() + gamma_ray());
  EXPECT_TRUE(
      text.starts_with("rebuild: offset 20: the checksum of the entry header does not hold"))
      << text;
  EXPECT_EQ(status("temperature_err.log"), 1);
}

TEST_F(List, of_a_sound_file_ends_with_status_zero) {
  EXPECT_EQ(fate("temperature_err.log", temperature), "keep");
  EXPECT_EQ(status("temperature_err.log"), 0);
}

// --- the repairs come in the order of types and end at a damaged kernel log ---

constexpr char kernel_row[] =
    "  21  kernel.log           510    8388608     -        -  -       -       -        "
    "stay marked: offset 12: start 8388588 leaves no room for an entry up to the capacity of "
    "8388608\n";
constexpr char temperature_row[] =
    "   7  temperature_err.log  677         68    0%        0  -       -       no       "
    "remove: offset 20: the checksum of the entry header does not hold; the repair fails: "
    "no entry is found before the file ends at 68\n";
constexpr char platform_row[] =
    "  25  platform.log         551         68    0%        0  -       -       no       "
    "stay marked: offset 20: the checksum of the entry header does not hold\n";
constexpr char kernel_head[] =
    "TYPE  NAME                 OWNER     SIZE  FILL  ENTRIES  OLDEST  NEWEST  WRAPPED  VERDICT\n";

class Repairs : public List {
 protected:
  Repairs() {
    store(directory / "kernel.log", unrepairable_kernel_log());
    store(directory / "temperature_err.log", gheader(8192, 20, 68) + stale(48));
    store(directory / "platform.log", gheader(1048576, 20, 68) + stale(48));
  }
};

TEST_F(Repairs, end_at_a_damaged_kernel_log) {
  expect_list({}, std::string(kernel_head) + temperature_row + kernel_row + platform_row, 1);
}

TEST_F(Repairs, do_not_depend_on_the_order_of_arguments) {
  expect_list({"25", "21", "7"},
              std::string(kernel_head) + platform_row + kernel_row + temperature_row, 1);
}

TEST_F(Repairs, end_at_a_kernel_log_that_is_not_shown) {
  expect_list({"25"},
              "TYPE  NAME          OWNER  SIZE  FILL  ENTRIES  OLDEST  NEWEST  WRAPPED  VERDICT\n"
              "  25  platform.log  551      68    0%        0  -       -       no       "
              "stay marked: offset 20: the checksum of the entry header does not hold\n",
              1);
}

TEST_F(Repairs, end_at_the_other_kernel_log_too) {
  std::filesystem::rename(directory / "kernel.log", directory / "kernel_big.log");
  store(directory / "kernel.log", gheader(8388608, 20, 20));
  EXPECT_EQ(fate("platform.log", gheader(1048576, 20, 68) + stale(48)),
            "stay marked: offset 20: the checksum of the entry header does not hold");
  EXPECT_EQ(fate("kernel.log", gheader(8388608, 20, 20)), "keep");
}

TEST_F(Repairs, go_on_where_the_kernel_log_is_sound) {
  store(directory / "kernel.log", gheader(8388608, 20, 20));
  EXPECT_EQ(fate("platform.log", gheader(1048576, 20, 68) + stale(48)),
            "remove: offset 20: the checksum of the entry header does not hold; the repair fails: "
            "no entry is found before the file ends at 68");
}

TEST_F(Repairs, of_a_file_do_not_end_before_the_file_itself) {
  expect_list({"21", "21", "7"},
              std::string(kernel_head) + kernel_row + kernel_row + temperature_row, 1);
}

TEST_F(Repairs, do_not_end_in_other_directories) {
  const scratch_directory other;
  store(other / "btcm.log", gheader(262144, 20, 48) + stale(28));
  const ended result = veskshow({"--list", "-D", directory.path(), "kernel", other / "btcm.log"});
  EXPECT_NE(result.out.find("remove: offset 20: the checksum of the entry header does not hold"),
            std::string::npos)
      << result.out;
}

}  // namespace
}  // namespace vesk::test
