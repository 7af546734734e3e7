// --verify: the fate of each file, and why.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/file_bytes.h"
#include "tests/unit/tools/veskshow/run_veskshow.h"

namespace vesk::test {
namespace {

constexpr uint32_t kernel_capacity = 8388608;

// An entry of 28 bytes, which a repair leaves alone when prev_size is the size of the one before.
std::string item(uint16_t prev_size, uint32_t secs = noon) {
  return entry({.prev_size = prev_size, .secs = secs}, "eight by");
}

class Verify : public ::testing::Test {
 protected:
  // Stores a file and returns what is said of it.
  std::string said_of(const std::string &name, const std::string &bytes, int status = 1) {
    store(directory / name, bytes);
    return shown_of({name}, status);
  }

  std::string shown_of(const std::vector<std::string> &names, int status = 1) {
    std::vector<std::string> arguments = {"--verify", "-D", directory.path()};
    arguments.insert(arguments.end(), names.begin(), names.end());
    const ended result = veskshow(arguments);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, status);
    return result.out;
  }

  // A kernel log that a start marks and then leaves alone, with the repairs of all that follow.
  void store_marked_kernel_log() {
    std::string file = gheader(kernel_capacity, kernel_capacity - 20, 20);
    file.resize(kernel_capacity);
    store(directory / "kernel.log", file);
  }

  scratch_directory directory;
  const std::string three = alpha() + beta() + gamma_ray();  // 20, 48, 72, up to 104
};

TEST_F(Verify, says_one_line_of_a_sound_file) {
  EXPECT_EQ(said_of("temperature_err.log", file_of(three), 0),
            "temperature_err.log: sound; the next first start would keep it as it is\n");
  EXPECT_EQ(said_of("temperature_err.log", gheader(8192, 20, 20), 0),
            "temperature_err.log: sound; the next first start would keep it as it is\n");
  EXPECT_EQ(said_of("kernel.log", gheader(kernel_capacity, 20, 104) + three, 0),
            "kernel.log: sound; the next first start would keep it as it is\n");
}

TEST_F(Verify, tells_what_a_rebuild_comes_to) {
  const std::string file = file_of(item(20) + item(8) + stale(24) + item(8) + item(8) + item(0));
  EXPECT_EQ(said_of("temperature_err.log", file),
            "temperature_err.log: damaged; the next first start would rebuild its global header\n"
            "    offset 76: the checksum of the entry header does not hold; 2 entries can be read\n"
            "    at a first start the daemon objects to offset 76: the checksum of the entry "
            "header does not hold\n"
            "    the new global header has start 20 and end 100\n"
            "    1 null entry covers damage\n"
            "    2 entry headers are rewritten\n"
            "    before the repair 2 entries can be read, afterwards 2 entries\n"
            "    veskshow --salvage finds 5 entries in it; use it before that start, or --preserve "
            "a copy\n");
}

TEST_F(Verify, leaves_out_what_a_rebuild_need_not_do) {
  EXPECT_EQ(said_of("temperature_err.log", gheader(8192, 48, 48) + item(20)),
            "temperature_err.log: damaged; the next first start would rebuild its global header\n"
            "    offset 12: start and end are both 48: no entry can be reached; no entry can be "
            "read\n"
            "    at a first start the daemon objects to offset 12: start and end are both 48: no "
            "entry can be "
            "reached\n"
            "    the new global header has start 20 and end 48\n"
            "    before the repair no entry can be read, afterwards 1 entry\n"
            "    veskshow --salvage finds 1 entry in it; use it before that start, or --preserve a "
            "copy\n");
}

TEST_F(Verify, tells_what_a_removal_costs) {
  EXPECT_EQ(
      said_of("temperature_err.log", file_of(three).substr(0, 100)),
      "temperature_err.log: damaged; the next first start would remove it\n"
      "    offset 72: the entry runs to 104, but the file ends at 100; 2 entries can be read\n"
      "    at a first start the daemon objects to offset 100: the file ends before its end 104\n"
      "    2 entries that can be read would be lost\n"
      "    veskshow --salvage finds 3 entries in it; use it before that start, or --preserve a "
      "copy\n");
}

TEST_F(Verify, tells_why_a_repair_fails) {
  EXPECT_EQ(said_of("temperature_err.log", file_of(item(20) + stale(8) + item(8))),
            "temperature_err.log: damaged; the next first start would remove it\n"
            "    offset 48: the checksum of the entry header does not hold; 1 entry can be read\n"
            "    at a first start the daemon objects to offset 48: the checksum of the entry "
            "header does not hold\n"
            "    the repair fails: 8 bytes of damage at offset 48 leave no room for a null entry\n"
            "    1 entry that can be read would be lost\n"
            "    veskshow --salvage finds 2 entries in it; use it before that start, or --preserve "
            "a copy\n");
}

TEST_F(Verify, says_that_nothing_is_left_to_save) {
  EXPECT_EQ(said_of("temperature_err.log", stale(60)),
            "temperature_err.log: damaged; the next first start would remove it\n"
            "    offset 0: not a log file: it does not begin with \"vesk\"; no entry can be read\n"
            "    at a first start the daemon objects to offset 4: format version 218 is not known\n"
            "    veskshow --salvage finds no entry in it\n");
}

TEST_F(Verify, walks_the_whole_chain_where_start_up_takes_samples) {
  std::string entries;
  for (int i = 0; i < 101; ++i) entries += beta();
  EXPECT_EQ(said_of("temperature_err.log", file_of(entries + stale(24) + beta())),
            "temperature_err.log: damaged; the next first start would keep it as it is\n"
            "    offset 2444: the checksum of the entry header does not hold; 101 entries can be "
            "read\n"
            "    start-up checks the global header and samples of the entries, and finds nothing "
            "wrong with them\n");
}

TEST_F(Verify, walks_kernel_logs_which_start_up_does_not) {
  EXPECT_EQ(said_of("kernel.log", gheader(kernel_capacity, 20, 104) + alpha() + stale(56)),
            "kernel.log: damaged; the next first start would keep it as it is\n"
            "    offset 48: the checksum of the entry header does not hold; 1 entry can be read\n"
            "    start-up checks nothing of a kernel log but its global header, and finds nothing "
            "wrong with it\n");
}

TEST_F(Verify, tells_where_start_up_objects_to_a_file_that_can_be_read) {
  // The first slot lies outside the ring, but start-up looks there.
  const size_t room = 8192 - 120 - 28 - 20;
  const std::string file = gheader(8192, 120, 20) + stale(100) + item(20) +
                           entry({.type = 0, .prev_size = 8}, std::string(room, '\0'));
  EXPECT_EQ(said_of("temperature_err.log", file),
            "temperature_err.log: readable; the next first start would rebuild its global header\n"
            "    1 entry can be read without meeting damage\n"
            "    at a first start the daemon objects to offset 20: the checksum of the entry "
            "header does not hold\n"
            "    the new global header has start 20 and end 120\n"
            "    1 null entry covers damage\n"
            "    1 entry header is rewritten\n"
            "    before the repair 1 entry can be read, afterwards no entry\n"
            "    veskshow --salvage finds 1 entry in it; use it before that start, or --preserve a "
            "copy\n");
}

TEST_F(Verify, knows_that_the_repairs_end_at_a_marked_kernel_log) {
  store_marked_kernel_log();
  store(directory / "kyte.log", gheader(131072, 44, 44) + item(20));
  store(directory / "platform.log", gheader(1048576, 44, 44) + item(20));
  const std::string kernel =
      "kernel.log: damaged; the next first start would mark it for repair and leave it as it is\n"
      "    offset 12: start 8388588 is no place for an entry in a ring of 8388608 bytes; no entry "
      "can be read\n"
      "    at a first start the daemon objects to offset 12: start 8388588 leaves no room for an "
      "entry up to the "
      "capacity of 8388608\n"
      "    the repairs end at this kernel log, and marked files of higher types wait as well\n";
  const std::string platform =
      "platform.log: damaged; the next first start would mark it for repair and leave it as it "
      "is\n"
      "    offset 12: start and end are both 44: no entry can be reached; no entry can be read\n"
      "    at a first start the daemon objects to offset 12: start and end are both 44: no entry "
      "can be reached\n"
      "    the repairs end at a kernel log of a lower type, before its turn\n";
  const std::string all = shown_of({});
  EXPECT_TRUE(
      all.starts_with("kyte.log: damaged; the next first start would rebuild its global header\n"))
      << all;
  EXPECT_TRUE(all.ends_with("\n" + kernel + platform)) << all;
  EXPECT_EQ(shown_of({"platform", "kernel"}), platform + kernel);
  EXPECT_EQ(shown_of({"platform"}), platform);
}

TEST_F(Verify, treats_files_of_different_directories_by_themselves) {
  store_marked_kernel_log();
  const scratch_directory other;
  store(other / "platform.log", gheader(1048576, 44, 44) + item(20));
  const std::string path = other / "platform.log";
  const ended result = veskshow({"--verify", directory / "kernel.log", path});
  EXPECT_NE(result.out.find(path + ": damaged; the next first start would rebuild"),
            std::string::npos)
      << result.out;
}

TEST_F(Verify, predicts_nothing_of_files_that_start_up_does_not_know) {
  EXPECT_EQ(said_of("kernel.log.1", file_of(three), 0),
            "kernel.log.1: sound; its name is none of the catalogue's, so that no start looks at "
            "it\n");
  EXPECT_EQ(said_of("kernel.log.1", file_of(three).substr(0, 60)),
            "kernel.log.1: damaged; its name is none of the catalogue's, so that no start looks "
            "at it\n"
            "    offset 48: the entry header is cut off: the file ends at 60; 1 entry can be "
            "read\n");
}

TEST_F(Verify, goes_on_after_a_file_that_cannot_be_read) {
  store(directory / "temperature_err.log", file_of(three));
  const ended result = veskshow({"--verify", "-D", directory.path(), "kernel", "temperature_err"});
  EXPECT_EQ(result.out,
            "temperature_err.log: sound; the next first start would keep it as it is\n");
  EXPECT_EQ(result.err,
            "veskshow: " + (directory / "kernel.log") + ": No such file or directory\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(Verify, says_so_where_it_can_have_no_copy_in_memory) {
  store(directory / "temperature_err.log", file_of(three));
  const pid_t child = fork();
  if (child == 0) {
    const rlimit too_short{8192, 8192};  // a repair may write three bytes more
    setrlimit(RLIMIT_FSIZE, &too_short);
    const ended result = veskshow({"--verify", "-D", directory.path()});
    const bool as_it_should = result.status == 1 && result.out.empty() &&
                              result.err == "veskshow: " + (directory / "temperature_err.log") +
                                                ": cannot copy it into memory: File too large\n";
    _exit(as_it_should ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(Verify, shows_what_is_not_sound_in_red) {
  store(directory / "kyte.log", gheader(131072, 20, 44) + beta());
  store(directory / "temperature_err.log", stale(10));
  const ended result = veskshow({"--verify", "--color", "always", "-D", directory.path()});
  EXPECT_EQ(result.out.substr(0, result.out.find("    ")),
            "kyte.log: sound; the next first start would keep it as it is\n"
            "temperature_err.log: \x1b[31mdamaged\x1b[0m; the next first start would remove "
            "it\n");
}

TEST_F(Verify, is_harmless_to_a_terminal) {
  EXPECT_EQ(said_of("\x1b[2J", file_of(three), 0),
            "\\e[2J: sound; its name is none of the catalogue's, so that no start looks at it\n");
}

}  // namespace
}  // namespace vesk::test
